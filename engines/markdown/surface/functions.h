// The module's functions as Python calls them. Each array ends with an empty entry.
//
// Only two of them are for hosts. The others, whose names begin with an underscore, make each rule of the engine
// callable by itself. That is how the tests compare one rule with its pattern on millions of short texts, how a report
// about one heading or one link is narrowed down without a document, and how the fuzzers find out which rule is at
// fault. A document on its way through the two public functions passes none of these wrappers.
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
