// The two ways to read YAML front matter: natively by the recogniser, or by PyYAML's safe loader.
//
// Tested by tests/test_frontmatter.py.
#pragma once

#include "python/state.h"
// After the interpreter's header.
#include <optional>
#include <string_view>

#include "frontmatter/yaml_recogniser.h"

namespace markdown::frontmatter {

// The fields of a body that the recogniser accepts. Nothing when the loader must be called: for any other body; for an
// unloadable body when debug records are made, which quote the loader's error; and for every body when a host has
// replaced `yaml.safe_load` since the module was loaded.
std::optional<YamlFields> read_natively(const python::ModuleState& state, std::string_view body);

// The value as the object that the loader would make. An empty Ref for kOther, which only the loader can make.
python::Ref to_object(const YamlValue& value);

// The fields of a body as the loader reads it, None for a field that the mapping does not have. Nothing when the body
// is no mapping. Nothing, after a debug record that names `prefix`, when the loader raises an Exception other than
// MemoryError, and when the guard refuses the body.
std::optional<Fields<python::Ref>> load_fields(const python::ModuleState& state, std::string_view body,
                                               PyObject* prefix);

}  // namespace markdown::frontmatter
