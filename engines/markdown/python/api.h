// The interpreter's C API, with what makes it safe in C++: `Ref` owns a reference, `PythonError` is the one exception,
// and `guarded` is the one place where C++ returns to Python.
//
// Every file that needs the interpreter includes this header first. No other file includes Python.h.
#pragma once

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include <cstddef>
#include <exception>
#include <new>
#include <utility>

namespace markdown::python {

// Thrown when the interpreter's error indicator is set. It carries nothing, because the indicator says what went wrong.
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

// For calls that return a negative number when they have set the error indicator.
template <class Number>
Number checked(Number answer) {
  if (answer < 0) throw PythonError();
  return answer;
}

[[noreturn]] inline void raise(PyObject* type, const char* message) {
  PyErr_SetString(type, message);
  throw PythonError();
}

// Rethrows unless the error that is set may be handled: an Exception other than MemoryError. Interrupts and a lack of
// memory are not caused by the text that was read, so they reach the caller.
inline void require_ordinary_error() {
  if (!PyErr_ExceptionMatches(PyExc_Exception) || PyErr_ExceptionMatches(PyExc_MemoryError)) throw PythonError();
}

// Makes the C++ runtime's record of this thread's exceptions. The runtime makes it when a thread throws for the first
// time, and ends the process when there is no memory left for it. Returns false, without trying, when less than 4 KiB
// of memory is left.
inline bool make_exception_record() noexcept {
  constexpr std::size_t kMuchMoreThanTheRecordNeeds = 4096;
  void* const probe = PyMem_RawMalloc(kMuchMoreThanTheRecordNeeds);
  PyMem_RawFree(probe);
  if (probe) static_cast<void>(std::current_exception());
  return probe != nullptr;
}

// Wraps every function that Python calls. An empty Ref is returned as NULL; without an error set, that ends an
// iterator.
template <class Body>
PyObject* guarded(Body&& body) noexcept {
  if (!make_exception_record()) return PyErr_NoMemory();
  try {
    return body().release();
  } catch (const PythonError&) {  // the indicator is set, with its traceback
    // Except that some calls of the interpreter fail without setting it when memory runs out.
    if (!PyErr_Occurred()) PyErr_NoMemory();
  } catch (const std::bad_alloc&) {
    PyErr_NoMemory();
  } catch (const std::exception& e) {
    PyErr_SetString(PyExc_SystemError, e.what());
  }
  return nullptr;
}

// The same for functions that return 0, or -1 with the error indicator set.
template <class Body>
int guarded_status(Body&& body) noexcept {
  const auto answer_true = [&] {
    body();
    return Ref::share(Py_True);
  };
  return Ref::steal_or_empty(guarded(answer_true)) ? 0 : -1;
}

}  // namespace markdown::python
