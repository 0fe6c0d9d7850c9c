#include "outline/heading_path.h"

#include "text/utf8.h"

namespace markdown::outline {
namespace {

constexpr std::size_t kSeparatorChars = kPathSeparator.size();
constexpr std::size_t kEllipsisChars = kEllipsis.size();

void append_joined(std::string& path, std::span<const PathName> names) {
  for (const PathName& name : names) {
    if (!path.empty() || &name != names.data()) path.append(kPathSeparator);
    path.append(name.text);
  }
}

}  // namespace

bool fits(std::span<const PathName> names) noexcept {
  std::size_t chars = names.front().chars;
  for (const PathName& name : names.subspan(1)) {
    if (chars > kMaxPathLength) break;
    chars += kSeparatorChars + name.chars;
  }
  return chars <= kMaxPathLength;
}

std::string heading_path(std::span<const PathName> names) {
  std::string path;
  if (names.empty()) return path;
  if (fits(names)) {
    append_joined(path, names);
    return path;
  }
  // Names are added from the last one backwards while they fit. Not all of them fit, as the test above has shown, so
  // the loop ends before it runs out of names.
  std::size_t start = names.size();
  std::size_t chars = kEllipsisChars;
  while (chars + kSeparatorChars + names[start - 1].chars <= kMaxPathLength) {
    chars += kSeparatorChars + names[--start].chars;
  }
  if (start < names.size()) {
    path = kEllipsis;
    append_joined(path, names.subspan(start));
    return path;
  }
  path = text::first_chars(names.back().text, kMaxPathLength - kEllipsisChars);
  path.append(kEllipsis);
  return path;
}

}  // namespace markdown::outline
