// The outline of a document: one section symbol for each heading that has a name.
//
// Tested by tests/test_sections.py.
#pragma once

#include "python/state.h"

namespace markdown::outline {

struct SectionRequest {
  PyObject* root;
  PyObject* source;  // str
  PyObject* prefix;  // str
  PyObject* file_id;
  PyObject* unique_fqn;
  PyObject* cap_docstring;
};

// A new list of the host's symbols, in document order.
python::Ref extract_sections(const python::ModuleState& state, const SectionRequest& request);

}  // namespace markdown::outline
