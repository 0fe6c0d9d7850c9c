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

// The first place at or behind `pos` where a byte of the set stands, the end of the text when there is none. One look
// into a table a byte: the sets are small but their bytes are frequent, and a library's search starts anew for each.
inline std::size_t find_any(std::string_view text, std::size_t pos, const ByteSet& bytes) noexcept {
  while (pos < text.size() && !bytes.has(text[pos])) ++pos;
  return pos;
}

}  // namespace markdown::text
