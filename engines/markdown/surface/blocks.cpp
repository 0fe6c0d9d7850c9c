#include "blocks/walk.h"
// After the interpreter's header.
#include "python/arguments.h"
#include "python/text.h"
#include "surface/functions.h"
#include "surface/iterator.h"
#include "surface/iterators.h"

namespace markdown::surface {
namespace {

using python::ModuleState;
using python::Parameters;
using python::Ref;
using python::state_of;

class BlockSource {
 public:
  explicit BlockSource(PyObject* root) : walk_(root) {}
  Ref next(const ModuleState& state) { return walk_.next(blocks::NodeReader(state)).node; }
  int traverse(visitproc visit, void* arg) const { return walk_.pending().traverse(visit, arg); }
  void clear() noexcept { walk_.pending().clear(); }

 private:
  blocks::BlockWalk walk_;
};

PyObject* blocks(PyObject* module, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<1> kParameters = {"_blocks", {"root"}};
  return python::guarded([&] {
    const auto [root] = kParameters.bind(args, nargs, keywords);
    return Iterator<BlockSource>::make(state_of(module).block_iterator, BlockSource(root));
  });
}

constexpr char kBlocks[] = R"(_blocks($module, /, root)
--

The blocks of a document, in document order.

root: a block-tree node, normally the document's root.

Returns an iterator over the outermost nodes that are no `document`, `section` or `ERROR`
node: those below root, or root itself. Nodes are read as the iterator is advanced.)";

PyObject* block_after(PyObject*, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<2> kParameters = {"_block_after", {"blocks", "index"}};
  return python::guarded([&] {
    const auto [blocks, index] = kParameters.bind(args, nargs, keywords);
    const Py_ssize_t position = PyNumber_AsSsize_t(index, nullptr);  // clipped to what Py_ssize_t can hold
    if (position == -1 && PyErr_Occurred()) throw python::PythonError();
    if (position >= python::checked(PySequence_Size(blocks)) - 1) return python::none();
    return Ref::steal(PySequence_GetItem(blocks, position + 1));
  });
}

constexpr char kBlockAfter[] = R"(_block_after($module, /, blocks, index)
--

The block after a position of the walk.

blocks: a sequence of nodes.
index: the 0-based position of one of them.

Returns the element at index + 1, or None after the last one.)";

PyObject* text(PyObject* module, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<1> kParameters = {"_text", {"node"}};
  return python::guarded([&] {
    const auto [node] = kParameters.bind(args, nargs, keywords);
    return python::to_str(blocks::NodeReader(state_of(module)).text(node).view());
  });
}

constexpr char kText[] = R"(_text($module, /, node)
--

The text of a node as a str.

node: a block-tree node whose `text` is UTF-8 bytes, empty, or None.

Returns the decoded text, U+FFFD for each ill-formed sequence; '' for no text.)";

}  // namespace

void make_block_iterator(PyObject* module) {
  state_of(module).block_iterator =
      Ref::steal(Iterator<BlockSource>::make_type(module, "quarnel.engines.markdown._BlockIterator")).release();
}

PyMethodDef block_functions[] = {
    python::method("_blocks", blocks, kBlocks),
    python::method("_block_after", block_after, kBlockAfter),
    python::method("_text", text, kText),
    {},
};

}  // namespace markdown::surface
