// The block walk: the blocks of a document in document order, without the nodes that only group them.
//
// Tested by tests/test_blocks.py.
#pragma once

#include "blocks/node.h"
#include "python/sequence.h"
// After the interpreter's header.
#include <algorithm>
#include <utility>
#include <vector>

namespace markdown::blocks {

struct Block {
  python::Ref node;
  Kind kind = Kind::kOther;
};

// The nodes that are still to be visited, in document order. An explicit stack: the depth of a tree does not become
// depth of C++ calls. The stack holds the list of children of each entered node, not every child.
class PendingNodes {
 public:
  explicit PendingNodes(PyObject* root) : root_(python::Ref::share(root)) {
    constexpr std::size_t kUsualDepth = 16;
    entered_.reserve(kUsualDepth);
  }

  // The next node, or nothing at the end.
  python::Ref pop() {
    count_node();
    while (!entered_.empty()) {
      Siblings& siblings = entered_.back();
      PyObject* list = siblings.list.get();
      // A host can reach the list of an exact node and may have made it shorter meanwhile.
      if (siblings.next < std::min(siblings.end, PyList_GET_SIZE(list))) {
        return python::item_of(list, siblings.next++);
      }
      entered_.pop_back();
    }
    return std::exchange(root_, python::Ref());
  }
  // Visits the children of `node` next.
  void enter(const NodeReader& nodes, PyObject* node) {
    python::Ref children = nodes.children(node);
    // The binding does not change the list of an exact node after it is made. Any other node may change its children
    // while they are visited, so they are copied.
    if (!nodes.is_exact(node) || !PyList_CheckExact(children.get())) children = copy_of(children.get());
    const Py_ssize_t count = PyList_GET_SIZE(children.get());
    if (count > 0) entered_.push_back({std::move(children), 0, count});
  }

  int traverse(visitproc visit, void* arg) const;
  void clear() noexcept;

 private:
  // Lets the interpreter handle signals every few thousand nodes: a tree may be endless, and so may a list of children.
  void count_node() {
    constexpr unsigned kNodesBetweenSignals = 4096;
    if (++counted_ % kNodesBetweenSignals == 0) python::checked(PyErr_CheckSignals());
  }
  python::Ref copy_of(PyObject* children);

  struct Siblings {
    python::Ref list;
    Py_ssize_t next;
    Py_ssize_t end;
  };

  python::Ref root_;
  std::vector<Siblings> entered_;
  unsigned counted_ = 0;
};

class BlockWalk {
 public:
  explicit BlockWalk(PyObject* root) : pending_(root) {}

  // The next block, or one without a node at the end. The children of a block are never read.
  Block next(const NodeReader& nodes);

  PendingNodes& pending() noexcept { return pending_; }
  const PendingNodes& pending() const noexcept { return pending_; }

 private:
  PendingNodes pending_;
};

}  // namespace markdown::blocks
