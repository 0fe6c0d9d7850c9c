#include "blocks/node.h"

#include "python/text.h"
#include "text/utf8.h"

namespace markdown::blocks {
namespace {

using python::checked;
using python::ModuleState;
using python::Ref;

// The lines of a text are counted from its node's row, and that sum must not overflow.
constexpr Row kRowLimit = Row{1} << 62;

}  // namespace

NodeText::NodeText(Ref bytes, std::size_t max_bytes) : owner_(std::move(bytes)) {
  bytes_ = {PyBytes_AS_STRING(owner_.get()), static_cast<std::size_t>(PyBytes_GET_SIZE(owner_.get()))};
  bytes_ = bytes_.substr(0, max_bytes);
  const std::size_t valid = text::valid_prefix(bytes_);
  if (valid == bytes_.size()) return;
  mended_ = bytes_.substr(0, valid);
  text::append_replaced(mended_, bytes_.substr(valid));
}

NodeReader::NodeReader(const ModuleState& state) : state_(state) {
  auto* type = reinterpret_cast<PyTypeObject*>(state.node_type);
  if (!PyType_Check(state.node_type) || type->tp_getattro != PyObject_GenericGetAttr || !type->tp_dict) return;
  PyObject* names[kAttributes] = {state.names.children, state.names.start_point, state.names.text, state.names.type};
  for (std::size_t i = 0; i < kAttributes; ++i) {
    // Looked up for each reader, because a host may replace the attributes of the type. An attribute that is missing,
    // or is no getter of this very type, is read in the usual way.
    PyObject* descriptor = PyDict_GetItemWithError(type->tp_dict, names[i]);
    if (!descriptor && PyErr_Occurred()) throw python::PythonError();
    if (!descriptor || !Py_IS_TYPE(descriptor, &PyGetSetDescr_Type)) continue;
    const auto* getset = reinterpret_cast<PyGetSetDescrObject*>(descriptor);
    if (PyDescr_TYPE(getset) == type) getters_[i] = {getset->d_getset->get, getset->d_getset->closure};
  }
}

Kind NodeReader::kind(PyObject* node) const {
  const Ref type = read(node, kType, state_.names.type);
  python::require_str(type.get(), "a node's type");
  if (PyUnicode_READY(type.get()) < 0) throw python::PythonError();
  if (!PyUnicode_IS_ASCII(type.get())) return Kind::kOther;
  return kind_of({static_cast<const char*>(PyUnicode_DATA(type.get())),
                  static_cast<std::size_t>(PyUnicode_GET_LENGTH(type.get()))});
}

Row to_row(PyObject* number) {
  const Ref index = Ref::steal(PyNumber_Index(number));
  int overflow = 0;
  const long long row = PyLong_AsLongLongAndOverflow(index.get(), &overflow);  // of an int: cannot fail
  if (overflow != 0 || row > kRowLimit || row < -kRowLimit) python::raise(PyExc_OverflowError, "row out of range");
  return row;
}

Row NodeReader::row(PyObject* node) const {
  const Ref point = read(node, kStartPoint, state_.names.start_point);
  if (PyTuple_Check(point.get()) && PyTuple_GET_SIZE(point.get()) > 0) {
    return to_row(PyTuple_GET_ITEM(point.get(), 0));
  }
  return to_row(Ref::steal(PySequence_GetItem(point.get(), 0)).get());
}

NodeText NodeReader::text(PyObject* node, std::size_t max_bytes) const {
  Ref text = read(node, kText, state_.names.text);
  if (!PyBytes_Check(text.get())) {
    if (checked(PyObject_IsTrue(text.get())) == 0) return {};
    // A str gets an error of its own. Any other object with a buffer is copied, because its bytes may change.
    if (PyUnicode_Check(text.get())) python::raise(PyExc_TypeError, "a node's text must be bytes, not str");
    if (!PyObject_CheckBuffer(text.get())) python::raise(PyExc_TypeError, "a node's text must be bytes");
    text = Ref::steal(PyBytes_FromObject(text.get()));
  }
  return {std::move(text), max_bytes};
}

}  // namespace markdown::blocks
