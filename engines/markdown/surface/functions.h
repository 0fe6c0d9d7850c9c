// The published functions: Python calls in, Python objects out. Each array ends with an empty entry.
//
// Every rule of the engine can be called by itself under its published name; the road of a document through the two
// public functions does not pass these wrappers.
#pragma once

#include "python/api.h"

namespace markdown::surface {

extern PyMethodDef public_functions[];
extern PyMethodDef block_functions[];
extern PyMethodDef outline_functions[];
extern PyMethodDef front_matter_functions[];
extern PyMethodDef inline_functions[];
extern PyMethodDef link_functions[];

}  // namespace markdown::surface
