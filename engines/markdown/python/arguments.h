// Binding the arguments of a call to a function's parameters, all of which are required.
#pragma once

#include "python/api.h"
// After the interpreter's header.
#include <array>
#include <cstddef>

namespace markdown::python {

// Binds arguments as a Python function would. The first `positional` parameters take arguments by position or keyword,
// the others by keyword only. Raises TypeError with the interpreter's messages when the arguments do not fit.
void bind_arguments(const char* function, const char* const* parameters, std::size_t count, std::size_t positional,
                    PyObject* const* args, Py_ssize_t nargs, PyObject* keywords, PyObject** bound);

// The parameters of one function, known at compile time.
template <std::size_t kCount>
struct Parameters {
  const char* function;
  std::array<const char*, kCount> names;
  std::size_t positional = kCount;

  // Borrowed references, in the order of the parameters.
  std::array<PyObject*, kCount> bind(PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) const {
    std::array<PyObject*, kCount> bound{};
    bind_arguments(function, names.data(), kCount, positional, args, nargs, keywords, bound.data());
    return bound;
  }
};

// A function's entry in a method table: `text` opens with the signature line that inspect.signature reads.
inline PyMethodDef method(const char* name, _PyCFunctionFastWithKeywords function, const char* text) noexcept {
  return {name, reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(function)), METH_FASTCALL | METH_KEYWORDS,
          text};
}

}  // namespace markdown::python
