#include "python/text.h"

#include <algorithm>
#include <cstring>

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

Ref join(PyObject* left, std::string_view separator, PyObject* right) {
  const auto between = static_cast<Py_ssize_t>(separator.size());
  const Py_ssize_t left_chars = PyUnicode_GET_LENGTH(left);
  const Py_ssize_t right_chars = PyUnicode_GET_LENGTH(right);
  const Py_UCS4 widest = std::max(PyUnicode_MAX_CHAR_VALUE(left), PyUnicode_MAX_CHAR_VALUE(right));
  Ref joined = Ref::steal(PyUnicode_New(left_chars + between + right_chars, std::max<Py_UCS4>(widest, 0x7F)));
  const int kind = PyUnicode_KIND(joined.get());
  char* const data = static_cast<char*>(PyUnicode_DATA(joined.get()));
  for (Py_ssize_t i = 0; i < between; ++i)
    PyUnicode_WRITE(kind, data, left_chars + i, static_cast<Py_UCS4>(separator[static_cast<std::size_t>(i)]));
  const auto put = [&](PyObject* part, Py_ssize_t at) {
    if (PyUnicode_KIND(part) == kind) {
      std::memcpy(data + at * kind, PyUnicode_DATA(part), static_cast<std::size_t>(PyUnicode_GET_LENGTH(part) * kind));
    } else {
      checked(PyUnicode_CopyCharacters(joined.get(), at, part, 0, PyUnicode_GET_LENGTH(part)));
    }
  };
  put(left, 0);
  put(right, left_chars + between);
  return joined;
}

}  // namespace markdown::python
