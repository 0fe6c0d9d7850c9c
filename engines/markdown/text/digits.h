// ASCII digits.
#pragma once

namespace markdown::text {

// The value of a hexadecimal digit of either case, -1 for any other byte.
constexpr int hex_value(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace markdown::text
