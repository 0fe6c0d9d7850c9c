// Inline links: text in brackets with a parenthesised destination behind it.
//
// Offsets are bytes. Tested by tests/test_links.py.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "text/span.h"

namespace markdown::links {

inline constexpr std::string_view kInlineLink =
    R"re((?<![\\!])\[(?:[^\[\]\\]|\\.|\[[^\[\]]*\])*\]\(\s*(<[^<>\n]*>|[^\s()<>]*(?:\([^\s()]*\)[^\s()<>]*)*))re"
    R"re((?:\s+(?:"[^"]*"|'[^']*'|\([^()]*\)))?\s*\))re";

struct InlineLink {
  text::Span whole;
  text::Span destination;  // as written, with its angle brackets
};

// Equal: the first character of an item of the link text tells which of the three it is and so where it ends. The
// items behind an opener are therefore one chain with one end, and no earlier place in it can be followed by "](".
// Behind "](" only two things can be given back: a destination in angle brackets never helps when it is, and white
// space does so once: a title needs some in front of it, and then the destination is empty.
// Linear: an opener inside a chain that failed stands at an item of it, a bracketed run, which ends at the next "]".
// Its own chain ends at that "]" too, or an escape carries it over, and then it goes on as the chain that failed. So
// the long chains do not overlap, and the short ones do not overlap each other. What follows a "](" is scanned once for
// that place; of destinations and titles that fail, at most two hold the same byte, since parentheses nest only once.
class InlineLinkSearch {
 public:
  InlineLinkSearch() = default;
  explicit InlineLinkSearch(std::string_view text) noexcept : text_(text) {}
  std::optional<InlineLink> next() noexcept;

 private:
  struct TextEnd {
    std::size_t at;  // where the chain of items ends
    bool closed;     // at a "]" that ends the link text
  };
  TextEnd match_text(std::size_t open) const noexcept;
  std::optional<InlineLink> match_link(std::size_t open, std::size_t close) const noexcept;
  std::size_t skip_bare_destination(std::size_t pos) const noexcept;
  std::optional<std::size_t> match_end(std::size_t pos) const noexcept;
  std::optional<std::size_t> match_title_and_end(std::size_t pos) const noexcept;
  bool is_at(std::size_t pos, char byte) const noexcept { return pos < text_.size() && text_[pos] == byte; }

  std::string_view text_;
  std::size_t pos_ = 0;
  std::size_t failed_until_ = 0;  // the end of the last chain that failed
};

}  // namespace markdown::links
