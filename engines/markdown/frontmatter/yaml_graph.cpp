#include "frontmatter/yaml_graph.h"

#include <algorithm>

#include "frontmatter/yaml_guard.h"
#include "python/sequence.h"
#include "python/text.h"

namespace markdown::frontmatter {
namespace {

using python::checked;
using python::ModuleState;
using python::Ref;

constexpr std::string_view kMergeTag = "tag:yaml.org,2002:merge";
constexpr std::string_view kValueTag = "tag:yaml.org,2002:value";

Ref attribute(PyObject* object, const char* name) { return Ref::steal(PyObject_GetAttrString(object, name)); }

bool has_tag(PyObject* node, std::string_view tag) {
  const Ref own = attribute(node, "tag");
  return python::Utf8(own.get()).view() == tag;
}

}  // namespace

YamlGraph::YamlGraph(const ModuleState& state)
    : mapping_type_(attribute(state.yaml, "MappingNode")), sequence_type_(attribute(state.yaml, "SequenceNode")) {}

bool YamlGraph::is_mapping(PyObject* node) const { return checked(PyObject_IsInstance(node, mapping_type_.get())); }
bool YamlGraph::is_sequence(PyObject* node) const { return checked(PyObject_IsInstance(node, sequence_type_.get())); }

const char* YamlGraph::refuse(PyObject* root) {
  pending_.push_back(Ref::share(root));
  while (!pending_.empty()) {
    Ref node = std::move(pending_.back());
    pending_.pop_back();
    if (judged_.contains(node.get())) continue;
    if (const char* reason = judge(std::move(node))) return reason;
  }
  return nullptr;
}

// Judges a node and, before it, every node that edges lead to.
const char* YamlGraph::judge(Ref node) {
  std::vector<Step> steps;
  steps.push_back(enter(std::move(node)));
  while (!steps.empty()) {
    if (std::max(edges_, copied_entries_) > kMaxMergedEntries) return "merge keys copy too many entries";
    Step& step = steps.back();
    Judged& judged = judged_[step.node.get()];
    if (step.next == step.edges.size()) {
      judged.open = false;
      judged.entries += step.own_entries;
      steps.pop_back();
      continue;
    }
    const Edge& edge = step.edges[step.next];
    const auto target = judged_.find(edge.to.get());
    if (target == judged_.end()) {
      steps.push_back(enter(Ref::share(edge.to.get())));
      continue;
    }
    if (target->second.open) return "keys that merge or stand for themselves";
    ++step.next;
    judged.chain = std::max(judged.chain, target->second.chain + 1);
    if (judged.chain > kMaxYamlDepth) return "merge keys or value keys nested too deep to read";
    if (!edge.copies) continue;
    judged.entries += target->second.entries;
    copied_entries_ += target->second.entries;
  }
  return nullptr;
}

// Reads a node's content once: what it holds is looked at later, and the edges along which the loader recurses are
// kept.
YamlGraph::Step YamlGraph::enter(Ref node) {
  judged_.emplace(node.get(), Judged());
  Step step{std::move(node), {}, 0, 0};
  const bool mapping = is_mapping(step.node.get());
  if (!mapping && !is_sequence(step.node.get())) return step;
  const Ref content = attribute(step.node.get(), "value");
  python::for_each_item(content.get(), [&](Ref item) {
    if (!mapping) {
      pending_.push_back(std::move(item));
      return;
    }
    const Ref key = Ref::steal(PySequence_GetItem(item.get(), 0));
    Ref value = Ref::steal(PySequence_GetItem(item.get(), 1));
    if (has_tag(key.get(), kMergeTag)) {
      add_merges(value.get(), step.edges);
    } else {
      ++step.own_entries;
      if (has_tag(key.get(), kValueTag)) step.edges.push_back({Ref::share(value.get()), false});
    }
    pending_.push_back(Ref::share(key.get()));
    pending_.push_back(std::move(value));
  });
  return step;
}

// A merge key names a mapping, or a sequence of mappings. One sequence may stand behind many keys, so no more is listed
// than it takes to refuse the body.
void YamlGraph::add_merges(PyObject* value, std::vector<Edge>& edges) {
  const auto add = [&](Ref target) {
    if (edges_++ <= kMaxMergedEntries) edges.push_back({std::move(target), true});
  };
  if (!is_sequence(value)) {
    add(Ref::share(value));
  } else if (edges_ <= kMaxMergedEntries) {
    python::for_each_item(attribute(value, "value").get(), add);
  }
}

}  // namespace markdown::frontmatter
