// What the safe loader must not be given: YAML on which it would recurse or multiply without bound.
//
// Tested by tests/test_frontmatter.py.
#pragma once

#include "python/state.h"
// After the interpreter's header.
#include <cstddef>
#include <string_view>

namespace markdown::frontmatter {

// Front matter nests a few levels. The loader takes some three calls of the interpreter for each, so this many fit a
// stack of 64 KiB.
inline constexpr std::size_t kMaxYamlDepth = 48;

// Merge keys multiply what a few aliases name. No body that people write merges more entries than it may have
// characters.
inline constexpr std::size_t kMaxMergedEntries = 65536;

// Why the loader must not have the body, or null when it may. `body` is the str of `utf8`.
//
// A body is followed through the parser's events, which takes no recursion and one pass, when it has enough indicators
// to nest too deep or has aliases.
const char* refusal_reason(const python::ModuleState& state, PyObject* body, std::string_view utf8);

}  // namespace markdown::frontmatter
