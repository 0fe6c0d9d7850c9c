// Angle brackets in inline Markdown: autolinks, HTML tags and comments.
//
// Offsets are bytes. Tested by tests/test_inline.py.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "inline/substitution.h"

namespace markdown::inlines {

inline constexpr std::string_view kAutolink = R"(<((?:https?|ftp|mailto):[^\s<>]*)>)";
// A comment, or a tag with its attributes. DOTALL.
inline constexpr std::string_view kHtml = R"(<!--.*?-->|</?[A-Za-z][A-Za-z0-9-]*(?:\s[^<>]*)?/?>)";

// Equal: the address ends at the first character that it may not hold, which must be ">".
// Linear: an attempt stops at the next "<" at the latest, where the next one may begin.
class AutolinkSearch {
 public:
  explicit AutolinkSearch(std::string_view text) noexcept : text_(text) {}
  std::optional<Match> next() noexcept;

 private:
  std::string_view text_;
  std::size_t pos_ = 0;
};

// Equal: a comment ends at the first "-->" after its "<!--". In a tag, white space after the name begins the
// attributes. They extend to the next angle bracket and include a last "/", so backtracking into them finds no other
// match.
// Linear: an attempt at a tag stops at the next "<". When a search for "-->" finds none, no later one can, so none is
// made: `no_comment_end_` remembers that.
class HtmlSearch {
 public:
  explicit HtmlSearch(std::string_view text) noexcept : text_(text) {}
  std::optional<Match> next() noexcept;

 private:
  std::string_view text_;
  std::size_t pos_ = 0;
  bool no_comment_end_ = false;
};

}  // namespace markdown::inlines
