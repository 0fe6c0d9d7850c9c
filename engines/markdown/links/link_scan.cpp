#include "links/link_scan.h"

#include "links/destination.h"
#include "python/sequence.h"

namespace markdown::links {

using blocks::Kind;
using python::Ref;

std::optional<LinkTarget> LinkScan::next(const blocks::NodeReader& nodes) {
  if (auto target = next_of_run()) return target;
  while (const Ref node = pending_.pop()) {
    const Kind kind = nodes.kind(node.get());
    if (blocks::is_inline_run(kind)) {
      blocks::NodeText text = nodes.text(node.get());
      if (!may_hold_link(text.view())) continue;
      text_ = std::move(text);
      run_.start(text_.view(), 0);
      if (auto target = run_.next()) {
        first_line_ = nodes.row(node.get()) + 1;  // read only now, because in many runs all links lead to the web
        target->line += first_line_;
        return target;
      }
    } else if (kind == Kind::kLinkReferenceDefinition) {
      if (auto target = read_definition(nodes, node.get())) return target;
    } else if (blocks::is_link_container(kind)) {
      pending_.enter(nodes, node.get());
    }
  }
  return std::nullopt;
}

std::optional<LinkTarget> LinkScan::next_of_run() {
  auto target = run_.next();
  if (target) target->line += first_line_;
  return target;
}

std::optional<LinkTarget> LinkScan::read_definition(const blocks::NodeReader& nodes, PyObject* node) {
  const Ref children = nodes.children(node);
  Ref destination_node;
  python::for_each_item(children.get(), [&](Ref child) {
    if (nodes.kind(child.get()) == Kind::kLinkDestination) destination_node = std::move(child);
    return !destination_node;
  });
  if (!destination_node) return std::nullopt;
  text_ = nodes.text(destination_node.get());
  const std::string_view target = destination(text_.view());
  if (target.empty()) return std::nullopt;
  return LinkTarget{LinkKind::kDocument, target, nodes.row(node) + 1};
}

}  // namespace markdown::links
