#include "links/link_extraction.h"

#include "links/link_scan.h"
#include "links/percent_decoding.h"
#include "links/section_lookup.h"
#include "links/seen_links.h"
#include "python/record.h"
#include "python/text.h"
#include "text/space.h"

namespace markdown::links {
namespace {

using python::checked;
using python::ModuleState;
using python::Ref;

// Splits targets into path and anchor and decodes both. The decoded text is in buffers of the reader.
class KeyReader {
 public:
  // The views are valid until the next target is read. Splitting comes before decoding, so "%23" does not split.
  LinkKey read(const LinkTarget& target) {
    const std::size_t hash = target.target.find('#');
    const std::string_view path = target.target.substr(0, hash);
    LinkKey key{target.kind, decode(path.substr(0, path.find('?')), name_), std::nullopt, target.line};
    if (hash == std::string_view::npos) return key;
    const std::string_view qualifier = decode(target.target.substr(hash + 1), qualifier_);
    if (!qualifier.empty()) key.qualifier = qualifier;
    return key;
  }

 private:
  static std::string_view decode(std::string_view text, std::string& buffer) {
    return text::trim(unquote(text, buffer));
  }

  std::string name_;
  std::string qualifier_;
};

bool names_nothing(const LinkKey& key) noexcept { return key.name.empty() && !key.qualifier; }

// Remembers the links among the first `count` targets, by a second scan. Only a tree whose rows go backwards needs
// this. For every other tree, it is enough to remember the links of one line.
SeenLinks remember_all(const blocks::NodeReader& nodes, PyObject* root, std::size_t count) {
  SeenLinks seen(SeenLinks::Lines::kAnyOrder);
  LinkScan scan(root);
  KeyReader reader;
  for (; count > 0; --count) {
    const auto target = scan.next(nodes);
    if (!target) break;
    seen.add(reader.read(*target));
  }
  return seen;
}

Ref make_reference(const ModuleState& state, const LinkKey& key, const Ref& source_fqn) {
  const Ref name = python::to_str(key.name);
  const Ref line = Ref::steal(PyLong_FromLongLong(key.line));
  const Ref qualifier = key.qualifier ? python::to_str(*key.qualifier) : python::none();
  return python::make_record(state, state.reference_type, state.reference_keywords, name.get(), line.get(),
                             key.kind == LinkKind::kWiki ? state.wiki_link : state.doc_link, qualifier.get(),
                             source_fqn.get());
}

}  // namespace

Ref extract_links(const ModuleState& state, PyObject* root, PyObject* sections) {
  const blocks::NodeReader nodes(state);
  Ref found = Ref::steal(PyList_New(0));
  SeenLinks seen(SeenLinks::Lines::kForward);
  SectionLookup lookup(sections);
  LinkScan scan(root);
  KeyReader reader;
  for (std::size_t count = 0; const auto target = scan.next(nodes); ++count) {
    const LinkKey key = reader.read(*target);
    if (names_nothing(key)) continue;
    if (seen.goes_backwards(key.line)) seen = remember_all(nodes, root, count);
    if (!seen.add(key)) continue;
    const Ref source_fqn = lookup.enclosing_section(state, key.line);
    checked(PyList_Append(found.get(), make_reference(state, key, source_fqn).get()));
  }
  return found;
}

}  // namespace markdown::links
