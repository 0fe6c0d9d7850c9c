#include "binder.h"

#include "python/text.h"

namespace markdown {

using python::checked;
using python::Ref;
using python::to_str;

namespace {

Ref imported(const char* name) {
  // For a dotted name this returns the submodule, as `importlib.import_module` does.
  return Ref::steal(PyImport_ImportModule(name));
}

Ref attribute(const char* module_name, const char* name) {
  return Ref::steal(PyObject_GetAttrString(imported(module_name).get(), name));
}

}  // namespace

void Binder::bind(const char* name, const Ref& value) const {
  checked(PyModule_AddObjectRef(module_, name, value.get()));
}

Ref Binder::module(const char* name) const {
  Ref module = imported(name);
  bind(name, module);
  return module;
}

Ref Binder::import(const char* module_name, const char* name) const {
  Ref value = attribute(module_name, name);
  bind(name, value);
  return value;
}

Ref Binder::logger(const char* name) const {
  const Ref own_name = Ref::steal(PyModule_GetNameObject(module_));
  Ref logger = Ref::steal(PyObject_CallOneArg(attribute("logging", "getLogger").get(), own_name.get()));
  bind(name, logger);
  return logger;
}

void Binder::integer(const char* name, std::size_t value) const { bind(name, Ref::steal(PyLong_FromSize_t(value))); }

void Binder::string(const char* name, std::string_view value) const { bind(name, to_str(value)); }

void Binder::types(const char* name, bool (*contains)(blocks::Kind)) const {
  const Ref set = Ref::steal(PyFrozenSet_New(nullptr));  // PySet_Add may fill it while no other code has a reference
  for (std::size_t i = 0; i < blocks::kTypeNames.size(); ++i) {
    if (contains(static_cast<blocks::Kind>(i))) checked(PySet_Add(set.get(), to_str(blocks::kTypeNames[i]).get()));
  }
  bind(name, set);
}

void Binder::levels(const char* name, std::initializer_list<blocks::Kind> markers) const {
  const Ref levels = Ref::steal(PyDict_New());
  for (const blocks::Kind marker : markers) {
    const Ref level = Ref::steal(PyLong_FromLong(blocks::level_of(marker)));
    checked(PyDict_SetItem(levels.get(), to_str(blocks::type_name(marker)).get(), level.get()));
  }
  bind(name, Ref::steal(PyDictProxy_New(levels.get())));
}

Ref Binder::compiled(std::string_view text, Flags flags) const {
  const Ref flag = flags == kDotAll ? attribute("re", "DOTALL") : Ref::steal(PyLong_FromLong(0));
  return Ref::steal(
      PyObject_CallFunctionObjArgs(attribute("re", "compile").get(), to_str(text).get(), flag.get(), nullptr));
}

void Binder::pattern(const char* name, std::string_view text, Flags flags) const { bind(name, compiled(text, flags)); }

void Binder::patterns(const char* name, std::span<const std::string_view> texts, Flags flags) const {
  const Ref tuple = Ref::steal(PyTuple_New(static_cast<Py_ssize_t>(texts.size())));
  for (std::size_t i = 0; i < texts.size(); ++i) {
    PyTuple_SET_ITEM(tuple.get(), static_cast<Py_ssize_t>(i), compiled(texts[i], flags).release());
  }
  bind(name, tuple);
}

Ref Binder::keywords(std::initializer_list<const char*> names) const {
  Ref tuple = Ref::steal(PyTuple_New(static_cast<Py_ssize_t>(names.size())));
  Py_ssize_t i = 0;
  for (const char* name : names) {
    PyTuple_SET_ITEM(tuple.get(), i++, Ref::steal(PyUnicode_InternFromString(name)).release());
  }
  return tuple;
}

Ref Binder::record(const char* name, std::initializer_list<const char*> fields, const char* doc) const {
  const Ref type = Ref::steal(PyObject_CallFunctionObjArgs(attribute("collections", "namedtuple").get(),
                                                           to_str(name).get(), keywords(fields).get(), nullptr));
  const Ref own_name = Ref::steal(PyModule_GetNameObject(module_));
  checked(PyObject_SetAttrString(type.get(), "__module__", own_name.get()));
  checked(PyObject_SetAttrString(type.get(), "__doc__", to_str(doc).get()));
  bind(name, type);
  return Ref::share(type.get());
}

void Binder::functions(PyMethodDef* functions) const { checked(PyModule_AddFunctions(module_, functions)); }

}  // namespace markdown
