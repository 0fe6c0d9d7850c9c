// The heading path, a section's signature: the names of the sections that hold it and its own, from the outermost.
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

// Whether the names, at least one, fit into a path as they are. Stops at the first that goes too far.
bool fits(std::span<const PathName> names) noexcept;

// At most kMaxPathLength characters: as many names as fit, counted from the last; an ellipsis stands for those dropped
// in front; a last name that does not fit is cut. Empty for no names.
std::string heading_path(std::span<const PathName> names);

}  // namespace markdown::outline
