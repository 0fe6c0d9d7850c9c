#include "frontmatter/yaml_guard.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "python/text.h"

namespace markdown::frontmatter {
namespace {

using python::ModuleState;
using python::Ref;

Ref attribute(PyObject* object, const char* name) { return Ref::steal(PyObject_GetAttrString(object, name)); }

// The value of an attribute that is a str or None.
std::string text_of(PyObject* object, const char* name) {
  const Ref text = attribute(object, name);
  return text.get() == Py_None ? std::string() : std::string(python::Utf8(text.get()).view());
}

// An upper bound on the levels that a body can nest, by counting indicators, since every level needs one of its own. A
// bracket counts as two levels: in `[a: b]` it opens a sequence, and the pair inside is a mapping. The indicators of
// block collections ('-', '?', ':') count only before white space.
std::size_t depth_bound(std::string_view body) noexcept {
  std::size_t bound = 0;
  for (std::size_t i = 0; i < body.size(); ++i) {
    const char c = body[i];
    if (c == '[' || c == '{') bound += 2;
    if (c != '-' && c != '?' && c != ':') continue;
    const char next = i + 1 < body.size() ? body[i + 1] : '\n';
    if (next == ' ' || next == '\t' || next == '\n' || next == '\r' || (next & 0x80) != 0) ++bound;
  }
  return bound;
}

constexpr char kTooDeep[] = "nested too deep to read";
constexpr char kTooMany[] = "merge keys copy too many entries";
constexpr char kCycle[] = "keys that merge or stand for themselves";

struct Node {
  std::size_t height = 0;       // levels of collections inside it, aliases followed
  std::size_t entries = 1;      // how many entries a merge of this node copies
  bool is_special_key = false;  // when used as a key, it is a merge key or a value key
  bool is_open = false;         // it has not ended yet; or it is a sequence, and an item of it had not
};

// The nodes of a body so far, from the parser's events. An alias names a node that began before it, so one pass is
// enough.
//
//     a: &a {k: v}
//     b: &b {<<: [*a, *a]}
//     c: &c {<<: [*b, *b]}
//
// Here b has 2 entries and c has 4, and the loader copies 6. Each further line doubles the entries.
//
// The loader follows two kinds of keys by recursion, however little the body nests. A merge key ("<<") copies the
// entries of a mapping, or of each mapping in a sequence. A value key ("=") makes the value of its pair the value of
// the mapping. Aliases can link such keys to a long chain. The height of a node includes what its aliases name, so no
// chain is longer than the height of its last node. So two limits are enough: on height, and on copied entries. A
// special key whose value is still open would lead back to itself, so it is refused at once.
class Nodes {
 public:
  void open(std::string anchor, bool is_mapping, bool is_special_key) {
    if (!anchor.empty()) anchors_[anchor].is_open = true;
    levels_.push_back({{1, 0, is_special_key, false}, std::move(anchor), is_mapping});
    if (levels_.size() > kMaxYamlDepth) reason_ = kTooDeep;
  }
  void close() {
    Level closed = std::move(levels_.back());
    levels_.pop_back();
    closed.node.entries = std::max<std::size_t>(closed.node.entries, 1);
    add(closed.node, closed.anchor);
  }
  void alias(const std::string& anchor) { add(anchors_[anchor], {}); }

  // Adds a complete node to the innermost open collection.
  void add(const Node& node, const std::string& anchor) {
    if (!anchor.empty()) anchors_[anchor] = node;
    if (node.height > kMaxYamlDepth) reason_ = kTooDeep;
    if (levels_.empty()) return;
    Level& level = levels_.back();
    level.node.height = std::max(level.node.height, node.height + 1);
    if (!level.is_mapping) {
      level.node.entries = std::min(level.node.entries + node.entries, kMaxMergedEntries + 1);
      level.node.is_open |= node.is_open;
    } else if (!level.has_key) {
      level.key_is_special = node.is_special_key;
    } else if (level.key_is_special) {
      if (node.is_open) reason_ = kCycle;
      level.node.entries += node.entries;
      copied_entries_ += node.entries;
      if (copied_entries_ > kMaxMergedEntries) reason_ = kTooMany;
    } else {
      ++level.node.entries;
    }
    level.has_key = level.is_mapping && !level.has_key;
  }

  const char* refusal_reason() const noexcept { return reason_; }

 private:
  struct Level {
    Node node;
    std::string anchor;
    bool is_mapping;
    bool has_key = false;  // in a mapping: the next node is the value of a key
    bool key_is_special = false;
  };

  std::vector<Level> levels_;
  std::map<std::string, Node> anchors_;
  std::size_t copied_entries_ = 0;
  const char* reason_ = nullptr;
};

bool is_special_key(PyObject* event, bool is_scalar) {
  const std::string tag = text_of(event, "tag");
  if (tag == "tag:yaml.org,2002:merge" || tag == "tag:yaml.org,2002:value") return true;
  if (!is_scalar) return false;
  const std::string text = text_of(event, "value");
  if (text != "<<" && text != "=") return false;
  const Ref is_plain = Ref::steal(PySequence_GetItem(attribute(event, "implicit").get(), 0));
  return python::checked(PyObject_IsTrue(is_plain.get())) == 1;
}

void add_event(Nodes& nodes, PyObject* event) {
  const std::string_view type = Py_TYPE(event)->tp_name;
  if (type == "AliasEvent") {
    nodes.alias(text_of(event, "anchor"));
  } else if (type == "ScalarEvent") {
    nodes.add({0, 1, is_special_key(event, true), false}, text_of(event, "anchor"));
  } else if (type == "MappingStartEvent" || type == "SequenceStartEvent") {
    nodes.open(text_of(event, "anchor"), type == "MappingStartEvent", is_special_key(event, false));
  } else if (type == "MappingEndEvent" || type == "SequenceEndEvent") {
    nodes.close();
  }
}

}  // namespace

const char* refusal_reason(const ModuleState& state, PyObject* body, std::string_view utf8) {
  const bool has_alias = utf8.find('*') != std::string_view::npos;
  if (!has_alias && depth_bound(utf8) <= kMaxYamlDepth) return nullptr;
  const Ref parse = attribute(state.yaml, "parse");
  const Ref loader = attribute(state.yaml, "SafeLoader");
  const Ref events = Ref::steal_or_empty(PyObject_CallFunctionObjArgs(parse.get(), body, loader.get(), nullptr));
  Nodes nodes;
  while (events && nodes.refusal_reason() == nullptr) {
    const Ref event = Ref::steal_or_empty(PyIter_Next(events.get()));
    if (!event) break;
    add_event(nodes, event.get());
  }
  if (PyErr_Occurred()) {  // the loader raises for the body too
    python::require_ordinary_error();
    PyErr_Clear();
  }
  return nodes.refusal_reason();
}

}  // namespace markdown::frontmatter
