#include "python/text.h"

#include <algorithm>

namespace markdown::python {

Ref to_str(std::string_view utf8) {
  return Ref::steal(PyUnicode_DecodeUTF8(utf8.data(), static_cast<Py_ssize_t>(utf8.size()), "surrogatepass"));
}

void reject_non_str(PyObject* object, const char* what) {
  PyErr_Format(PyExc_TypeError, "%s must be str, not %.200s", what, Py_TYPE(object)->tp_name);
  throw PythonError();
}

Utf8::Utf8(PyObject* str) {
  require_str(str, "text");
  checked(PyUnicode_READY(str));
  if (PyUnicode_IS_ASCII(str)) {
    view_ = {static_cast<const char*>(PyUnicode_DATA(str)), static_cast<std::size_t>(PyUnicode_GET_LENGTH(str))};
    return;
  }
  encoded_ = Ref::steal(PyUnicode_AsEncodedString(str, "utf-8", "surrogatepass"));
  view_ = {PyBytes_AS_STRING(encoded_.get()), static_cast<std::size_t>(PyBytes_GET_SIZE(encoded_.get()))};
}

Ref join_with_full_stop(PyObject* left, PyObject* right) {
  const Py_ssize_t left_chars = PyUnicode_GET_LENGTH(left);
  const Py_ssize_t right_chars = PyUnicode_GET_LENGTH(right);
  const Py_UCS4 widest = std::max(PyUnicode_MAX_CHAR_VALUE(left), PyUnicode_MAX_CHAR_VALUE(right));
  Ref joined = Ref::steal(PyUnicode_New(left_chars + 1 + right_chars, std::max<Py_UCS4>(widest, '.')));
  checked(PyUnicode_CopyCharacters(joined.get(), 0, left, 0, left_chars));
  checked(PyUnicode_WriteChar(joined.get(), left_chars, '.'));
  checked(PyUnicode_CopyCharacters(joined.get(), left_chars + 1, right, 0, right_chars));
  return joined;
}

}  // namespace markdown::python
