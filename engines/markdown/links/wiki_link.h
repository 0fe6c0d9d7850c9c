// Wiki links: a page, an anchor or both in double brackets.
//
// Offsets are bytes. Tested by tests/test_links.py.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "text/span.h"

namespace markdown::links {

inline constexpr std::string_view kWikiLink = R"((?<!!)\[\[([^\[\]|#\n]*)(?:#([^\[\]|\n]*))?(?:\|[^\[\]\n]*)?\]\])";

struct WikiLink {
  text::Span whole;
  text::Span page;
  text::Span anchor;  // empty also when the link has no "#"
};

// Equal: each part ends at the first character that it cannot hold, and that character decides which part is next.
// Linear: an attempt ends at the first bracket after its opening two.
class WikiLinkSearch {
 public:
  WikiLinkSearch() = default;
  explicit WikiLinkSearch(std::string_view text) noexcept : text_(text) {}
  std::optional<WikiLink> next() noexcept;

 private:
  std::optional<WikiLink> match_link(std::size_t open) const noexcept;

  std::string_view text_;
  std::size_t pos_ = 0;
};

// The target that a page and an anchor, both trimmed, name together; empty when both are. The view points into `page`,
// or into `joined` when there is an anchor.
std::string_view wiki_target(std::string_view page, std::string_view anchor, std::string& joined);

}  // namespace markdown::links
