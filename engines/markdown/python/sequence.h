// Reading a sequence of the host's: a list, a tuple, or any object with a length and an index.
#pragma once

#include "python/api.h"
// After the interpreter's header.
#include <type_traits>
#include <utility>

namespace markdown::python {

// An item of a list. NULL stands in the list where the binding had no memory for a node's child.
inline Ref item_of(PyObject* list, Py_ssize_t i) {
  PyObject* item = PyList_GET_ITEM(list, i);
  return item != nullptr ? Ref::share(item) : Ref::steal(PyErr_NoMemory());
}

// Calls `visit(Ref item)` for every item, or until it returns false. An item is owned while it is visited. The length
// is asked again before each item, so a sequence that becomes shorter meanwhile is never read past its end.
template <class Visit>
void for_each_item(PyObject* sequence, Visit&& visit_item) {
  const auto visit = [&visit_item](Ref item) {
    if constexpr (std::is_void_v<std::invoke_result_t<Visit&, Ref>>) {
      visit_item(std::move(item));
      return true;
    } else {
      return visit_item(std::move(item));
    }
  };
  if (PyList_CheckExact(sequence)) {
    for (Py_ssize_t i = 0; i < PyList_GET_SIZE(sequence); ++i) {
      if (!visit(item_of(sequence, i))) return;
    }
  } else if (PyTuple_CheckExact(sequence)) {
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(sequence); ++i) {
      if (!visit(Ref::share(PyTuple_GET_ITEM(sequence, i)))) return;
    }
  } else {
    for (Py_ssize_t i = 0; i < checked(PySequence_Size(sequence)); ++i) {
      if (!visit(Ref::steal(PySequence_GetItem(sequence, i)))) return;
    }
  }
}

}  // namespace markdown::python
