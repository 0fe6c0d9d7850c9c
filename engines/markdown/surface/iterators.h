// The iterator types of a module object, made when the module is executed.
#pragma once

#include "python/api.h"

namespace markdown::surface {

void make_block_iterator(PyObject* module);
void make_link_iterators(PyObject* module);

}  // namespace markdown::surface
