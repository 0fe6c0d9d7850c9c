// The conversion of headings: named tuples in Python, plain structs in C++.
#pragma once

#include "python/state.h"
// After the interpreter's header.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "outline/heading.h"
#include "text/row.h"

namespace markdown::surface {

python::Ref to_record(const python::ModuleState& state, const outline::Heading& heading);

// A copy of a heading record with another summary.
python::Ref with_summary(const python::ModuleState& state, PyObject* heading, PyObject* summary);

// The part of a heading that decides where sections end.
struct HeadingPlace {
  std::int64_t level;
  text::Row first_row;  // 0-based
};

// Reads the place of each heading record.
std::vector<HeadingPlace> read_heading_places(const python::ModuleState& state, PyObject* headings);

// A str, or None when there is no text.
python::Ref to_str_or_none(const std::optional<std::string>& text);

}  // namespace markdown::surface
