#include "python/arguments.h"
// After the interpreter's header.
#include "links/link_extraction.h"
#include "outline/section_extraction.h"
#include "surface/functions.h"

namespace markdown::surface {
namespace {

using python::Parameters;
using python::state_of;

PyObject* extract_sections(PyObject* module, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<6> kParameters = {
      "extract_sections", {"root", "source", "prefix", "file_id", "unique_fqn", "cap_docstring"}, 4};
  return python::guarded([&] {
    const auto [root, source, prefix, file_id, unique_fqn, cap_docstring] = kParameters.bind(args, nargs, keywords);
    return outline::extract_sections(state_of(module), {root, source, prefix, file_id, unique_fqn, cap_docstring});
  });
}

constexpr char kExtractSections[] =
    R"(extract_sections($module, /, root, source, prefix, file_id, *, unique_fqn, cap_docstring)
--

The sections of a Markdown document, in document order.

One `section` symbol per heading with a name, from the heading's first line to the
last line of text before the next heading of its level or a higher one. The description
of front matter becomes the docstring of the first H1. Without an H1, the title of front
matter becomes a section of its own.

root: the root node of the document's block tree (tree-sitter-markdown's block
    grammar); read through `type`, `children`, `start_point` and `text` only.
source: the str that the tree was parsed from, with LF line endings.
prefix: the str that the FQN of every top-level section starts with.
file_id: the id that every symbol carries, passed on as it is.
unique_fqn: called once per section, in document order, with the FQN of the enclosing
    section (or prefix), a dot and the name. It returns a str, the section's FQN.
cap_docstring: called with a section's summary if it has one, after unique_fqn for that
    section. It returns the docstring, which is stored as it is.

Returns a new list of quarnel.models.Symbol; lines are numbered from 1, both ends
inclusive. Lone surrogates in names and FQNs pass through.
Raises TypeError for arguments of a wrong type, OverflowError for rows beyond 2**62,
and whatever a node, a callable or the record type raises; nothing partial is returned.)";

PyObject* extract_links(PyObject* module, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<2> kParameters = {"extract_links", {"root", "sections"}};
  return python::guarded([&] {
    const auto [root, sections] = kParameters.bind(args, nargs, keywords);
    return links::extract_links(state_of(module), root, sections);
  });
}

constexpr char kExtractLinks[] = R"(extract_links($module, /, root, sections)
--

The links of a Markdown document to files of the repository, in document order.

Inline links, reference definitions, links in table cells and wiki links; no images, no
links to the web, nothing inside code. A link written twice on one line is there once.

root: the root node of the document's block tree, as for extract_sections.
sections: the sequence of symbols that extract_sections returned for the document, or any
    records with `start_line`, `end_line` (int, numbered from 1, both inclusive) and `fqn`,
    in document order.

Returns a new list of quarnel.engines.references.ReferenceInfo: the path as written,
percent-decoded and without its query ('' for a link within the document), the line
numbered from 1, the kind, the anchor or None, and the FQN of the innermost section that
encloses the line, or None.
Raises TypeError for objects of a wrong shape, OverflowError for rows beyond 2**62, and
whatever a node, a section record or the record type raises; nothing partial is returned.)";

}  // namespace

PyMethodDef public_functions[] = {
    python::method("extract_sections", extract_sections, kExtractSections),
    python::method("extract_links", extract_links, kExtractLinks),
    {},
};

}  // namespace markdown::surface
