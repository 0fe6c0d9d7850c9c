// The link scan: every link target of a document, in document order.
//
// Tested by tests/test_links.py.
#pragma once

#include "blocks/walk.h"
// After the interpreter's header.
#include <optional>

#include "links/inline_targets.h"

namespace markdown::links {

class LinkScan {
 public:
  explicit LinkScan(PyObject* root) : pending_(root) {}

  // Nodes are read as the scan reaches them; lines are 1-based.
  std::optional<LinkTarget> next(const blocks::NodeReader& nodes);

  const blocks::PendingNodes& pending() const noexcept { return pending_; }
  void clear() noexcept {  // nothing more comes
    pending_.clear();
    run_ = InlineTargets();
  }

 private:
  std::optional<LinkTarget> next_of_run();
  std::optional<LinkTarget> read_definition(const blocks::NodeReader& nodes, PyObject* node);

  blocks::PendingNodes pending_;
  blocks::NodeText text_;  // the current targets point into this
  InlineTargets run_;
  std::int64_t first_line_ = 0;  // of the run
};

}  // namespace markdown::links
