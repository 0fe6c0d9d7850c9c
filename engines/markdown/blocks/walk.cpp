#include "blocks/walk.h"

#include <algorithm>
#include <utility>

#include "python/sequence.h"

namespace markdown::blocks {

using python::checked;
using python::Ref;

void PendingNodes::count_node() {
  constexpr unsigned kNodesBetweenSignals = 4096;
  if (++counted_ % kNodesBetweenSignals == 0) checked(PyErr_CheckSignals());
}

Ref PendingNodes::pop() {
  count_node();
  if (root_) return std::exchange(root_, Ref());
  while (!entered_.empty()) {
    Siblings& siblings = entered_.back();
    PyObject* list = siblings.list.get();
    const bool is_list = PyList_CheckExact(list);
    // A host may have cut the list of an exact node short since.
    const Py_ssize_t end = is_list ? std::min(siblings.end, PyList_GET_SIZE(list)) : siblings.end;
    if (siblings.next < end) {
      const Py_ssize_t at = siblings.next++;
      return Ref::share(is_list ? PyList_GET_ITEM(list, at) : PyTuple_GET_ITEM(list, at));
    }
    entered_.pop_back();
  }
  return {};
}

void PendingNodes::enter(const NodeReader& nodes, PyObject* node) {
  Ref children = nodes.children(node);
  // An exact node keeps its list to itself. Any other may do with its children what it likes while they are visited, so
  // they are visited as they are now.
  if (!(nodes.is_exact(node) && PyList_CheckExact(children.get())) && !PyTuple_CheckExact(children.get())) {
    if (!PySequence_Check(children.get())) python::raise(PyExc_TypeError, "a node's children must be a sequence");
    const Ref list = Ref::steal(PyList_New(0));
    python::for_each_item(children.get(), [&](const Ref& child) {
      count_node();
      checked(PyList_Append(list.get(), child.get()));
    });
    children = Ref::share(list.get());
  }
  const Py_ssize_t count = Py_SIZE(children.get());
  if (count > 0) entered_.push_back({std::move(children), 0, count});
}

int PendingNodes::traverse(visitproc visit, void* arg) const {
  Py_VISIT(root_.get());
  for (const Siblings& siblings : entered_) Py_VISIT(siblings.list.get());
  return 0;
}

void PendingNodes::clear() noexcept {
  // Taken out first: what is freed may run code that asks for the next node.
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
