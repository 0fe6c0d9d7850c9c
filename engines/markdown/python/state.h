// The state of a module object: interned names, the host's record types, and what is imported from libraries.
//
// Each module object has its own. It is filled when the module is executed and does not change afterwards.
#pragma once

#include "python/api.h"

namespace markdown::python {

// Attribute and keyword names, each interned under its own spelling.
#define MARKDOWN_NAMES(X) \
  X(children)             \
  X(start_point)          \
  X(text)                 \
  X(type)                 \
  X(level)                \
  X(first_row)            \
  X(name)                 \
  X(start_line)           \
  X(end_line)             \
  X(fqn)                  \
  X(debug)                \
  X(isEnabledFor)         \
  X(get)                  \
  X(group)                \
  X(safe_load)            \
  X(section)

// Everything else: imported, or made when the module is executed.
#define MARKDOWN_OBJECTS(X) \
  X(dunder_init)            \
  X(symbol_type)            \
  X(symbol_keywords)        \
  X(reference_type)         \
  X(reference_keywords)     \
  X(doc_link)               \
  X(wiki_link)              \
  X(heading_type)           \
  X(front_matter_type)      \
  X(node_type)              \
  X(logger)                 \
  X(yaml)                   \
  X(yaml_safe_load)         \
  X(block_iterator)         \
  X(link_target_iterator)   \
  X(inline_target_iterator)

struct ModuleState {
#define FIELD(name) PyObject* name;
  struct {
    MARKDOWN_NAMES(FIELD)
  } names;
  MARKDOWN_OBJECTS(FIELD)
#undef FIELD
};

inline ModuleState& state_of(PyObject* module) noexcept {
  return *static_cast<ModuleState*>(PyModule_GetState(module));
}

void intern_names(ModuleState& state);
int traverse_state(PyObject* module, visitproc visit, void* arg) noexcept;
int clear_state(PyObject* module) noexcept;
void free_state(void* module) noexcept;

}  // namespace markdown::python
