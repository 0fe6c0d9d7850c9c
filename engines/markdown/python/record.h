// Making the host's records: a call of the record's type with its values by keyword.
//
// Tested by tests/test_records.py.
#pragma once

#include "python/state.h"
// After the interpreter's header.
#include <array>
#include <cstddef>

namespace markdown::python {

// `slots` has one free element, which the call uses, and then the values.
Ref call_record_type(const ModuleState& state, PyObject* type, PyObject** slots, PyObject* keywords);

// The same as `type(**dict(zip(keywords, values)))`. The values are borrowed references.
template <class... Values>
Ref make_record(const ModuleState& state, PyObject* type, PyObject* keywords, Values... values) {
  std::array<PyObject*, 1 + sizeof...(values)> slots = {nullptr, values...};
  return call_record_type(state, type, slots.data(), keywords);
}

}  // namespace markdown::python
