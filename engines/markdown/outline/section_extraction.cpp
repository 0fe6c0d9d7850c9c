#include "outline/section_extraction.h"

#include <vector>

#include "blocks/walk.h"
#include "frontmatter/reader.h"
#include "outline/heading_path.h"
#include "outline/heading_reader.h"
#include "outline/section_ranges.h"
#include "outline/title_section.h"
#include "python/record.h"
#include "python/text.h"

namespace markdown::outline {
namespace {

using blocks::Block;
using python::checked;
using python::ModuleState;
using python::Ref;

// A heading block and the block after it, which is kept only if it is a paragraph.
struct HeadingSite {
  Block heading;
  Block following;  // without a node unless it is a paragraph
};

// The blocks that the outline needs. All blocks are walked before any is read, but only these are kept, because a
// document has many more blocks than headings.
struct DocumentBlocks {
  std::vector<HeadingSite> headings;
  Block front_matter;        // the first block of the document, if it is front matter
  Block after_front_matter;  // the block after front matter, if it is a paragraph
};

Block if_paragraph(const Block& block) {
  if (block.kind != blocks::Kind::kParagraph) return {};
  return {Ref::share(block.node.get()), block.kind};
}

DocumentBlocks collect_blocks(const blocks::NodeReader& nodes, PyObject* root) {
  DocumentBlocks blocks;
  blocks::BlockWalk walk(root);
  Block block = walk.next(nodes);
  if (block.node && blocks::is_front_matter(block.kind)) {
    blocks.front_matter = std::move(block);
    block = walk.next(nodes);
    blocks.after_front_matter = if_paragraph(block);
  }
  for (bool after_heading = false; block.node; block = walk.next(nodes)) {
    if (after_heading) blocks.headings.back().following = if_paragraph(block);
    after_heading = blocks::is_heading(block.kind);
    if (after_heading) blocks.headings.push_back({std::move(block), {}});
  }
  return blocks;
}

std::vector<Heading> read_headings(const blocks::NodeReader& nodes, inlines::PlainText& plain_text,
                                   const std::vector<HeadingSite>& sites) {
  std::vector<Heading> headings;
  headings.reserve(sites.size());
  for (const HeadingSite& site : sites) {
    headings.push_back(read_heading(nodes, plain_text, site.heading, site.following));
  }
  return headings;
}

struct HeadingList {
  std::vector<Heading>& headings;

  std::size_t size() const { return headings.size(); }
  std::int64_t level(std::size_t i) const { return headings[i].level; }
  void describe(std::size_t i, std::string summary) { headings[i].summary = std::move(summary); }
  void put_first(Heading heading) { headings.insert(headings.begin(), std::move(heading)); }
};

template <class Unit>
std::vector<Row> ends_in(std::span<const Heading> headings, PyObject* source) {
  const auto* units = static_cast<const Unit*>(PyUnicode_DATA(source));
  TextRows rows{SourceText<Unit>({units, static_cast<std::size_t>(PyUnicode_GET_LENGTH(source))})};
  return section_ends(headings, rows);
}

std::vector<Row> ends_of(std::span<const Heading> headings, PyObject* source) {
  if (headings.empty()) return {};
  switch (PyUnicode_KIND(source)) {
    case PyUnicode_1BYTE_KIND:
      return ends_in<Py_UCS1>(headings, source);
    case PyUnicode_2BYTE_KIND:
      return ends_in<Py_UCS2>(headings, source);
    default:
      return ends_in<Py_UCS4>(headings, source);
  }
}

// Nests headings by level and makes a symbol of each heading that has a name.
class SymbolBuilder {
 public:
  SymbolBuilder(const ModuleState& state, const SectionRequest& request)
      : state_(state), request_(request), symbols_(Ref::steal(PyList_New(0))) {}

  void add(const Heading& heading, Row end_row) {
    while (!open_sections_.empty() && open_sections_.back().level >= heading.level) {
      open_sections_.pop_back();
      path_.pop_back();
    }
    if (heading.name.empty()) return;
    const Ref name = python::to_str(heading.name);
    Ref fqn = request_fqn(name.get());
    path_.push_back({heading.name, static_cast<std::size_t>(PyUnicode_GET_LENGTH(name.get()))});
    const Ref signature = make_signature(name.get());
    open_sections_.push_back({heading.level, Ref::share(fqn.get()), Ref::share(signature.get())});
    const Ref start_line = Ref::steal(PyLong_FromLongLong(heading.first_row + 1));
    const Ref end_line = Ref::steal(PyLong_FromLongLong(end_row + 1));
    const Ref docstring = cap(heading.summary);
    const Ref symbol = python::make_record(state_, state_.symbol_type, state_.symbol_keywords, Py_None,
                                           request_.file_id, name.get(), state_.names.section, fqn.get(),
                                           start_line.get(), end_line.get(), signature.get(), Py_True, docstring.get());
    checked(PyList_Append(symbols_.get(), symbol.get()));
  }

  Ref finish() { return std::move(symbols_); }

 private:
  struct OpenSection {
    std::int64_t level;
    Ref fqn;
    Ref signature;
  };

  Ref request_fqn(PyObject* name) const {
    PyObject* parent = open_sections_.empty() ? request_.prefix : open_sections_.back().fqn.get();
    const Ref asked = python::join(parent, ".", name);
    Ref fqn = Ref::steal(PyObject_CallOneArg(request_.unique_fqn, asked.get()));
    python::require_str(fqn.get(), "what unique_fqn returns");  // the FQNs of subsections are built on it
    checked(PyUnicode_READY(fqn.get()));
    return fqn;
  }

  // The heading path. While all names fit, it is the parent's path, the separator and the name.
  Ref make_signature(PyObject* name) const {
    if (!fits(path_)) return python::to_str(heading_path(path_));
    return open_sections_.empty() ? Ref::share(name)
                                  : python::join(open_sections_.back().signature.get(), kPathSeparator, name);
  }

  Ref cap(const std::optional<std::string>& summary) const {
    if (!summary) return python::none();
    return Ref::steal(PyObject_CallOneArg(request_.cap_docstring, python::to_str(*summary).get()));
  }

  const ModuleState& state_;
  const SectionRequest& request_;
  Ref symbols_;
  std::vector<OpenSection>
      open_sections_;           // those that enclose the next heading so far; their levels increase strictly
  std::vector<PathName> path_;  // their names
};

}  // namespace

Ref extract_sections(const ModuleState& state, const SectionRequest& request) {
  python::require_str(request.source, "source");
  python::require_str(request.prefix, "prefix");
  checked(PyUnicode_READY(request.source));
  checked(PyUnicode_READY(request.prefix));
  const blocks::NodeReader nodes(state);
  inlines::PlainText plain_text;
  const DocumentBlocks blocks = collect_blocks(nodes, request.root);
  std::vector<Heading> headings = read_headings(nodes, plain_text, blocks.headings);
  if (blocks.front_matter.node) {
    HeadingList list{headings};
    apply_front_matter(list, frontmatter::read_front_matter(nodes, plain_text, blocks.front_matter, request.prefix),
                       [&] { return read_summary(nodes, plain_text, blocks.after_front_matter); });
  }
  const std::vector<Row> ends = ends_of(headings, request.source);
  SymbolBuilder symbols(state, request);
  for (std::size_t i = 0; i < headings.size(); ++i) symbols.add(headings[i], ends[i]);
  return symbols.finish();
}

}  // namespace markdown::outline
