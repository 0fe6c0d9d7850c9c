// The guard of the safe loader: it refuses YAML on which the loader would recurse without bound, or copy without bound.
//
// Tested by tests/test_frontmatter.py.
#pragma once

#include "python/state.h"
// After the interpreter's header.
#include <cstddef>
#include <string_view>

namespace markdown::frontmatter {

// The limit on levels of nesting. Front matter that people write nests a few levels deep. The loader makes about three
// nested calls for each level, and a stack of 64 KiB has room for the 150 calls of this limit.
inline constexpr std::size_t kMaxYamlDepth = 48;

// The limit on entries that merge keys copy. Thirty lines like `b: &b {<<: [*a, *a]}` copy two billion entries. No body
// that people write copies more entries than it may have characters.
inline constexpr std::size_t kMaxMergedEntries = 65536;

// The reason why the loader must not read this body; null when it may. `body` is `utf8` as a str.
//
// Most bodies have no alias and too few indicators to nest too deep. Any other is followed through the events of
// PyYAML's parser, in one pass and without recursion.
const char* refusal_reason(const python::ModuleState& state, PyObject* body, std::string_view utf8);

}  // namespace markdown::frontmatter
