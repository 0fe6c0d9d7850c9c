#include "frontmatter/yaml_guard.h"

#include <algorithm>
#include <string>
#include <unordered_map>
#include <vector>

#include "python/text.h"

namespace markdown::frontmatter {
namespace {

using python::checked;
using python::ModuleState;
using python::Ref;

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

// Follows the events of one body: how deep it nests, how far chains of merge keys reach, how many entries they copy.
class EventReader {
 public:
  explicit EventReader(const ModuleState& state)
      : start_(attribute(state, "CollectionStartEvent")),
        end_(attribute(state, "CollectionEndEvent")),
        alias_(attribute(state, "AliasEvent")),
        scalar_(attribute(state, "ScalarEvent")),
        mapping_(attribute(state, "MappingStartEvent")) {}

  const char* read(const Ref& event) {
    if (is(event, start_)) {
      if (open_.size() >= kMaxYamlDepth) return "nested too deep to read";
      open_.push_back({is(event, mapping_), anchor_of(event), is_merge_value(), {}});
    } else if (is(event, end_)) {
      const Level closed = std::move(open_.back());
      open_.pop_back();
      if (!closed.anchor.empty()) anchors_[closed.anchor] = closed.weight;
      if (!open_.empty()) finish_node(closed.merged, closed.weight);
    } else if (is(event, alias_) && !open_.empty()) {
      finish_node(is_merge_value(), anchors_[anchor_of(event)]);
    } else if (is(event, scalar_) && !open_.empty()) {
      finish_scalar(event);
    }
    if (merged_entries_ > kMaxMergedEntries) return "merge keys copy too many entries";
    return longest_chain_ > kMaxYamlDepth ? "merge keys nested too deep to read" : nullptr;
  }

 private:
  struct Weight {
    std::size_t entries = 0;  // of a mapping, or of all the mappings in a sequence
    std::size_t chain = 0;    // of mappings that merge one another
  };
  struct Level {
    bool is_mapping;
    std::string anchor;
    bool merged;  // its entries go into the mapping around it
    Weight weight;
    bool at_value = false;
    bool merge_key = false;
  };

  static Ref attribute(const ModuleState& state, const char* name) {
    return Ref::steal(PyObject_GetAttrString(state.yaml, name));
  }
  static bool is(const Ref& event, const Ref& type) { return checked(PyObject_IsInstance(event.get(), type.get())); }
  static std::string anchor_of(const Ref& event) {
    const Ref anchor = Ref::steal(PyObject_GetAttrString(event.get(), "anchor"));
    return anchor.get() == Py_None ? std::string() : std::string(python::Utf8(anchor.get()).view());
  }

  // Whether the node that comes next is merged: the value of a merge key, or an item of a sequence that is one.
  bool is_merge_value() const noexcept {
    if (open_.empty()) return false;
    const Level& level = open_.back();
    return level.is_mapping ? level.at_value && level.merge_key : level.merged;
  }

  void finish_scalar(const Ref& event) {
    Level& level = open_.back();
    if (level.is_mapping && !level.at_value) {
      const Ref value = Ref::steal(PyObject_GetAttrString(event.get(), "value"));
      level.merge_key = python::Utf8(value.get()).view() == "<<";
    }
    finish_node(false, {});
  }

  void finish_node(bool merged, Weight weight) {
    Level& level = open_.back();
    if (merged) {
      merged_entries_ += weight.entries;
      level.weight.entries += weight.entries;
      level.weight.chain = std::max(level.weight.chain, weight.chain + 1);
      longest_chain_ = std::max(longest_chain_, level.weight.chain);
    }
    if (!level.is_mapping) return;
    if (level.at_value) {
      if (!level.merge_key) ++level.weight.entries;
      level.merge_key = false;
    }
    level.at_value = !level.at_value;
  }

  Ref start_, end_, alias_, scalar_, mapping_;
  std::vector<Level> open_;
  std::unordered_map<std::string, Weight> anchors_;
  std::size_t merged_entries_ = 0;
  std::size_t longest_chain_ = 0;
};

// A body that cannot be parsed is the loader's to refuse.
void clear_parser_error() {
  if (!PyErr_ExceptionMatches(PyExc_Exception) || PyErr_ExceptionMatches(PyExc_MemoryError)) {
    throw python::PythonError();
  }
  PyErr_Clear();
}

}  // namespace

const char* refuse_yaml(const ModuleState& state, PyObject* body, std::string_view utf8) {
  if (depth_bound(utf8) <= kMaxYamlDepth && utf8.find("<<") == std::string_view::npos) return nullptr;
  EventReader reader(state);
  const Ref parse = Ref::steal(PyObject_GetAttrString(state.yaml, "parse"));
  const Ref loader = Ref::steal(PyObject_GetAttrString(state.yaml, "SafeLoader"));
  const Ref events = Ref::steal_or_empty(PyObject_CallFunctionObjArgs(parse.get(), body, loader.get(), nullptr));
  while (events) {
    const Ref event = Ref::steal_or_empty(PyIter_Next(events.get()));
    if (!event) break;
    if (const char* reason = reader.read(event)) return reason;
  }
  if (PyErr_Occurred()) clear_parser_error();
  return nullptr;
}

}  // namespace markdown::frontmatter
