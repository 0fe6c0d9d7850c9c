#include "python/arguments.h"

namespace markdown::python {
namespace {

template <class... Parts>
[[noreturn]] void reject(const char* format, Parts... parts) {
  PyErr_Format(PyExc_TypeError, format, parts...);
  throw PythonError();
}

}  // namespace

void bind_arguments(const char* function, const char* const* parameters, std::size_t count, std::size_t positional,
                    PyObject* const* args, Py_ssize_t nargs, PyObject* keywords, PyObject** bound) {
  if (static_cast<std::size_t>(nargs) > positional) {
    reject("%s() takes %zu positional argument%s but %zd were given", function, positional, positional == 1 ? "" : "s",
           nargs);
  }
  for (Py_ssize_t i = 0; i < nargs; ++i) bound[i] = args[i];
  const Py_ssize_t named = keywords ? PyTuple_GET_SIZE(keywords) : 0;
  for (Py_ssize_t k = 0; k < named; ++k) {
    PyObject* keyword = PyTuple_GET_ITEM(keywords, k);
    // Most callers keep the order of the parameters, so the search begins at the next parameter.
    std::size_t tried = 0;
    std::size_t i = 0;
    do {
      if (tried == count) reject("%s() got an unexpected keyword argument '%U'", function, keyword);
      i = (static_cast<std::size_t>(nargs + k) + tried++) % count;
    } while (PyUnicode_CompareWithASCIIString(keyword, parameters[i]) != 0);
    if (bound[i]) reject("%s() got multiple values for argument '%s'", function, parameters[i]);
    bound[i] = args[nargs + k];
  }
  for (std::size_t i = 0; i < count; ++i) {
    if (bound[i]) continue;
    reject("%s() missing required %sargument: '%s'", function, i < positional ? "" : "keyword-only ", parameters[i]);
  }
}

}  // namespace markdown::python
