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

// The nodes still to visit, from the root on, in document order: an explicit stack, so a tree of any depth is walked
// without recursion. Of the nodes that were entered their lists of children are held, not each child.
class PendingNodes {
 public:
  explicit PendingNodes(PyObject* root) : root_(python::Ref::share(root)) {}

  // The next node, or nothing at the end.
  python::Ref pop();
  // Visits the children of `node` next, as they are now.
  void enter(const NodeReader& nodes, PyObject* node);

  int traverse(visitproc visit, void* arg) const;
  void clear() noexcept;

 private:
  // Now and then lets the interpreter handle signals: a tree may be endless, and so may a sequence of children.
  void count_node();

  struct Siblings {
    python::Ref list;  // a list or a tuple
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
