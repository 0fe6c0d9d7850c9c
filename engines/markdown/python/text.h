// Between Python strings and UTF-8.
//
// Lone surrogates pass both ways as their three bytes, so nothing is lost and nothing raises.
#pragma once

#include "python/api.h"
// After the interpreter's header.
#include <string_view>

namespace markdown::python {

Ref to_str(std::string_view utf8);

// The UTF-8 of a str, which must outlive it. Nothing is cached on the string: an ASCII string is read in place, any
// other is encoded into an object of this one's own.
class Utf8 {
 public:
  explicit Utf8(PyObject* str);  // TypeError when it is no str
  std::string_view view() const noexcept { return view_; }

 private:
  Ref encoded_;
  std::string_view view_;
};

[[noreturn]] void reject_non_str(PyObject* object, const char* what);

// Throws TypeError, naming what it should have been, unless `object` is a str.
inline void require_str(PyObject* object, const char* what) {
  if (!PyUnicode_Check(object)) reject_non_str(object, what);
}

// Two strings, each ready, with an ASCII separator between them.
Ref join(PyObject* left, std::string_view separator, PyObject* right);

}  // namespace markdown::python
