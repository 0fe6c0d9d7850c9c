// Word characters: what `\w` of `re` takes, letters and numbers of every script and the underscore.
//
// Tested by tests/test_inline.py.
#pragma once

#include <cstddef>
#include <string_view>

#include "text/utf8.h"

namespace markdown::text {

// Whether `re` takes a character outside ASCII for a word character. The interpreter's own tables decide, because the
// answer changes with its version of Unicode; so the definition is in python/word.cpp.
bool is_wide_word(char32_t c) noexcept;

inline bool is_word(char32_t c) noexcept {
  if (c < 0x80) return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
  return is_wide_word(c);
}

inline bool is_word_at(std::string_view text, std::size_t pos) noexcept {
  return pos < text.size() && is_word(decode_at(text, pos));
}

inline bool is_word_before(std::string_view text, std::size_t pos) noexcept {
  return pos > 0 && is_word(decode_at(text, before(text, pos)));
}

}  // namespace markdown::text
