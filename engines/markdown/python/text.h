// Conversion between Python strings and UTF-8.
//
// A lone surrogate is converted to its three bytes and back, so nothing is lost and nothing raises.
#pragma once

#include "python/api.h"
// After the interpreter's header.
#include <string_view>

namespace markdown::python {

Ref to_str(std::string_view utf8);

// The UTF-8 of a str, which must outlive this object. An ASCII string is read in place. Any other is encoded into an
// object of its own, not into the cache that the interpreter keeps on a string: the string may be megabytes long.
class Utf8 {
 public:
  explicit Utf8(PyObject* str);  // TypeError when it is no str
  std::string_view view() const noexcept { return view_; }

 private:
  Ref encoded_;
  std::string_view view_;
};

[[noreturn]] void reject_non_str(PyObject* object, const char* what);

// Raises TypeError unless `object` is a str. `what` names the object in the message.
inline void require_str(PyObject* object, const char* what) {
  if (!PyUnicode_Check(object)) reject_non_str(object, what);
}

// Two strings with an ASCII separator between them. Both must be ready in the sense of PyUnicode_READY.
Ref join(PyObject* left, std::string_view separator, PyObject* right);

}  // namespace markdown::python
