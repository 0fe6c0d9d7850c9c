#include "python/arguments.h"
#include "python/sequence.h"
#include "python/text.h"
// After the interpreter's header.
#include <algorithm>

#include "outline/heading_path.h"
#include "outline/heading_reader.h"
#include "outline/section_ranges.h"
#include "surface/functions.h"
#include "surface/records.h"

namespace markdown::surface {
namespace {

using blocks::Block;
using python::checked;
using python::Parameters;
using python::Ref;
using python::state_of;
using text::Row;

Block block_of(const blocks::NodeReader& nodes, PyObject* node) {
  if (node == Py_None) return {};
  return {Ref::share(node), nodes.kind(node)};
}

PyObject* heading(PyObject* module, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<2> kParameters = {"_heading", {"node", "following"}};
  return python::guarded([&] {
    const auto [node, following] = kParameters.bind(args, nargs, keywords);
    const blocks::NodeReader nodes(state_of(module));
    inlines::PlainText plain_text;
    const Block block{Ref::share(node), nodes.kind(node)};
    outline::Heading heading = outline::read_heading(nodes, plain_text, block, Block());
    heading.summary = outline::read_summary(nodes, plain_text, block_of(nodes, following));
    return to_record(nodes.state(), heading);
  });
}

constexpr char kHeading[] = R"(_heading($module, /, node, following)
--

A heading block as a _Heading.

node: an `atx_heading` or `setext_heading` node.
following: the block after it, or None.

Returns a new _Heading; its row is 0-based.)";

PyObject* summary(PyObject* module, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<1> kParameters = {"_summary", {"block"}};
  return python::guarded([&] {
    const auto [block] = kParameters.bind(args, nargs, keywords);
    const blocks::NodeReader nodes(state_of(module));
    inlines::PlainText plain_text;
    return to_str_or_none(outline::read_summary(nodes, plain_text, block_of(nodes, block)));
  });
}

constexpr char kSummary[] = R"(_summary($module, /, block)
--

The plain text of a paragraph block.

block: a block-tree node, or None.

Returns a str, or None for no block, any other block, and a paragraph without text.)";

// A text that the caller has split into lines: a sequence of str. It has the members that TextRows needs.
class LineSequence {
 public:
  explicit LineSequence(PyObject* lines) : lines_(lines), count_(checked(PySequence_Size(lines))) {}

  struct Place {
    Row row;
  };

  Row count() const noexcept { return count_; }

  Place end_of(Row row) const noexcept { return {count_ == 0 ? outline::kNoRow : std::min<Row>(row, count_ - 1)}; }

  bool skip_blank_row(Place& at) const {
    if (holds_text(at.row)) return false;
    at.row = at.row > 0 ? at.row - 1 : outline::kNoRow;
    return true;
  }

  template <class Visit>
  void for_each_row(Visit visit) const {
    for (Row row = 0; row < count_; ++row) visit(holds_text(row));
  }

 private:
  bool holds_text(Row row) const {
    const Ref line = Ref::steal(PySequence_GetItem(lines_, static_cast<Py_ssize_t>(row)));
    python::require_str(line.get(), "a line");
    checked(PyUnicode_READY(line.get()));
    for (Py_ssize_t i = 0; i < PyUnicode_GET_LENGTH(line.get()); ++i) {
      if (!text::is_space(PyUnicode_READ_CHAR(line.get(), i))) return true;
    }
    return false;
  }

  PyObject* lines_;
  Py_ssize_t count_;
};

PyObject* section_ends(PyObject* module, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<2> kParameters = {"_section_ends", {"headings", "lines"}};
  return python::guarded([&] {
    const auto [headings, lines] = kParameters.bind(args, nargs, keywords);
    const std::vector<HeadingPlace> places = read_heading_places(state_of(module), headings);
    outline::TextRows rows{LineSequence(lines)};
    const std::vector<Row> ends = outline::section_ends(std::span<const HeadingPlace>(places), rows);
    Ref list = Ref::steal(PyList_New(0));
    for (const Row end : ends) {
      checked(PyList_Append(list.get(), Ref::steal(PyLong_FromLongLong(end)).get()));
    }
    return list;
  });
}

constexpr char kSectionEnds[] = R"(_section_ends($module, /, headings, lines)
--

The last row of text of each heading's section.

headings: a sequence of _Heading in document order; only level and first_row are read.
lines: the document's text split at newlines, a sequence of str.

Returns a new list of int: one 0-based row for each heading, in the same order.)";

PyObject* last_text_row(PyObject*, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<3> kParameters = {"_last_text_row", {"lines", "floor", "row"}};
  return python::guarded([&] {
    const auto [lines, floor, row] = kParameters.bind(args, nargs, keywords);
    const Row floor_row = blocks::to_row(floor);
    const Row from_row = blocks::to_row(row);
    outline::TextRows rows{LineSequence(lines)};
    return Ref::steal(PyLong_FromLongLong(rows.last_text_row(floor_row, from_row)));
  });
}

constexpr char kLastTextRow[] = R"(_last_text_row($module, /, lines, floor, row)
--

The last row that holds text, searched from a row upwards to a floor.

lines: the document's text split at newlines, a sequence of str.
floor, row: 0-based rows. Rows outside the lines hold no text.

Returns an int: floor when no row below it holds text; row itself when it is not below floor.)";

PyObject* heading_path(PyObject*, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<1> kParameters = {"_heading_path", {"names"}};
  return python::guarded([&] {
    const auto [names] = kParameters.bind(args, nargs, keywords);
    std::vector<Ref> held;  // the views below point into these strings
    std::vector<python::Utf8> texts;
    python::for_each_item(names, [&held](Ref name) { held.push_back(std::move(name)); });
    texts.reserve(held.size());
    std::vector<outline::PathName> path;
    for (const Ref& name : held) {
      const python::Utf8& text = texts.emplace_back(name.get());
      path.push_back({text.view(), static_cast<std::size_t>(PyUnicode_GET_LENGTH(name.get()))});
    }
    return python::to_str(outline::heading_path(path));
  });
}

constexpr char kHeadingPath[] = R"(_heading_path($module, /, names)
--

The heading path of a section, its signature.

names: a sequence of str, from the outermost section's name to the section's own.

Returns a str of at most MAX_PATH_LENGTH characters, '' for no names. When not all names
fit, the last ones are kept after an ellipsis; when the last one does not fit, it is cut.)";

}  // namespace

PyMethodDef outline_functions[] = {
    python::method("_heading", heading, kHeading),
    python::method("_summary", summary, kSummary),
    python::method("_section_ends", section_ends, kSectionEnds),
    python::method("_last_text_row", last_text_row, kLastTextRow),
    python::method("_heading_path", heading_path, kHeadingPath),
    {},
};

}  // namespace markdown::surface
