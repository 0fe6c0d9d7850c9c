// Sets of bytes, and searches for the first that belongs to one.
//
// Offsets are bytes. Tested by tests/test_links.py and tests/test_frontmatter.py.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace markdown::text {

class ByteSet {
 public:
  constexpr explicit ByteSet(std::string_view bytes) noexcept {
    for (const char byte : bytes) has_[static_cast<unsigned char>(byte)] = true;
  }
  // The bytes, and all for which the predicate is true.
  template <class Predicate>
  constexpr ByteSet(std::string_view bytes, Predicate is_member) noexcept : ByteSet(bytes) {
    for (std::size_t byte = 0; byte < has_.size(); ++byte) has_[byte] |= is_member(static_cast<char>(byte));
  }
  constexpr bool has(char byte) const noexcept { return has_[static_cast<unsigned char>(byte)]; }

 private:
  std::array<bool, 256> has_{};
};

// The offset of the first byte of the set at or after `pos`; the end of the text when there is none. Each byte costs
// one look into a table. The library's search has a higher cost per call, and the bytes of these sets are so frequent
// that calls are short.
inline std::size_t find_any(std::string_view text, std::size_t pos, const ByteSet& bytes) noexcept {
  while (pos < text.size() && !bytes.has(text[pos])) ++pos;
  return pos;
}

}  // namespace markdown::text
