// Links and images in inline Markdown, as far as their text is concerned.
//
// Offsets are bytes. Tested by tests/test_inline.py.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "inline/substitution.h"

namespace markdown::inlines {

// A parenthesised destination with an optional title: parentheses nest once.
#define MARKDOWN_DESTINATION R"(\((?:[^()]|\([^()]*\))*\))"
inline constexpr std::string_view kDestination = MARKDOWN_DESTINATION;
inline constexpr std::string_view kImage = R"((?<!\\)!\[([^\]]*)\])" MARKDOWN_DESTINATION;
inline constexpr std::string_view kLink = R"((?<![\\!])\[([^\]]*)\](?:)" MARKDOWN_DESTINATION R"(|\[[^\]]*\]))";
#undef MARKDOWN_DESTINATION

// Equal: at each parenthesis one alternative at most can go on, so nothing that was read is ever given back: the
// destination ends where the first parenthesis closes, and fails at a third level of nesting or at the end.
// Linear: a byte lies in the scans of at most two destinations that fail, since the third opening parenthesis that is
// still open at that byte makes the first scan fail before it.
std::optional<std::size_t> match_destination(std::string_view text, std::size_t pos) noexcept;

// Equal: an opener's text runs to the next "]" whatever stands between, so all openers before one "]" share what
// follows it: when that fails for the leftmost of them, it fails for all.
// Linear: so the search goes on behind that "]", and the text in front of it is never looked at again.
class ImageSearch {
 public:
  explicit ImageSearch(std::string_view text) noexcept : text_(text) {}
  std::optional<Match> next() noexcept;

 private:
  std::string_view text_;
  std::size_t pos_ = 0;
};

// Equal and linear as images; a reference label that is never closed leaves no "]" for any later opener either.
class LinkSearch {
 public:
  explicit LinkSearch(std::string_view text) noexcept : text_(text) {}
  std::optional<Match> next() noexcept;

 private:
  std::string_view text_;
  std::size_t pos_ = 0;
};

}  // namespace markdown::inlines
