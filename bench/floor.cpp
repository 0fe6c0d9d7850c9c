// The floor of the engine's cost: the node reads without which the two walks are impossible, and the calls of the
// host's rules and record types. The values for these calls are given. The floor reads no text and decides nothing.
//
// A program says what to read; floor_plan.py makes it before anything is timed. It has one byte for each node in
// document order, whose bits say which attributes of the node are read. The children of a node follow it.
#include "python/api.h"
// After the interpreter's header.
#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

namespace {

using markdown::python::checked;
using markdown::python::guarded;
using markdown::python::raise;
using markdown::python::Ref;

enum Read : unsigned char { kType = 1, kChildren = 2, kText = 4, kStartPoint = 8 };

// The floor runs in one interpreter and in one thread, so static objects are good enough.
struct {
  PyTypeObject* node_type;
  PyGetSetDef* type;
  PyGetSetDef* children;
  PyGetSetDef* text;
  PyGetSetDef* start_point;
  PyObject* symbol_type;
  PyObject* symbol_keywords;
  PyObject* reference_type;
  PyObject* reference_keywords;
} bound;

// The binding's getter of an attribute: what reading the attribute calls in the end.
PyGetSetDef* getter_of(PyTypeObject* type, const char* name) {
  PyObject* descriptor = PyDict_GetItemString(type->tp_dict, name);
  if (descriptor == nullptr || !Py_IS_TYPE(descriptor, &PyGetSetDescr_Type)) {
    raise(PyExc_ImportError, "the binding's nodes no longer have getters");
  }
  return reinterpret_cast<PyGetSetDescrObject*>(descriptor)->d_getset;
}

Ref read(PyObject* node, const PyGetSetDef* attribute) { return Ref::steal(attribute->get(node, attribute->closure)); }

// A node owns the list of its children, and the list owns them. So the root alone keeps all nodes alive.
class Walk {
 public:
  Walk(PyObject* root, std::string_view program) : program_(program) { visit(root); }

  void run() {
    while (!entered_.empty()) {
      Entered& top = entered_.back();
      if (top.next == PyList_GET_SIZE(top.children)) {
        entered_.pop_back();
      } else {
        visit(PyList_GET_ITEM(top.children, top.next++));
      }
    }
    if (at_ != program_.size()) raise(PyExc_ValueError, "the program was made for another tree");
  }

 private:
  struct Entered {
    PyObject* children;
    Py_ssize_t next;
  };

  void visit(PyObject* node) {
    if (at_ == program_.size() || !Py_IS_TYPE(node, bound.node_type)) {
      raise(PyExc_ValueError, "the program was made for another tree");
    }
    const auto reads = static_cast<unsigned char>(program_[at_++]);
    if (reads & kType) read(node, bound.type);
    if (reads & kText) read(node, bound.text);
    if (reads & kStartPoint) read(node, bound.start_point);
    if (reads & kChildren) entered_.push_back({read(node, bound.children).get(), 0});
  }

  std::string_view program_;
  std::size_t at_ = 0;
  std::vector<Entered> entered_;
};

void walk(PyObject* root, PyObject* program) {
  if (!PyBytes_Check(program)) raise(PyExc_TypeError, "a program is bytes");
  Walk(root, {PyBytes_AS_STRING(program), static_cast<std::size_t>(PyBytes_GET_SIZE(program))}).run();
}

template <std::size_t kCount>
std::array<PyObject*, kCount> values_of(PyObject* tuple) {
  if (!PyTuple_Check(tuple) || PyTuple_GET_SIZE(tuple) != static_cast<Py_ssize_t>(kCount)) {
    raise(PyExc_TypeError, "a record's values have another number");
  }
  std::array<PyObject*, kCount> values;
  for (std::size_t i = 0; i < kCount; ++i) values[i] = PyTuple_GET_ITEM(tuple, static_cast<Py_ssize_t>(i));
  return values;
}

PyObject* items_of(PyObject* list) {
  if (!PyList_Check(list)) raise(PyExc_TypeError, "records come in a list");
  return list;
}

// sections(root, program, records, unique_fqn, cap_docstring): a record is (fqn to ask for, summary or None, values).
PyObject* sections(PyObject*, PyObject* const* args, Py_ssize_t count) {
  return guarded([&] {
    if (count != 5) raise(PyExc_TypeError, "sections() takes 5 arguments");
    walk(args[0], args[1]);
    PyObject* records = items_of(args[2]);
    Ref symbols = Ref::steal(PyList_New(0));
    for (Py_ssize_t i = 0; i < PyList_GET_SIZE(records); ++i) {
      const auto [asked, summary, ready] = values_of<3>(PyList_GET_ITEM(records, i));
      auto values = values_of<10>(ready);
      const Ref fqn = Ref::steal(PyObject_CallOneArg(args[3], asked));
      const Ref docstring =
          summary == Py_None ? markdown::python::none() : Ref::steal(PyObject_CallOneArg(args[4], summary));
      values[4] = fqn.get();
      values[9] = docstring.get();
      const Ref symbol = Ref::steal(PyObject_Vectorcall(bound.symbol_type, values.data(), 0, bound.symbol_keywords));
      checked(PyList_Append(symbols.get(), symbol.get()));
    }
    return symbols;
  });
}

// links(root, program, records): a record is the five values of a reference.
PyObject* links(PyObject*, PyObject* const* args, Py_ssize_t count) {
  return guarded([&] {
    if (count != 3) raise(PyExc_TypeError, "links() takes 3 arguments");
    walk(args[0], args[1]);
    PyObject* records = items_of(args[2]);
    Ref references = Ref::steal(PyList_New(0));
    for (Py_ssize_t i = 0; i < PyList_GET_SIZE(records); ++i) {
      const auto values = values_of<5>(PyList_GET_ITEM(records, i));
      const Ref reference =
          Ref::steal(PyObject_Vectorcall(bound.reference_type, values.data(), 0, bound.reference_keywords));
      checked(PyList_Append(references.get(), reference.get()));
    }
    return references;
  });
}

Ref imported(const char* module, const char* name) {
  return Ref::steal(PyObject_GetAttrString(Ref::steal(PyImport_ImportModule(module)).get(), name));
}

Ref keywords(std::initializer_list<const char*> names) {
  Ref tuple = Ref::steal(PyTuple_New(static_cast<Py_ssize_t>(names.size())));
  Py_ssize_t i = 0;
  for (const char* name : names) {
    PyTuple_SET_ITEM(tuple.get(), i++, Ref::steal(PyUnicode_InternFromString(name)).release());
  }
  return tuple;
}

PyMethodDef methods[] = {
    {"sections", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(sections)), METH_FASTCALL, nullptr},
    {"links", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(links)), METH_FASTCALL, nullptr},
    {nullptr, nullptr, 0, nullptr},
};

PyModuleDef definition = {PyModuleDef_HEAD_INIT, "floor", nullptr, -1, methods, nullptr, nullptr, nullptr, nullptr};

}  // namespace

PyMODINIT_FUNC PyInit_floor() {
  return guarded([] {
    bound.node_type = reinterpret_cast<PyTypeObject*>(imported("tree_sitter", "Node").release());
    bound.type = getter_of(bound.node_type, "type");
    bound.children = getter_of(bound.node_type, "children");
    bound.text = getter_of(bound.node_type, "text");
    bound.start_point = getter_of(bound.node_type, "start_point");
    bound.symbol_type = imported("quarnel.models", "Symbol").release();
    bound.reference_type = imported("quarnel.engines.references", "ReferenceInfo").release();
    bound.symbol_keywords = keywords({"id", "file_id", "name", "kind", "fqn", "start_line", "end_line", "signature",
                                      "is_export", "docstring"})
                                .release();
    bound.reference_keywords = keywords({"name", "line", "kind", "qualifier", "source_fqn"}).release();
    return Ref::steal(PyModule_Create(&definition));
  });
}
