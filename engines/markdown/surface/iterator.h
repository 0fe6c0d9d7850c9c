// Python iterators over C++ sources of items. An item is read when the iterator is asked for it.
#pragma once

#include "python/state.h"
// After the interpreter's header.
#include <new>
#include <utility>

namespace markdown::surface {

// `Source` has `Ref next(const ModuleState&)`, which returns an empty Ref at the end. For the references that it owns,
// it has `int traverse(visitproc, void*) const` and `void clear() noexcept`.
template <class Source>
class Iterator {
 public:
  static PyObject* make_type(PyObject* module, const char* name) {
    PyType_Slot slots[] = {
        {Py_tp_iter, reinterpret_cast<void*>(PyObject_SelfIter)},
        {Py_tp_iternext, reinterpret_cast<void*>(&Iterator::next)},
        {Py_tp_traverse, reinterpret_cast<void*>(&Iterator::traverse)},
        {Py_tp_clear, reinterpret_cast<void*>(&Iterator::clear)},
        {Py_tp_dealloc, reinterpret_cast<void*>(&Iterator::dealloc)},
        {0, nullptr},
    };
    PyType_Spec definition = {
        name, sizeof(Object), 0,
        Py_TPFLAGS_DEFAULT | Py_TPFLAGS_HAVE_GC | Py_TPFLAGS_DISALLOW_INSTANTIATION | Py_TPFLAGS_IMMUTABLETYPE, slots};
    return PyType_FromModuleAndSpec(module, &definition, nullptr);
  }

  static python::Ref make(PyObject* type, Source source) {
    auto* type_object = reinterpret_cast<PyTypeObject*>(type);
    python::Ref iterator = python::Ref::steal(type_object->tp_alloc(type_object, 0));
    new (&object_of(iterator.get())->source) Source(std::move(source));
    return iterator;
  }

 private:
  struct Object {
    PyObject_HEAD bool running;
    Source source;
  };

  static Object* object_of(PyObject* self) noexcept { return reinterpret_cast<Object*>(self); }

  static PyObject* next(PyObject* self) {
    Object* object = object_of(self);
    // Reading a node may run Python code. That code, or another thread meanwhile, may ask this iterator for an item.
    if (object->running) {
      PyErr_SetString(PyExc_ValueError, "iterator already executing");
      return nullptr;
    }
    object->running = true;
    PyObject* item = python::guarded([&] {
      auto* module = static_cast<PyObject*>(PyType_GetModule(Py_TYPE(self)));
      if (!module) throw python::PythonError();
      return object->source.next(python::state_of(module));
    });
    object->running = false;
    if (!item) object->source.clear();  // like a generator, the iterator ends when it raises
    return item;
  }

  static int traverse(PyObject* self, visitproc visit, void* arg) {
    Py_VISIT(Py_TYPE(self));
    return object_of(self)->source.traverse(visit, arg);
  }

  static int clear(PyObject* self) {
    if (!object_of(self)->running) object_of(self)->source.clear();
    return 0;
  }

  static void dealloc(PyObject* self) {
    PyObject_GC_UnTrack(self);
    Py_TRASHCAN_BEGIN(self, dealloc)  // the root of an iterator may be another iterator, to any depth
        PyTypeObject* type = Py_TYPE(self);
    object_of(self)->source.~Source();
    type->tp_free(self);
    python::Ref::steal_or_empty(reinterpret_cast<PyObject*>(type));  // an instance owns a reference to its heap type
    Py_TRASHCAN_END
  }
};

}  // namespace markdown::surface
