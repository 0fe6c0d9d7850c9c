#include "blocks/walk.h"

#include <algorithm>

#include "python/sequence.h"

namespace markdown::blocks {

using python::Ref;

Ref PendingNodes::pop() {
  constexpr unsigned kNodesBetweenSignals = 4096;
  if (++popped_ % kNodesBetweenSignals == 0) python::checked(PyErr_CheckSignals());
  Ref node = std::move(nodes_.back());
  nodes_.pop_back();
  return node;
}

void PendingNodes::push_children(const NodeReader& nodes, PyObject* node) {
  const Ref children = nodes.children(node);
  const auto first = static_cast<std::ptrdiff_t>(nodes_.size());
  // Many children at once take just the room they need; a few at each of many levels leave growth to the vector.
  if (PyList_CheckExact(children.get())) {
    const auto count = static_cast<std::size_t>(PyList_GET_SIZE(children.get()));
    if (count > nodes_.size()) nodes_.reserve(nodes_.size() + count);
  }
  python::append_items(children.get(), nodes_);
  std::reverse(nodes_.begin() + first, nodes_.end());
}

int PendingNodes::traverse(visitproc visit, void* arg) const {
  for (const Ref& node : nodes_) Py_VISIT(node.get());
  return 0;
}

Block BlockWalk::next(const NodeReader& nodes) {
  while (!pending_.empty()) {
    Ref node = pending_.pop();
    const Kind kind = nodes.kind(node.get());
    if (!is_container(kind)) return {std::move(node), kind};
    pending_.push_children(nodes, node.get());
  }
  return {};
}

}  // namespace markdown::blocks
