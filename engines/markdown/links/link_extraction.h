// Link extraction: the references of a document, each with the section that encloses it.
//
// Tested by tests/test_link_extraction.py.
#pragma once

#include "python/state.h"

namespace markdown::links {

// A new list of the host's reference records, in document order. `sections` is a sequence of section records.
python::Ref extract_links(const python::ModuleState& state, PyObject* root, PyObject* sections);

}  // namespace markdown::links
