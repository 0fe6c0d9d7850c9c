// The block walk: a document's blocks, flat and in document order, whatever groups them in the tree.
//
// Tested by tests/test_blocks.py.
#pragma once

#include "blocks/node.h"
// After the interpreter's header.
#include <vector>

namespace markdown::blocks {

struct Block {
  python::Ref node;
  Kind kind = Kind::kOther;
};

// The nodes still to visit, last in first out: a tree of any depth is walked without recursion.
class PendingNodes {
 public:
  explicit PendingNodes(PyObject* root) { nodes_.push_back(python::Ref::share(root)); }

  bool empty() const noexcept { return nodes_.empty(); }
  // The node pushed last. Now and then lets the interpreter handle signals: a tree may be endless.
  python::Ref pop();
  // Pushes the children of `node`, as they are now, so that the first is popped first.
  void push_children(const NodeReader& nodes, PyObject* node);

  int traverse(visitproc visit, void* arg) const;
  void clear() noexcept { nodes_.clear(); }

 private:
  std::vector<python::Ref> nodes_;
  unsigned popped_ = 0;
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
