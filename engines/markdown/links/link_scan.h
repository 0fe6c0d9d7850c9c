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

  // The next target, or nothing at the end. A node is read when the scan reaches it. Lines are 1-based.
  std::optional<LinkTarget> next(const blocks::NodeReader& nodes);

  const blocks::PendingNodes& pending() const noexcept { return pending_; }
  void clear() noexcept {  // ends the scan
    pending_.clear();
    run_ = InlineTargets();
  }

 private:
  std::optional<LinkTarget> next_of_run();
  std::optional<LinkTarget> read_definition(const blocks::NodeReader& nodes, PyObject* node);

  blocks::PendingNodes pending_;
  blocks::NodeText text_;  // of the current run or destination; targets point into it
  InlineTargets run_;
  std::int64_t first_line_ = 0;  // of the current run
};

}  // namespace markdown::links
