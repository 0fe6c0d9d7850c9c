// The module's functions as Python calls them. Each array ends with an empty entry.
//
// `extract_sections` and `extract_links` are for hosts. The other 22 functions make each rule of the engine callable by
// itself. That is how the tests compare one rule with its pattern on millions of short texts, and how a report about
// one heading or one link is narrowed down without a document. Their names begin with an underscore; only `unquote` is
// named after the function of the standard library that it equals.
//
// The two public functions use none of these wrappers: they call the rules directly.
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
