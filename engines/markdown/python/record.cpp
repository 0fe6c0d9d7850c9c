#include "python/record.h"

namespace markdown::python {
namespace {

// Looks a name up in a type: in the dict of each type of its method resolution order. Returns the first value found,
// without binding it, or nothing when no type has the name.
Ref find_in_type(PyTypeObject* type, PyObject* name) {
  // Owned, because comparing names may run code of the host that gives the type other bases.
  const Ref order = Ref::share(type->tp_mro);
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(order.get()); ++i) {
    PyObject* const members = reinterpret_cast<PyTypeObject*>(PyTuple_GET_ITEM(order.get(), i))->tp_dict;
    if (!members) return {};  // newer interpreters keep the dicts of their own types elsewhere
    if (PyObject* found = PyDict_GetItemWithError(members, name)) return Ref::share(found);
    if (PyErr_Occurred()) {
      PyErr_Clear();  // the ordinary call of the type, which follows, decides what this means
      return {};
    }
  }
  return {};
}

// The `__init__` of a type whose call does nothing but make an object and pass it to that `__init__`; nothing for any
// other type. Looked up for each record, because a host may replace it at any time.
Ref only_init_of(const ModuleState& state, PyObject* type) {
  // A metaclass can do anything in a call, and a `__new__` can return any object.
  if (!Py_IS_TYPE(type, &PyType_Type)) return {};
  auto* const record_type = reinterpret_cast<PyTypeObject*>(type);
  if (record_type->tp_new != PyBaseObject_Type.tp_new || record_type->tp_vectorcall) return {};
  if (record_type->tp_init == PyBaseObject_Type.tp_init) return {};
  // Only for a plain function is calling it with the object the same as binding it first.
  Ref init = find_in_type(record_type, state.dunder_init);
  return init && Py_IS_TYPE(init.get(), &PyFunction_Type) ? std::move(init) : Ref();
}

}  // namespace

// An ordinary call of a type puts the keywords into a dict, and `__init__` takes them out again. That is more than a
// quarter of the instructions that a record costs (callgrind, with the stand-in host's records).
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
