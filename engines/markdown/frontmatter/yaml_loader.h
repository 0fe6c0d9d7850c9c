// YAML front matter by either way: the recogniser where it may, PyYAML's safe loader for everything else.
//
// Tested by tests/test_frontmatter.py.
#pragma once

#include "python/state.h"
// After the interpreter's header.
#include <optional>
#include <string_view>

#include "frontmatter/yaml_recogniser.h"

namespace markdown::frontmatter {

// The fields of a body that the recogniser takes. It is not asked when `yaml.safe_load` is another function than it was
// when the module was loaded: a host that has put one in its place gets that called for every body.
std::optional<YamlFields> read_natively(const python::ModuleState& state, std::string_view body);

// The loader's values under the two keys, None for a key that the mapping lacks.
struct LoadedFields {
  python::Ref title;
  python::Ref description;
};

// What the loader makes of a body; nothing when that is no mapping, and nothing with a debug record that names `prefix`
// when it raises an Exception other than MemoryError. A body on which the loader would recurse or multiply without
// bound is refused in the same way.
std::optional<LoadedFields> load_fields(const python::ModuleState& state, std::string_view body, PyObject* prefix);

}  // namespace markdown::frontmatter
