// Emphasis and strikethrough: delimiter runs of asterisks, underscores and tildes.
//
// Offsets are bytes. Tested by tests/test_inline.py.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "inline/substitution.h"

namespace markdown::inlines {

// In the order of their use; DOTALL each.
inline constexpr std::array<std::string_view, 3> kEmphases = {
    R"((?<![\\*])(\*{1,3})(?=[^\s*])(.+?)(?<=[^\s\\*])\1(?!\*))",
    R"((?<![\\\w])(_{1,3})(?=[^\s_])(.+?)(?<=[^\s\\_])\1(?!\w))",
    R"((?<!\\)(~~)(?=\S)(.+?)(?<=\S)\1)",
};

// Equal: the look-arounds leave only maximal runs of one to three delimiters to open and to close; an opening run pairs
// with the next closing run of its length, and the character between them makes the content non-empty. A match ends
// behind a maximal run, so runs stay maximal for the search that goes on there.
// Linear: what lies before a found closer is not looked at again, and for each of the three lengths a search that found
// no closer is the last one.
template <char kDelimiter>
class EmphasisSearch {
 public:
  explicit EmphasisSearch(std::string_view text) noexcept : text_(text) {}
  std::optional<Match> next() noexcept;

 private:
  text::Span run_from(std::size_t pos) const noexcept;
  bool opens(text::Span run) const noexcept;
  bool closes(text::Span run) const noexcept;

  std::string_view text_;
  std::size_t pos_ = 0;
  std::array<bool, 4> no_closer_{};  // by length of the run
};

using AsteriskSearch = EmphasisSearch<'*'>;
using UnderscoreSearch = EmphasisSearch<'_'>;

// Equal: the content has a character between the tildes, so the closer is the first "~~" from three bytes on that no
// white space precedes; runs of tildes need not be maximal.
// Linear: whether "~~" closes does not depend on the opener, so the first opener that finds no closer is the last.
class StrikethroughSearch {
 public:
  explicit StrikethroughSearch(std::string_view text) noexcept : text_(text) {}
  std::optional<Match> next() noexcept;

 private:
  std::string_view text_;
  std::size_t pos_ = 0;
};

}  // namespace markdown::inlines
