#include "links/link_scan.h"

#include "links/destination.h"
#include "python/sequence.h"

namespace markdown::links {

using blocks::Kind;
using python::ModuleState;
using python::Ref;

std::optional<LinkTarget> LinkScan::next(const ModuleState& state) {
  while (true) {
    if (auto target = run_.next()) return target;
    if (pending_.empty()) return std::nullopt;
    const Ref node = pending_.pop();
    const Kind kind = blocks::read_kind(state, node.get());
    if (blocks::is_inline_run(kind)) {
      text_ = blocks::read_text(state, node.get());
      if (!may_hold_link(text_.view())) continue;
      run_.start(text_.view(), blocks::read_row(state, node.get()) + 1);
    } else if (kind == Kind::kLinkReferenceDefinition) {
      if (auto target = read_definition(state, node.get())) return target;
    } else if (blocks::is_link_container(kind)) {
      pending_.push_children(state, node.get());
    }
  }
}

std::optional<LinkTarget> LinkScan::read_definition(const ModuleState& state, PyObject* node) {
  const Ref children = blocks::read_children(state, node);
  Ref destination_node;
  python::for_each_item(children.get(), [&](Ref child) {
    if (destination_node || blocks::read_kind(state, child.get()) != Kind::kLinkDestination) return;
    destination_node = std::move(child);
  });
  if (!destination_node) return std::nullopt;
  text_ = blocks::read_text(state, destination_node.get());
  const std::string_view target = destination(text_.view());
  if (target.empty()) return std::nullopt;
  return LinkTarget{LinkKind::kDocument, target, blocks::read_row(state, node) + 1};
}

}  // namespace markdown::links
