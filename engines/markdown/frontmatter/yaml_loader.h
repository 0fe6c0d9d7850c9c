// YAML front matter by PyYAML's safe loader: everything that the recogniser does not take.
//
// Tested by tests/test_frontmatter.py.
#pragma once

#include "python/state.h"
// After the interpreter's header.
#include <string_view>

namespace markdown::frontmatter {

// Whether `yaml.safe_load` is still the function that it was when the module was loaded. A host that has put another
// one in its place gets that called for every body.
bool is_own_loader(const python::ModuleState& state);

// What the loader makes of the body; nothing, and a debug record with the prefix, when it raises an Exception other
// than MemoryError. A body that nests too deep for any stack, or whose merge keys multiply, is refused in the same way.
python::Ref load_yaml(const python::ModuleState& state, std::string_view body, PyObject* prefix);

}  // namespace markdown::frontmatter
