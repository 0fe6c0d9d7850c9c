// What the safe loader must not be given: YAML on which it would recurse or multiply without bound.
//
// Tested by tests/test_frontmatter.py.
#pragma once

#include "python/state.h"
// After the interpreter's header.
#include <string_view>

namespace markdown::frontmatter {

// Front matter nests a few levels. The loader takes some three calls of the interpreter for each, so this many fit any
// stack that a thread which runs Python can have.
inline constexpr std::size_t kMaxYamlDepth = 48;

// Merge keys may multiply what a few aliases name; no body that people write merges as many entries as it may have
// characters.
inline constexpr std::size_t kMaxMergedEntries = 65536;

// Why the loader must not have the body, or null when it may. `body` is the str of `utf8`.
//
// A body that has enough indicators to nest too deep, or aliases, which reach as deep as what they name, is followed
// through the parser's events, which takes no recursion.
// One that has aliases and may have merge keys or value keys, along which the loader recurses whatever the nesting, is
// composed, and its graph of nodes is searched without recursion.
const char* refuse_yaml(const python::ModuleState& state, PyObject* body, std::string_view utf8);

}  // namespace markdown::frontmatter
