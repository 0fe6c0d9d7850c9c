// The two value records between Python and C++: named tuples outside, plain structs inside.
#pragma once

#include "python/state.h"
// After the interpreter's header.
#include <optional>
#include <string>
#include <vector>

#include "outline/heading.h"

namespace markdown::surface {

python::Ref to_record(const python::ModuleState& state, const outline::Heading& heading);

// A copy of a heading record that differs in its summary.
python::Ref with_summary(const python::ModuleState& state, PyObject* heading, PyObject* summary);

// What nesting and section ranges need of a heading record: its level and its row; the name and the summary stay empty.
std::vector<outline::Heading> read_places(const python::ModuleState& state, PyObject* headings);

// A str for text, None for nothing.
python::Ref to_str_or_none(const std::optional<std::string>& text);

}  // namespace markdown::surface
