// Reading any sequence of the host's: lists, tuples, and whatever else answers to length and index.
#pragma once

#include "python/api.h"

namespace markdown::python {

// Calls `visit(Ref item)` for every item. An item is held while it is visited, and the length is asked again before
// each, so a sequence that changes while it is read ends early and is never read past its end.
template <class Visit>
void for_each_item(PyObject* sequence, Visit&& visit) {
  if (PyList_CheckExact(sequence)) {
    for (Py_ssize_t i = 0; i < PyList_GET_SIZE(sequence); ++i) visit(Ref::share(PyList_GET_ITEM(sequence, i)));
  } else if (PyTuple_CheckExact(sequence)) {
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(sequence); ++i) visit(Ref::share(PyTuple_GET_ITEM(sequence, i)));
  } else {
    for (Py_ssize_t i = 0; i < checked(PySequence_Size(sequence)); ++i) {
      visit(Ref::steal(PySequence_GetItem(sequence, i)));
    }
  }
}

// Appends every item of a sequence, held, to a vector-like container.
template <class Refs>
void append_items(PyObject* sequence, Refs& refs) {
  for_each_item(sequence, [&refs](Ref item) { refs.push_back(std::move(item)); });
}

}  // namespace markdown::python
