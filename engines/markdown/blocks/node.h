// A node of the host's block tree, through the four reads that the engine makes of one: type, children, start point,
// text.
//
// A node is foreign: each read may run any Python code and raise anything. Each is made once where a rule needs it.
// Tested by tests/test_blocks.py.
#pragma once

#include "python/state.h"
// After the interpreter's header.
#include <cstdint>
#include <string>
#include <string_view>

#include "blocks/kind.h"

namespace markdown::blocks {

using Row = std::int64_t;  // 0-based

// A node's text as well-formed UTF-8. Holds the bytes object that its view points into.
class NodeText {
 public:
  NodeText() = default;
  NodeText(python::Ref bytes, std::size_t max_bytes);
  std::string_view view() const noexcept { return mended_.empty() ? bytes_ : std::string_view(mended_); }

 private:
  python::Ref owner_;
  std::string_view bytes_;
  std::string mended_;  // the text with U+FFFD for what is ill-formed, empty when nothing is
};

inline constexpr std::size_t kWholeText = SIZE_MAX;

Kind read_kind(const python::ModuleState& state, PyObject* node);  // TypeError when the type is no str
python::Ref read_children(const python::ModuleState& state, PyObject* node);
Row read_row(const python::ModuleState& state, PyObject* node);
// Reads at most the first `max_bytes` bytes of the text; a character may be cut at that place.
NodeText read_text(const python::ModuleState& state, PyObject* node, std::size_t max_bytes = kWholeText);

// A row as an object that stands for one, in the range that leaves room to count on: OverflowError beyond 2**62.
Row to_row(PyObject* number);

}  // namespace markdown::blocks
