#include "blocks/walk.h"

#include <utility>

#include "python/sequence.h"

namespace markdown::blocks {

using python::checked;
using python::Ref;

Ref PendingNodes::copy_of(PyObject* children) {
  if (!PySequence_Check(children)) python::raise(PyExc_TypeError, "a node's children must be a sequence");
  Ref list = Ref::steal(PyList_New(0));
  python::for_each_item(children, [&](const Ref& child) {
    count_node();
    checked(PyList_Append(list.get(), child.get()));
  });
  return list;
}

int PendingNodes::traverse(visitproc visit, void* arg) const {
  Py_VISIT(root_.get());
  for (const Siblings& siblings : entered_) Py_VISIT(siblings.list.get());
  return 0;
}

void PendingNodes::clear() noexcept {
  // The members are emptied before anything is freed: freeing may run code that asks for the next node.
  const Ref root = std::exchange(root_, Ref());
  const std::vector<Siblings> entered = std::exchange(entered_, {});
}

Block BlockWalk::next(const NodeReader& nodes) {
  while (Ref node = pending_.pop()) {
    const Kind kind = nodes.kind(node.get());
    if (!is_container(kind)) return {std::move(node), kind};
    pending_.enter(nodes, node.get());
  }
  return {};
}

}  // namespace markdown::blocks
