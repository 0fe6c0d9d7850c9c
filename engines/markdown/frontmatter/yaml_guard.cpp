#include "frontmatter/yaml_guard.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>
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

// An upper bound on the levels that a body can nest: every level needs an indicator of its own. A bracket counts twice,
// since `[a: b]` is a mapping in a sequence. The indicators '-', '?' and ':' count only before white space.
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

enum class Key { kOrdinary, kMerge, kValue };

struct Node {
  std::size_t height = 0;    // levels of collections inside it, aliases followed
  std::size_t entries = 1;   // how many entries a merge of this node copies
  Key key = Key::kOrdinary;  // what kind of key it is where it is used as one
  bool is_open = false;      // it has not ended yet; or it is a sequence, and an item of it had not
};

// How many entries an open node will have is not known yet. With this many it can be merged four times.
constexpr std::size_t kEntriesOfOpen = kMaxMergedEntries / 4;

// The nodes of a body so far, from the parser's events. An alias names a node that began before it, so one pass serves.
//
//     a: &a {k: v}
//     b: &b {<<: [*a, *a]}
//     c: &c {<<: [*b, *b]}   c has 4 entries, and each further line doubles them
//
// The loader follows two kinds of keys by recursion, however little the body nests. A merge key ("<<") copies the
// entries of a mapping, or of each mapping in a sequence. A value key ("=") lets the value of its pair stand for the
// mapping. Aliases link such keys to chains. No chain is longer than the height of its last node, which includes what
// aliases name. So two limits are enough: on height, and on copied entries.
//
// Such a key may name a node around it, as in `a: &a {<<: *a}`. The loader drops a merge key before it follows it, so
// this ends. But a chain may begin again at the open node and copy its entries again: few merges of open nodes are
// allowed, and each lowers the limit on height. A value key is followed only in a mapping that has the tag of a scalar.
// There a chain through an open node would never end, so it is refused.
class Nodes {
 public:
  void open(std::string anchor, bool is_mapping, Key key, bool has_tag) {
    if (!anchor.empty()) anchors_[anchor] = {0, kEntriesOfOpen, key, true};
    levels_.push_back({{1, 0, key, false}, std::move(anchor), is_mapping});
    has_tagged_mapping_ |= is_mapping && has_tag;
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
    if (node.height > kMaxYamlDepth / (1 + open_merges_)) reason_ = kTooDeep;
    if (levels_.empty()) return;
    Level& level = levels_.back();
    level.node.height = std::max(level.node.height, node.height + 1);
    if (!level.is_mapping) {
      level.node.entries = std::min(level.node.entries + node.entries, kMaxMergedEntries + 1);
      level.node.is_open |= node.is_open;
    } else if (!level.has_key) {
      level.key = node.key;
    } else if (level.key == Key::kMerge) {
      if (node.is_open) ++open_merges_;
      level.node.entries += node.entries;
      copied_entries_ += node.entries;
      if (copied_entries_ > kMaxMergedEntries) reason_ = "merge keys copy too many entries";
    } else {
      value_is_open_ |= level.key == Key::kValue && node.is_open;
      ++level.node.entries;
    }
    level.has_key = level.is_mapping && !level.has_key;
  }

  const char* refusal_reason() const noexcept {
    return value_is_open_ && has_tagged_mapping_ ? "keys that stand for themselves" : reason_;
  }

 private:
  struct Level {
    Node node;
    std::string anchor;
    bool is_mapping;
    bool has_key = false;  // in a mapping: the next node is the value of a key
    Key key = Key::kOrdinary;
  };

  std::vector<Level> levels_;
  std::map<std::string, Node> anchors_;
  std::size_t copied_entries_ = 0;
  std::size_t open_merges_ = 0;
  bool value_is_open_ = false;
  bool has_tagged_mapping_ = false;
  const char* reason_ = nullptr;
};

Key key_of(PyObject* event, std::string_view tag, bool is_scalar) {
  if (tag == "tag:yaml.org,2002:merge") return Key::kMerge;
  if (tag == "tag:yaml.org,2002:value") return Key::kValue;
  if (!is_scalar) return Key::kOrdinary;
  std::string text = text_of(event, "value");
  if (text.ends_with('\n')) text.pop_back();  // PyYAML's patterns for the two end in "$", which allows for one
  if (text != "<<" && text != "=") return Key::kOrdinary;
  const Ref is_plain = Ref::steal(PySequence_GetItem(attribute(event, "implicit").get(), 0));
  if (python::checked(PyObject_IsTrue(is_plain.get())) == 0) return Key::kOrdinary;
  return text == "<<" ? Key::kMerge : Key::kValue;
}

void add_event(Nodes& nodes, PyObject* event) {
  const std::string_view type = Py_TYPE(event)->tp_name;
  if (type == "AliasEvent") {
    nodes.alias(text_of(event, "anchor"));
  } else if (type == "ScalarEvent") {
    nodes.add({0, 1, key_of(event, text_of(event, "tag"), true), false}, text_of(event, "anchor"));
  } else if (type == "MappingStartEvent" || type == "SequenceStartEvent") {
    const std::string tag = text_of(event, "tag");
    nodes.open(text_of(event, "anchor"), type == "MappingStartEvent", key_of(event, tag, false), !tag.empty());
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
