// Binds names on a module object while the module is executed.
#pragma once

#include "python/api.h"
// After the interpreter's header.
#include <cstddef>
#include <initializer_list>
#include <span>
#include <string_view>

#include "blocks/kind.h"

namespace markdown {

class Binder {
 public:
  enum Flags { kNoFlags, kDotAll };

  explicit Binder(PyObject* module) noexcept : module_(module) {}

  // Each function binds one name. A function that returns something returns what it bound.
  python::Ref module(const char* name) const;
  python::Ref import(const char* module_name, const char* name) const;
  python::Ref logger(const char* name) const;  // the logger of the module's own dotted name
  void integer(const char* name, std::size_t value) const;
  void string(const char* name, std::string_view value) const;
  void type_name(const char* name, blocks::Kind kind) const { string(name, blocks::type_name(kind)); }
  void types(const char* name, bool (*contains)(blocks::Kind)) const;                   // a frozenset of node types
  void levels(const char* name, std::initializer_list<blocks::Kind> markers) const;     // read-only: type to level
  void pattern(const char* name, std::string_view text, Flags flags = kNoFlags) const;  // compiled by re
  void patterns(const char* name, std::span<const std::string_view> texts, Flags flags) const;
  python::Ref record(const char* name, std::initializer_list<const char*> fields,
                     const char* doc) const;  // a named tuple
  void functions(PyMethodDef* functions) const;

  // A tuple of interned names, the form in which a vectorcall takes keywords. Binds nothing.
  python::Ref keywords(std::initializer_list<const char*> names) const;

 private:
  void bind(const char* name, const python::Ref& value) const;
  python::Ref compiled(std::string_view text, Flags flags) const;

  PyObject* module_;
};

}  // namespace markdown
