#include "python/record.h"

namespace markdown::python {
namespace {

// A name in the dict of the first type in the order of resolution that has it, as it stands there; nothing when none
// does.
Ref find_in_type(PyTypeObject* type, PyObject* name) {
  // Held, since a name that is compared may be the host's and give the type other bases meanwhile.
  const Ref order = Ref::share(type->tp_mro);
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(order.get()); ++i) {
    PyObject* const members = reinterpret_cast<PyTypeObject*>(PyTuple_GET_ITEM(order.get(), i))->tp_dict;
    if (!members) return {};  // an interpreter may keep those of its own types elsewhere
    if (PyObject* found = PyDict_GetItemWithError(members, name)) return Ref::share(found);
    if (PyErr_Occurred()) {
      PyErr_Clear();  // the call of the type says what has become of it
      return {};
    }
  }
  return {};
}

// The `__init__` to which a call of the type comes down, nothing when there is more to the call than that. Looked up
// for each record: a host may replace it at any time.
Ref only_init_of(const ModuleState& state, PyObject* type) {
  // A metaclass may make anything of the call, a `__new__` of the type's own any object.
  if (!Py_IS_TYPE(type, &PyType_Type)) return {};
  auto* const record_type = reinterpret_cast<PyTypeObject*>(type);
  if (record_type->tp_new != PyBaseObject_Type.tp_new || record_type->tp_vectorcall) return {};
  if (record_type->tp_init == PyBaseObject_Type.tp_init) return {};
  // Only a plain function gets the object and the keywords, and no other binding goes before.
  Ref init = find_in_type(record_type, state.dunder_init);
  return init && Py_IS_TYPE(init.get(), &PyFunction_Type) ? std::move(init) : Ref();
}

}  // namespace

// A type is called with its keywords in a dict, which its `__init__` takes apart again: more than a quarter of the
// instructions of a record.
Ref call_record_type(const ModuleState& state, PyObject* type, PyObject** slots, PyObject* keywords) {
  const Ref init = only_init_of(state, type);
  if (!init) return Ref::steal(PyObject_Vectorcall(type, slots + 1, PY_VECTORCALL_ARGUMENTS_OFFSET, keywords));
  const Ref no_arguments = Ref::steal(PyTuple_New(0));
  Ref record = Ref::steal(PyBaseObject_Type.tp_new(reinterpret_cast<PyTypeObject*>(type), no_arguments.get(), nullptr));
  slots[0] = record.get();
  const Ref answer = Ref::steal(PyObject_Vectorcall(init.get(), slots, 1, keywords));
  if (answer.get() != Py_None) {
    PyErr_Format(PyExc_TypeError, "__init__() should return None, not '%.200s'", Py_TYPE(answer.get())->tp_name);
    throw PythonError();
  }
  return record;
}

}  // namespace markdown::python
