// White space: the 29 code points that `\s` of `re` and `str.isspace` know, wherever text is trimmed, split or matched.
//
// Offsets are bytes and lie on characters. Tested by tests/test_inline.py.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "text/utf8.h"

namespace markdown::text {

constexpr bool is_space(char32_t c) noexcept {
  if (c < 0x80) return (c >= 0x09 && c <= 0x0D) || (c >= 0x1C && c <= 0x20);
  return c == 0x85 || c == 0xA0 || c == 0x1680 || (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 ||
         c == 0x202F || c == 0x205F || c == 0x3000;
}

// What one byte tells about white space at its offset: there is none, the byte is an ASCII space, or the byte is a lead
// byte that begins some space outside ASCII and other characters too.
enum class SpaceClass : std::uint8_t { kNone, kSpace, kLead };
inline constexpr auto kSpaceClass = [] {
  std::array<SpaceClass, 256> table{};
  for (char32_t c = 0; c < 0x80; ++c) table[c] = is_space(c) ? SpaceClass::kSpace : SpaceClass::kNone;
  for (const unsigned lead : {0xC2U, 0xE1U, 0xE2U, 0xE3U}) table[lead] = SpaceClass::kLead;
  return table;
}();
constexpr SpaceClass space_class(char byte) noexcept { return kSpaceClass[static_cast<unsigned char>(byte)]; }

// The width in bytes of the white-space character at `pos`; 0 when another character stands there or the text ends.
inline std::size_t space_width(std::string_view text, std::size_t pos) noexcept {
  if (pos >= text.size()) return 0;
  switch (space_class(text[pos])) {
    case SpaceClass::kNone:
      return 0;
    case SpaceClass::kSpace:
      return 1;
    case SpaceClass::kLead:
      break;
  }
  return is_space(decode_at(text, pos)) ? width_of(text[pos]) : 0;
}

inline std::size_t skip_space(std::string_view text, std::size_t pos) noexcept {
  while (const std::size_t width = space_width(text, pos)) pos += width;
  return pos;
}

// Whether the character that ends just before `pos` is white space; false at the start of the text.
inline bool is_space_before(std::string_view text, std::size_t pos) noexcept {
  if (pos == 0) return false;
  if (is_ascii(text[pos - 1])) return is_space(static_cast<unsigned char>(text[pos - 1]));
  return is_space(decode_at(text, before(text, pos)));
}

inline std::string_view trim(std::string_view text) noexcept {
  std::size_t end = text.size();
  while (is_space_before(text, end)) end = before(text, end);
  const std::size_t begin = skip_space(text.substr(0, end), 0);
  return text.substr(begin, end - begin);
}

}  // namespace markdown::text
