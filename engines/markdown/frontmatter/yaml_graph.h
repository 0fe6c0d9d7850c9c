// The graph of nodes that a YAML body composes to, as far as the loader recurses along it.
//
// Tested by tests/test_frontmatter.py.
#pragma once

#include "python/state.h"
// After the interpreter's header.
#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace markdown::frontmatter {

// Constructing a mapping copies into it the entries of what its merge keys ("<<") name, and constructing a scalar from
// a mapping goes on with what its value key ("=") names; both recurse. Aliases make long chains of such keys, and
// cycles, without any nesting, and merging twice at each link of a chain doubles the entries. Linear in the nodes and
// edges: each node is finished once, from an explicit stack.
class YamlGraph {
 public:
  explicit YamlGraph(const python::ModuleState& state);

  // Why the loader must not have the document whose root node is `root`, or null when it may.
  const char* refuse(PyObject* root);

 private:
  struct Judged {
    bool open = true;         // on the stack: an edge to it closes a cycle
    std::size_t entries = 0;  // that the mapping has once it is merged into
    std::size_t chain = 0;    // the longest along which the loader recurses from here
  };
  struct Edge {
    python::Ref to;
    bool copies;  // the entries of the node there
  };
  struct Step {
    python::Ref node;
    std::vector<Edge> edges;
    std::size_t next = 0;
    std::size_t own_entries = 0;
  };

  const char* judge(python::Ref node);
  Step enter(python::Ref node);
  void add_merges(PyObject* value, std::vector<Edge>& edges);
  bool is_mapping(PyObject* node) const;
  bool is_sequence(PyObject* node) const;

  python::Ref mapping_type_;
  python::Ref sequence_type_;
  std::vector<python::Ref> pending_;  // nodes to look at, in any order
  std::unordered_map<PyObject*, Judged> judged_;
  std::size_t edges_ = 0;
  std::size_t copied_entries_ = 0;
};

}  // namespace markdown::frontmatter
