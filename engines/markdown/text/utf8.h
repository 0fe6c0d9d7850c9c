// UTF-8 as the scanners meet it: stepping, counting and cutting by characters, and mending ill-formed bytes once.
//
// A "character" is a Unicode code point. Views hold well-formed UTF-8 with one exception: a Python string may hold a
// lone surrogate, and its three bytes then stand in the view. `is_valid`, `valid_prefix` and `append_replaced` accept
// any bytes. Offsets are bytes unless a name says `chars`. Tested by tests/test_blocks.py and tests/test_inline.py.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace markdown::text {

inline constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

constexpr bool is_ascii(char byte) noexcept { return static_cast<unsigned char>(byte) < 0x80; }
constexpr bool is_continuation(char byte) noexcept { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// The width in bytes of the character that the lead byte `byte` starts.
constexpr std::size_t width_of(char byte) noexcept {
  const auto lead = static_cast<unsigned char>(byte);
  return lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

// The character at `pos`, which must be the start of one.
char32_t decode_at(std::string_view text, std::size_t pos) noexcept;

// The start of the character that ends just before `pos`, which must be greater than 0.
constexpr std::size_t before(std::string_view text, std::size_t pos) noexcept {
  do --pos;
  while (pos > 0 && is_continuation(text[pos]));
  return pos;
}

std::size_t count_chars(std::string_view text) noexcept;

// The first `chars` characters of the text, or all of it.
std::string_view first_chars(std::string_view text, std::size_t chars) noexcept;

// Appends a code point, surrogates included, as UTF-8.
void append_char(std::string& out, char32_t c);

// The length of the longest prefix that is strictly well-formed UTF-8 (no surrogates).
std::size_t valid_prefix(std::string_view bytes) noexcept;
inline bool is_valid(std::string_view bytes) noexcept { return valid_prefix(bytes) == bytes.size(); }

// Appends `bytes` decoded as UTF-8, each maximal ill-formed subpart as one U+FFFD.
void append_replaced(std::string& out, std::string_view bytes);

}  // namespace markdown::text
