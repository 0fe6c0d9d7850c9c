#include "frontmatter/yaml_guard.h"

#include <algorithm>
#include <string>
#include <unordered_map>
#include <vector>

#include "frontmatter/yaml_graph.h"
#include "python/text.h"

namespace markdown::frontmatter {
namespace {

using python::checked;
using python::ModuleState;
using python::Ref;

Ref attribute(const ModuleState& state, const char* name) {
  return Ref::steal(PyObject_GetAttrString(state.yaml, name));
}

// An upper bound of the levels that a body can nest: each needs an indicator of its own. A bracket may open two, since
// a single pair in a flow sequence is a mapping too; the indicators of blocks stand before white space.
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

// Without an alias, merge keys and value keys lead no further than a body nests. They are written "<<" and "=", or
// named by a tag.
bool may_chain(std::string_view body) noexcept {
  const auto holds = [body](std::string_view text) { return body.find(text) != std::string_view::npos; };
  return holds("*") && (holds("<<") || holds("=") || holds("!"));
}

// What a function of PyYAML's makes of the body; nothing when it raises, for then the loader raises too.
Ref ask(const ModuleState& state, const char* function, PyObject* body) {
  const Ref loader = attribute(state, "SafeLoader");
  Ref answer =
      Ref::steal_or_empty(PyObject_CallFunctionObjArgs(attribute(state, function).get(), body, loader.get(), nullptr));
  if (!answer) {
    python::require_ordinary_error();
    PyErr_Clear();
  }
  return answer;
}

// The height of what each anchor names, and of the collections that are open: an alias reaches as deep as its anchor.
class Heights {
 public:
  void open(std::string anchor) { levels_.push_back({std::move(anchor), 1}); }
  void close() {
    const Level closed = std::move(levels_.back());
    levels_.pop_back();
    if (!closed.anchor.empty()) anchors_[closed.anchor] = closed.height;
    add(closed.height);
  }
  void alias(const std::string& anchor) { add(anchors_[anchor]); }

  bool are_too_great() const noexcept { return std::max(levels_.size(), greatest_) > kMaxYamlDepth; }

 private:
  struct Level {
    std::string anchor;
    std::size_t height;
  };

  void add(std::size_t height) {
    greatest_ = std::max(greatest_, height);
    if (!levels_.empty()) levels_.back().height = std::max(levels_.back().height, height + 1);
  }

  std::vector<Level> levels_;
  std::unordered_map<std::string, std::size_t> anchors_;
  std::size_t greatest_ = 0;
};

std::string anchor_of(const Ref& event) {
  const Ref anchor = Ref::steal(PyObject_GetAttrString(event.get(), "anchor"));
  return anchor.get() == Py_None ? std::string() : std::string(python::Utf8(anchor.get()).view());
}

bool nests_too_deep(const ModuleState& state, PyObject* body) {
  const Ref start = attribute(state, "CollectionStartEvent");
  const Ref end = attribute(state, "CollectionEndEvent");
  const Ref alias = attribute(state, "AliasEvent");
  const auto is = [](const Ref& event, const Ref& type) {
    return checked(PyObject_IsInstance(event.get(), type.get())) == 1;
  };
  const Ref events = ask(state, "parse", body);
  Heights heights;
  while (events) {
    const Ref event = Ref::steal_or_empty(PyIter_Next(events.get()));
    if (!event) break;
    if (is(event, start)) heights.open(anchor_of(event));
    if (is(event, end)) heights.close();
    if (is(event, alias)) heights.alias(anchor_of(event));
    if (heights.are_too_great()) return true;
  }
  if (PyErr_Occurred()) {  // a body that cannot be parsed is the loader's to refuse
    python::require_ordinary_error();
    PyErr_Clear();
  }
  return false;
}

}  // namespace

const char* refuse_yaml(const ModuleState& state, PyObject* body, std::string_view utf8) {
  const bool has_alias = utf8.find('*') != std::string_view::npos;
  if ((has_alias || depth_bound(utf8) > kMaxYamlDepth) && nests_too_deep(state, body)) return "nested too deep to read";
  if (!may_chain(utf8)) return nullptr;
  const Ref root = ask(state, "compose", body);
  return root && root.get() != Py_None ? YamlGraph(state).refuse(root.get()) : nullptr;
}

}  // namespace markdown::frontmatter
