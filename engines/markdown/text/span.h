// A half-open range of byte offsets into a text.
#pragma once

#include <cstddef>
#include <string_view>

namespace markdown::text {

struct Span {
  std::size_t begin = 0;
  std::size_t end = 0;

  constexpr std::string_view in(std::string_view text) const noexcept { return text.substr(begin, end - begin); }
};

}  // namespace markdown::text
