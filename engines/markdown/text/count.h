// Counting in long texts.
//
// Tested by tests/test_outline.py and tests/test_inline.py.
#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <span>
#include <string_view>
#include <type_traits>

namespace markdown::text {

// The number of units for which the predicate is true. Units are counted block by block, in an integer as wide as a
// unit. So the compiler can count many units with each instruction. A block is so short that the integer cannot
// overflow.
template <class Unit, class Predicate>
std::size_t count_units(std::span<const Unit> units, Predicate is_counted) noexcept {
  using Count = std::make_unsigned_t<Unit>;
  constexpr std::size_t kBlock = std::numeric_limits<Count>::max() / 64 * 64;
  std::size_t counted = 0;
  while (!units.empty()) {
    const auto block = units.first(std::min(units.size(), kBlock));
    Count in_block = 0;
    for (const Unit unit : block) in_block = static_cast<Count>(in_block + (is_counted(unit) ? 1 : 0));
    counted += in_block;
    units = units.subspan(block.size());
  }
  return counted;
}

template <class Unit>
std::size_t count_newlines(std::span<const Unit> units) noexcept {
  return count_units(units, [](Unit unit) { return unit == Unit{'\n'}; });
}

inline std::size_t count_newlines(std::string_view text) noexcept {
  return count_newlines(std::span(text.data(), text.size()));
}

}  // namespace markdown::text
