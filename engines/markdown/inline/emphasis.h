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

// Substituted in this order. All DOTALL.
inline constexpr std::array<std::string_view, 3> kEmphases = {
    R"((?<![\\*])(\*{1,3})(?=[^\s*])(.+?)(?<=[^\s\\*])\1(?!\*))",
    R"((?<![\\\w])(_{1,3})(?=[^\s_])(.+?)(?<=[^\s\\_])\1(?!\w))",
    R"((?<!\\)(~~)(?=\S)(.+?)(?<=\S)\1)",
};

// In "**a *b** c*", the run of two at the start pairs with the next run of two, and "a *b" is the content.
// Equal: because of the look-arounds, only a maximal run of one to three delimiters opens or closes emphasis. An
// opening run pairs with the next closing run of its length. Two maximal runs have a character between them, so the
// content is never empty. A match ends after a maximal run, so the next search starts between runs.
// Linear: the text before a found closer is never read again. When a run of some length finds no closer, no later run
// of that length can find one, so none searches again: `no_closer_` remembers the length.
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
  std::array<bool, 4> no_closer_{};  // by length of the opening run
};

using AsteriskSearch = EmphasisSearch<'*'>;
using UnderscoreSearch = EmphasisSearch<'_'>;

// In "~~a~~~", the match is "~~a~~": runs of tildes need not be maximal.
// Equal: the content has at least one character, so the closer is the first "~~" that begins three or more bytes after
// the opener and has no white space before it.
// Linear: whether a "~~" closes does not depend on the opener. When one opener finds no closer, no later one can, so
// the search ends.
class StrikethroughSearch {
 public:
  explicit StrikethroughSearch(std::string_view text) noexcept : text_(text) {}
  std::optional<Match> next() noexcept;

 private:
  std::string_view text_;
  std::size_t pos_ = 0;
};

}  // namespace markdown::inlines
