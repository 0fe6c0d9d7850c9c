// Backslash escapes: ASCII punctuation and newlines that a backslash makes plain.
//
// Offsets are bytes. Tested by tests/test_inline.py.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "inline/substitution.h"

namespace markdown::inlines {

inline constexpr std::string_view kEscape = R"(\\([!-/:-@\[-`{-~\n]))";

// Equal and linear: one forward pass with one byte of look-ahead.
class EscapeSearch {
 public:
  explicit EscapeSearch(std::string_view text) noexcept : text_(text) {}
  std::optional<Match> next() noexcept;

 private:
  std::string_view text_;
  std::size_t pos_ = 0;
};

}  // namespace markdown::inlines
