#include "python/state.h"

namespace markdown::python {

void intern_names(ModuleState& state) {
#define INTERN(spelling) state.names.spelling = Ref::steal(PyUnicode_InternFromString(#spelling)).release();
  MARKDOWN_NAMES(INTERN)
#undef INTERN
}

int traverse_state(PyObject* module, visitproc visit, void* arg) noexcept {
  if (!PyModule_GetState(module)) return 0;  // not allocated yet
  ModuleState& state = state_of(module);
#define VISIT(name) Py_VISIT(state.name);
  MARKDOWN_OBJECTS(VISIT)
#undef VISIT
#define VISIT(name) Py_VISIT(state.names.name);
  MARKDOWN_NAMES(VISIT)
#undef VISIT
  return 0;
}

int clear_state(PyObject* module) noexcept {
  if (!PyModule_GetState(module)) return 0;
  ModuleState& state = state_of(module);
#define CLEAR(name) Py_CLEAR(state.name);
  MARKDOWN_OBJECTS(CLEAR)
#undef CLEAR
#define CLEAR(name) Py_CLEAR(state.names.name);
  MARKDOWN_NAMES(CLEAR)
#undef CLEAR
  return 0;
}

void free_state(void* module) noexcept { clear_state(static_cast<PyObject*>(module)); }

}  // namespace markdown::python
