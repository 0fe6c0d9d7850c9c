// ASCII digits.
//
// Tested by tests/test_toml.py and tests/test_frontmatter.py.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace markdown::text {

// The value of a hexadecimal digit of either case, -1 for any other byte.
constexpr int hex_value(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The number that exactly `width` hexadecimal digits at `pos` make, at most eight; nothing when there are fewer.
constexpr std::optional<char32_t> hex_number(std::string_view text, std::size_t pos, std::size_t width) noexcept {
  if (pos > text.size() || text.size() - pos < width) return std::nullopt;
  char32_t number = 0;
  for (const char c : text.substr(pos, width)) {
    const int value = hex_value(c);
    if (value < 0) return std::nullopt;
    number = number << 4 | static_cast<char32_t>(value);
  }
  return number;
}

}  // namespace markdown::text
