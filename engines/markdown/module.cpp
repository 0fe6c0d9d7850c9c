#include "module.h"

#include "binder.h"
#include "blocks/kind.h"
#include "frontmatter/front_matter.h"
#include "frontmatter/toml_fields.h"
#include "inline/code_span.h"
#include "inline/emphasis.h"
#include "inline/escape.h"
#include "inline/html.h"
#include "inline/link.h"
#include "inline/plain_text.h"
#include "links/destination.h"
#include "links/inline_link.h"
#include "links/wiki_link.h"
#include "outline/closing_sequence.h"
#include "outline/heading_path.h"
#include "python/state.h"
#include "surface/functions.h"
#include "surface/iterators.h"

namespace {

using markdown::Binder;
using markdown::blocks::Kind;
using markdown::python::ModuleState;
using markdown::python::Ref;

constexpr char kModuleDoc[] =
    R"(Markdown documents as the outline a reader sees.

A file has one `section` symbol for each heading. A section extends to the next heading of
its level or a higher one, and sections nest as their levels nest. The block tree of
tree-sitter-markdown decides what is a heading. Front matter gives a title and a description.
Links that a reader follows to another file of the repository are references. The host
supplies the FQN prefix and two rules: numbering repeated FQNs, and capping docstrings.)";

void bind_imports(const Binder& bind, ModuleState& state) {
  bind.module("re");
  state.yaml = bind.module("yaml").release();
  state.yaml_safe_load = Ref::steal(PyObject_GetAttrString(state.yaml, "safe_load")).release();
  state.node_type = bind.import("tree_sitter", "Node").release();
  state.symbol_type = bind.import("quarnel.models", "Symbol").release();
  state.reference_type = bind.import("quarnel.engines.references", "ReferenceInfo").release();
  state.doc_link = bind.import("quarnel.engines.references", "REF_DOC_LINK").release();
  state.wiki_link = bind.import("quarnel.engines.references", "REF_WIKI_LINK").release();
  state.logger = bind.logger("logger").release();
}

void bind_constants(const Binder& bind) {
  bind.levels("_LEVEL_MARKERS",
              {Kind::kAtxH1Marker, Kind::kAtxH2Marker, Kind::kAtxH3Marker, Kind::kAtxH4Marker, Kind::kAtxH5Marker,
               Kind::kAtxH6Marker, Kind::kSetextH1Underline, Kind::kSetextH2Underline});
  bind.type_name("_ATX_HEADING", Kind::kAtxHeading);
  bind.type_name("_SETEXT_HEADING", Kind::kSetextHeading);
  bind.types("_CONTAINERS", markdown::blocks::is_container);
  bind.type_name("_YAML_FRONT_MATTER", Kind::kMinusMetadata);
  bind.type_name("_TOML_FRONT_MATTER", Kind::kPlusMetadata);
#define BIND_KEY(field, key, published) bind.string(published, key);
  MARKDOWN_FIELDS(BIND_KEY, BIND_KEY)
#undef BIND_KEY
  bind.integer("MAX_FRONT_MATTER_LENGTH", markdown::frontmatter::kMaxFrontMatterLength);
  bind.string("PATH_SEPARATOR", markdown::outline::kPathSeparator);
  bind.integer("MAX_PATH_LENGTH", markdown::outline::kMaxPathLength);
  bind.string("ELLIPSIS", markdown::outline::kEllipsis);
  bind.integer("MAX_INLINE_LENGTH", markdown::inlines::kMaxInlineLength);
}

void bind_patterns(const Binder& bind) {
  namespace inlines = markdown::inlines;
  bind.pattern("_CLOSING_SEQUENCE", markdown::outline::kClosingSequence);
  bind.pattern("_CODE_SPAN", inlines::kCodeSpan, Binder::kDotAll);
  bind.string("_DESTINATION", inlines::kDestination);
  bind.pattern("_IMAGE", inlines::kImage);
  bind.pattern("_LINK", inlines::kLink);
  bind.pattern("_AUTOLINK", inlines::kAutolink);
  bind.pattern("_HTML", inlines::kHtml, Binder::kDotAll);
  bind.patterns("_EMPHASES", inlines::kEmphases, Binder::kDotAll);
  bind.pattern("_ESCAPE", inlines::kEscape);
  bind.pattern("_TOML_FIELD", markdown::frontmatter::kTomlField);
  bind.pattern("_TOML_TABLE", markdown::frontmatter::kTomlTable);
  bind.types("_INLINE_NODES", markdown::blocks::is_inline_run);
  bind.types("_LINK_CONTAINERS", markdown::blocks::is_link_container);
  bind.type_name("_REFERENCE_DEFINITION", Kind::kLinkReferenceDefinition);
  bind.type_name("_DESTINATION_NODE", Kind::kLinkDestination);
  bind.pattern("_INLINE_LINK", markdown::links::kInlineLink);
  bind.pattern("_WIKI_LINK", markdown::links::kWikiLink);
  bind.pattern("_EXTERNAL", markdown::links::kExternal);
}

void bind_records(const Binder& bind, ModuleState& state) {
  state.heading_type = bind.record("_Heading", {"name", "level", "first_row", "summary"},
                                   "A heading of the outline: what its section takes from it.")
                           .release();
#define FIELD_NAME(field, key, published) key,
  state.front_matter_type = bind.record("_FrontMatter", {MARKDOWN_FIELDS(FIELD_NAME, FIELD_NAME)},
                                        "The fields of front matter, each as plain text or None.")
                                .release();
#undef FIELD_NAME
}

void bind_functions(const Binder& bind) {
  namespace surface = markdown::surface;
  for (PyMethodDef* functions : {surface::public_functions, surface::block_functions, surface::outline_functions,
                                 surface::front_matter_functions, surface::inline_functions, surface::link_functions}) {
    bind.functions(functions);
  }
}

// The order in which names are bound is part of the interface: imports, constants, patterns, records, functions.
int execute(PyObject* module) {
  return markdown::python::guarded_status([&] {
    ModuleState& state = markdown::python::state_of(module);
    const Binder bind(module);
    markdown::python::intern_names(state);
    state.dunder_init = Ref::steal(PyUnicode_InternFromString("__init__")).release();
    state.symbol_keywords = bind.keywords({"id", "file_id", "name", "kind", "fqn", "start_line", "end_line",
                                           "signature", "is_export", "docstring"})
                                .release();
    state.reference_keywords = bind.keywords({"name", "line", "kind", "qualifier", "source_fqn"}).release();
    markdown::surface::make_block_iterator(module);
    markdown::surface::make_link_iterators(module);
    bind_imports(bind, state);
    bind_constants(bind);
    bind_patterns(bind);
    bind_records(bind, state);
    bind_functions(bind);
  });
}

PyModuleDef_Slot slots[] = {
    {Py_mod_exec, reinterpret_cast<void*>(execute)},
#ifdef Py_mod_multiple_interpreters
    {Py_mod_multiple_interpreters, Py_MOD_PER_INTERPRETER_GIL_SUPPORTED},
#endif
    {0, nullptr},
};

PyModuleDef definition = {
    PyModuleDef_HEAD_INIT,
    "markdown",
    kModuleDoc,
    sizeof(ModuleState),
    nullptr,
    slots,
    markdown::python::traverse_state,
    markdown::python::clear_state,
    markdown::python::free_state,
};

}  // namespace

PyMODINIT_FUNC PyInit_markdown() { return PyModuleDef_Init(&definition); }
