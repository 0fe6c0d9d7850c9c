// The interpreter's C API, and the three things that make it safe in C++: owned references, one exception, one way
// back.
//
// Every file that needs the interpreter includes this header first; none includes Python.h itself.
#pragma once

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include <cstddef>
#include <exception>
#include <new>
#include <utility>

namespace markdown::python {

// The interpreter's error indicator is set. Carries nothing: the indicator says what went wrong.
class PythonError {};

// One strong reference, or nothing.
class Ref {
 public:
  Ref() noexcept = default;
  // A new reference, or NULL with the error indicator set.
  static Ref steal(PyObject* p) { return p ? Ref(p) : throw PythonError(); }
  static Ref share(PyObject* p) noexcept { return Ref(Py_NewRef(p)); }  // a borrowed reference
  static Ref steal_or_empty(PyObject* p) noexcept { return Ref(p); }    // NULL is no error here
  Ref(const Ref&) = delete;
  Ref(Ref&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
  Ref& operator=(Ref other) noexcept {
    std::swap(p_, other.p_);
    return *this;
  }
  ~Ref() { Py_XDECREF(p_); }

  PyObject* get() const noexcept { return p_; }
  PyObject* release() noexcept { return std::exchange(p_, nullptr); }
  explicit operator bool() const noexcept { return p_ != nullptr; }

 private:
  explicit Ref(PyObject* p) noexcept : p_(p) {}
  PyObject* p_ = nullptr;
};

inline Ref none() noexcept { return Ref::share(Py_None); }

// For calls that answer with a negative number when they have set the error indicator.
template <class Number>
Number checked(Number answer) {
  if (answer < 0) throw PythonError();
  return answer;
}

[[noreturn]] inline void raise(PyObject* type, const char* message) {
  PyErr_SetString(type, message);
  throw PythonError();
}

// Throws on unless the error that is set is an Exception other than MemoryError, which alone may be handled: an
// interrupt and a lack of memory are no fault of what was read.
inline void require_ordinary_error() {
  if (!PyErr_ExceptionMatches(PyExc_Exception) || PyErr_ExceptionMatches(PyExc_MemoryError)) throw PythonError();
}

// Makes the C++ runtime's record of this thread's exceptions. The runtime makes it with the first exception that a
// thread throws, and when no memory is left for it at that moment, the process ends. Answers false when so little
// memory is left that the record is better not tried for.
inline bool make_exception_record() noexcept {
  constexpr std::size_t kMuchMoreThanItNeeds = 4096;
  void* const probe = PyMem_RawMalloc(kMuchMoreThanItNeeds);
  PyMem_RawFree(probe);
  if (probe) static_cast<void>(std::current_exception());
  return probe != nullptr;
}

// Where C++ returns to Python: an empty Ref comes out as NULL, which ends an iterator when no error is set.
template <class Body>
PyObject* guarded(Body&& body) noexcept {
  if (!make_exception_record()) return PyErr_NoMemory();
  try {
    return body().release();
  } catch (const PythonError&) {  // indicator already set, traceback and all
    // Some interpreters' own calls fail without setting it when memory runs out.
    if (!PyErr_Occurred()) PyErr_NoMemory();
  } catch (const std::bad_alloc&) {
    PyErr_NoMemory();
  } catch (const std::exception& e) {
    PyErr_SetString(PyExc_SystemError, e.what());
  }
  return nullptr;
}

// The same for functions that answer 0, or -1 with the error indicator set.
template <class Body>
int guarded_status(Body&& body) noexcept {
  const auto answer_true = [&] {
    body();
    return Ref::share(Py_True);
  };
  return Ref::steal_or_empty(guarded(answer_true)) ? 0 : -1;
}

}  // namespace markdown::python
