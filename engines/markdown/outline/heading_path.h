// The heading path of a section, which is its signature. In "Install > Linux", the section "Linux" stands in "Install".
//
// A heading path has the names of the enclosing sections, from the outermost inwards, and then the section's own name.
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

// Whether the path of all the names is at most kMaxPathLength characters long. There must be at least one name. Takes
// constant time, because counting stops at the first name that is too much.
bool fits(std::span<const PathName> names) noexcept;

// The path of the names, at most kMaxPathLength characters long. When not all names fit, the last ones are kept, as
// many as fit after an ellipsis. When the last name alone does not fit, it is cut. The path is empty for no names.
std::string heading_path(std::span<const PathName> names);

}  // namespace markdown::outline
