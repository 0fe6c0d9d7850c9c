// The heading path, a section's signature: the names of its enclosing sections, from the outermost, and its own name.
//
// Tested by tests/test_outline.py.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace markdown::outline {

inline constexpr std::string_view kPathSeparator = " > ";
inline constexpr std::string_view kEllipsis = "...";
inline constexpr std::size_t kMaxPathLength = 200;  // characters

struct PathName {
  std::string_view text;
  std::size_t chars = 0;
};

// Whether a path of all the names is at most kMaxPathLength characters long. Needs at least one name. Stops counting at
// the first name that is too much.
bool fits(std::span<const PathName> names) noexcept;

// A path of at most kMaxPathLength characters. It keeps as many names as fit, counted from the last one; an ellipsis
// stands for the names before them. A last name that does not fit is cut. Empty for no names.
std::string heading_path(std::span<const PathName> names);

}  // namespace markdown::outline
