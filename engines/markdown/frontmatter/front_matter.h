// What the front matter says of its document.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace markdown::frontmatter {

// The longest body that is read, in characters.
inline constexpr std::size_t kMaxFrontMatterLength = 65536;

#define MARKDOWN_TITLE "title"
#define MARKDOWN_DESCRIPTION "description"
inline constexpr std::string_view kTitle = MARKDOWN_TITLE;
inline constexpr std::string_view kDescription = MARKDOWN_DESCRIPTION;

// Both are one-line plain text, never empty.
struct FrontMatter {
  std::optional<std::string> title;
  std::optional<std::string> description;
};

}  // namespace markdown::frontmatter
