// Inline links: text in brackets, followed by a parenthesised destination.
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

// A link text is a chain of items: a character, an escape such as `\]`, or a bracketed run such as `[b]`. The text of
// `[a[b]\]](c)` has the items `a`, `[b]` and `\]`.
//
// Equal: the first character of an item decides its kind and where it ends. After an opener there is therefore exactly
// one chain, which ends at the "]" that closes the text, or fails. No "](" stands at an earlier item boundary. After
// "](" backtracking can succeed in one way only: `\s*` gives back one space, so that an empty destination can be
// followed by a title with a space in it, as in `[a]( "t u")`. It does not help to give back a part of the destination.
// One in angle brackets has a fixed end, and a bare one must be followed by white space or ")", which it cannot hold
// outside parentheses.
//
// Linear: let a chain fail, as that of the first "[" in `[a [b] [c`, and look at an opener inside it. It stands where
// the failed chain has a bracketed run, which ends at the next "]". The chain of this opener ends at that "]" as well,
// unless an escape, as in `[b\]`, carries it past the "]"; then it would continue exactly as the chain that failed, so
// the scan stops there. `failed_until_` remembers where the failed chain ended. Chains that fail therefore do not
// overlap each other, nor do the short ones inside them. What follows a "](" is scanned once for that offset, and few
// such scans read the same byte. At most two of them read it in a bare destination, because parentheses nest only once.
// At most one reads it in a destination in angle brackets, and at most one in a title of each kind, because each of
// these ends at the next delimiter of its kind.
class InlineLinkSearch {
 public:
  InlineLinkSearch() = default;
  explicit InlineLinkSearch(std::string_view text) noexcept : text_(text) {}
  std::optional<InlineLink> next() noexcept;

 private:
  struct TextEnd {
    std::size_t at;  // where the chain of items ends
    bool closed;     // whether a "]" that ends the link text stands there
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
