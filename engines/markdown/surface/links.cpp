#include "python/arguments.h"
#include "python/text.h"
// After the interpreter's header.
#include "blocks/node.h"
#include "links/destination.h"
#include "links/link_scan.h"
#include "links/percent_decoding.h"
#include "links/section_lookup.h"
#include "surface/functions.h"
#include "surface/iterator.h"
#include "surface/iterators.h"

namespace markdown::surface {
namespace {

using links::LinkTarget;
using python::ModuleState;
using python::Parameters;
using python::Ref;
using python::state_of;

Ref to_tuple(const ModuleState& state, const std::optional<LinkTarget>& target) {
  if (!target) return {};
  const Ref text = python::to_str(target->target);
  const Ref line = Ref::steal(PyLong_FromLongLong(target->line));
  PyObject* kind = target->kind == links::LinkKind::kWiki ? state.wiki_link : state.doc_link;
  return Ref::steal(PyTuple_Pack(3, kind, text.get(), line.get()));
}

Ref to_str_unless_empty(std::string_view text) { return text.empty() ? python::none() : python::to_str(text); }

class LinkTargetSource {
 public:
  explicit LinkTargetSource(PyObject* root) : scan_(root) {}
  Ref next(const ModuleState& state) { return to_tuple(state, scan_.next(blocks::NodeReader(state))); }
  int traverse(visitproc visit, void* arg) const { return scan_.pending().traverse(visit, arg); }
  void clear() noexcept { scan_.clear(); }

 private:
  links::LinkScan scan_;
};

class InlineTargetSource {
 public:
  InlineTargetSource(PyObject* markdown, blocks::Row first_line)
      : markdown_(Ref::steal(PyUnicode_FromObject(markdown))), first_line_(first_line) {}
  Ref next(const ModuleState& state) {
    // The search points into buffers of this object. The object may be moved until the iterator has it, so the search
    // starts with the first item.
    if (markdown_) {
      text_.emplace(markdown_.get());
      if (links::may_hold_link(text_->view())) targets_.start(text_->view(), first_line_);
      held_ = std::exchange(markdown_, Ref());
    }
    return to_tuple(state, targets_.next());
  }
  int traverse(visitproc, void*) const noexcept { return 0; }  // an exact str is part of no cycle
  void clear() noexcept {
    markdown_ = Ref();
    targets_ = links::InlineTargets();
  }

 private:
  Ref markdown_;
  Ref held_;
  blocks::Row first_line_;
  std::optional<python::Utf8> text_;
  links::InlineTargets targets_;
};

PyObject* link_targets(PyObject* module, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<1> kParameters = {"_link_targets", {"root"}};
  return python::guarded([&] {
    const auto [root] = kParameters.bind(args, nargs, keywords);
    return Iterator<LinkTargetSource>::make(state_of(module).link_target_iterator, LinkTargetSource(root));
  });
}

constexpr char kLinkTargets[] = R"(_link_targets($module, /, root)
--

The link targets of a document, in document order.

root: the root of the document's block tree.

Returns an iterator over triples: the reference kind, the target as written (a str that is
never empty) and the 1-based line on which the link starts. Nodes are read as it is advanced.)";

PyObject* inline_targets(PyObject* module, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<2> kParameters = {"_inline_targets", {"markdown", "first_line"}};
  return python::guarded([&] {
    const auto [markdown, first_line] = kParameters.bind(args, nargs, keywords);
    python::require_str(markdown, "markdown");
    return Iterator<InlineTargetSource>::make(state_of(module).inline_target_iterator,
                                              InlineTargetSource(markdown, blocks::to_row(first_line)));
  });
}

constexpr char kInlineTargets[] = R"(_inline_targets($module, /, markdown, first_line)
--

The link targets of one run of inline Markdown, in the order in which the links start.

markdown: a str, the run.
first_line: the number of its first line.

Returns an iterator over triples, as _link_targets does. Newlines in code spans are not
counted.)";

PyObject* destination(PyObject*, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<1> kParameters = {"_destination", {"written"}};
  return python::guarded([&] {
    const auto [written] = kParameters.bind(args, nargs, keywords);
    const python::Utf8 utf8(written);
    return to_str_unless_empty(links::destination(utf8.view()));
  });
}

constexpr char kDestination[] = R"(_destination($module, /, written)
--

The repository target of a link destination.

written: a str, the destination as the source has it, angle brackets included.

Returns the target, trimmed, or None for a link to the web or to nothing.)";

PyObject* wiki_target(PyObject* module, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<1> kParameters = {"_wiki_target", {"match"}};
  return python::guarded([&] {
    const auto [match] = kParameters.bind(args, nargs, keywords);
    const auto group = [&, match = match](long number) {
      const Ref index = Ref::steal(PyLong_FromLong(number));
      return Ref::steal(PyObject_CallMethodOneArg(match, state_of(module).names.group, index.get()));
    };
    const Ref page = group(1);
    const Ref anchor = group(2);
    const python::Utf8 page_utf8(page.get());
    const std::optional<python::Utf8> anchor_utf8 =
        anchor.get() == Py_None ? std::nullopt : std::optional<python::Utf8>(std::in_place, anchor.get());
    std::string joined;
    return to_str_unless_empty(
        links::wiki_target(page_utf8.view(), anchor_utf8 ? anchor_utf8->view() : std::string_view(), joined));
  });
}

constexpr char kWikiTarget[] = R"(_wiki_target($module, /, match)
--

The target of a wiki link.

match: a match of _WIKI_LINK, or any object whose group(1) is the page, a str, and whose
    group(2) is the anchor, a str or None.

Returns the page, or the page, "#" and the anchor when there is one; None when both are
empty.)";

PyObject* unquote(PyObject*, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<1> kParameters = {"unquote", {"text"}};
  return python::guarded([&] {
    const auto [text] = kParameters.bind(args, nargs, keywords);
    const python::Utf8 utf8(text);
    std::string decoded;
    return python::to_str(links::unquote(utf8.view(), decoded));
  });
}

constexpr char kUnquote[] = R"(unquote($module, /, text)
--

A text with its percent sequences decoded as UTF-8.

text: a str.

Returns the str that urllib.parse.unquote returns: U+FFFD for ill-formed bytes; "+" stays.)";

PyObject* section_at(PyObject* module, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<2> kParameters = {"_section_at", {"sections", "line"}};
  return python::guarded([&] {
    const auto [sections, line] = kParameters.bind(args, nargs, keywords);
    return links::SectionLookup(sections).enclosing_section(state_of(module), blocks::to_row(line));
  });
}

constexpr char kSectionAt[] = R"(_section_at($module, /, sections, line)
--

The innermost section that encloses a line.

sections: a sequence of records with `start_line`, `end_line` and `fqn`, in document order.
    Records after the first that starts after the line are not read.
line: a 1-based line; both ends of a section are inclusive.

Returns the section's fqn, or None.)";

}  // namespace

void make_link_iterators(PyObject* module) {
  ModuleState& state = state_of(module);
  state.link_target_iterator =
      Ref::steal(Iterator<LinkTargetSource>::make_type(module, "quarnel.engines.markdown._LinkTargetIterator"))
          .release();
  state.inline_target_iterator =
      Ref::steal(Iterator<InlineTargetSource>::make_type(module, "quarnel.engines.markdown._InlineTargetIterator"))
          .release();
}

PyMethodDef link_functions[] = {
    python::method("_link_targets", link_targets, kLinkTargets),
    python::method("_inline_targets", inline_targets, kInlineTargets),
    python::method("_destination", destination, kDestination),
    python::method("_wiki_target", wiki_target, kWikiTarget),
    python::method("unquote", unquote, kUnquote),
    python::method("_section_at", section_at, kSectionAt),
    {},
};

}  // namespace markdown::surface
