// A node of the host's block tree. The engine makes four reads of a node: type, children, start point and text.
//
// A node is foreign code: each read may run any Python code and raise anything. A rule makes each read at most once.
// Tested by tests/test_blocks.py.
#pragma once

#include "python/state.h"
// After the interpreter's header.
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "blocks/kind.h"
#include "text/row.h"

namespace markdown::blocks {

using text::Row;

// A node's text as well-formed UTF-8. Owns the bytes object that its view points into.
class NodeText {
 public:
  NodeText() = default;
  NodeText(python::Ref bytes, std::size_t max_bytes);
  std::string_view view() const noexcept { return mended_.empty() ? bytes_ : std::string_view(mended_); }

 private:
  python::Ref owner_;
  std::string_view bytes_;
  std::string mended_;  // the text with U+FFFD for ill-formed bytes; empty when the bytes are well-formed
};

inline constexpr std::size_t kWholeText = SIZE_MAX;

// Makes the reads. For an exact tree_sitter.Node the attributes' getters are called directly; they are looked up once
// for each reader. For any other node, attributes are read in the usual way.
class NodeReader {
 public:
  explicit NodeReader(const python::ModuleState& state);

  const python::ModuleState& state() const noexcept { return state_; }

  // Whether the node is the binding's own, and no stand-in.
  bool is_exact(PyObject* node) const noexcept {
    return reinterpret_cast<PyObject*>(Py_TYPE(node)) == state_.node_type;
  }

  Kind kind(PyObject* node) const;  // TypeError when the type is no str
  python::Ref children(PyObject* node) const { return read(node, kChildren, state_.names.children); }
  Row row(PyObject* node) const;
  // Reads at most the first `max_bytes` bytes of the text; a character may be cut at that place.
  NodeText text(PyObject* node, std::size_t max_bytes = kWholeText) const;

 private:
  enum Attribute : std::uint8_t { kChildren, kStartPoint, kText, kType, kAttributes };
  struct Getter {
    getter get = nullptr;
    void* closure = nullptr;
  };

  python::Ref read(PyObject* node, Attribute attribute, PyObject* name) const {
    const Getter& getter = getters_[attribute];
    const bool direct = getter.get && is_exact(node);
    return python::Ref::steal(direct ? getter.get(node, getter.closure) : PyObject_GetAttr(node, name));
  }

  const python::ModuleState& state_;
  std::array<Getter, kAttributes> getters_{};
};

// The row that a Python integer stands for. Raises OverflowError beyond 2**62, so that lines can be counted from it.
Row to_row(PyObject* number);

}  // namespace markdown::blocks
