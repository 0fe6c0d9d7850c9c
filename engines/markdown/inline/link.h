// Links and images in inline Markdown, for the text that a reader sees of them.
//
// Offsets are bytes. Tested by tests/test_inline.py.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "inline/substitution.h"

namespace markdown::inlines {

// A parenthesised destination with an optional title. Parentheses nest once.
#define MARKDOWN_DESTINATION R"(\((?:[^()]|\([^()]*\))*\))"
inline constexpr std::string_view kDestination = MARKDOWN_DESTINATION;
inline constexpr std::string_view kImage = R"((?<!\\)!\[([^\]]*)\])" MARKDOWN_DESTINATION;
inline constexpr std::string_view kLink = R"((?<![\\!])\[([^\]]*)\](?:)" MARKDOWN_DESTINATION R"(|\[[^\]]*\]))";
#undef MARKDOWN_DESTINATION

// "(a(b)c)" matches as a whole; "(a(b(c)))" does not match, because it nests twice.
// Equal: at each parenthesis at most one alternative of the pattern can continue, so backtracking finds nothing else.
// The destination ends where its first parenthesis closes. It fails at a third open parenthesis and at the end of the
// text.
// Linear: at most two failing scans read the same byte. A third one would have started at a third parenthesis that is
// still open at that byte, and there the first scan has already failed.
std::optional<std::size_t> match_destination(std::string_view text, std::size_t pos) noexcept;

// Equal: the text of an image extends to the next "]", whatever stands between. All openers before one "]" are
// therefore followed by the same bytes: when these are no destination for the leftmost opener, they are none for the
// others.
// Linear: for that reason the search continues after that "]" and never reads the text before it again.
class ImageSearch {
 public:
  explicit ImageSearch(std::string_view text) noexcept : text_(text) {}
  std::optional<Match> next() noexcept;

 private:
  std::string_view text_;
  std::size_t pos_ = 0;
};

// Equal and linear for the same reasons as ImageSearch. A reference label that is never closed means that no "]"
// follows, so no later opener matches either.
class LinkSearch {
 public:
  explicit LinkSearch(std::string_view text) noexcept : text_(text) {}
  std::optional<Match> next() noexcept;

 private:
  std::string_view text_;
  std::size_t pos_ = 0;
};

}  // namespace markdown::inlines
