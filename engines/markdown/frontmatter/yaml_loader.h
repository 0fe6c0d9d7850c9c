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

// The fields of a body that the recogniser accepts. It is asked only while `yaml.safe_load` is the function that it was
// when the module was loaded: a host that has put another one in its place gets that called for every body.
std::optional<YamlFields> read_natively(const python::ModuleState& state, std::string_view body);

// The value as the loader gives it; an empty Ref when only the loader can make it.
python::Ref to_object(const YamlValue& value);

// What the loader finds in a body, None under a key that the mapping lacks. Nothing when that is no mapping. Nothing,
// with a debug record that names `prefix`, when the loader raises an Exception other than MemoryError; a body on which
// the loader would recurse or multiply without bound is refused in the same way.
std::optional<Fields<python::Ref>> load_fields(const python::ModuleState& state, std::string_view body,
                                               PyObject* prefix);

}  // namespace markdown::frontmatter
