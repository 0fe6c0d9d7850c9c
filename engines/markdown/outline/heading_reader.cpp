#include "outline/heading_reader.h"

#include "outline/closing_sequence.h"
#include "python/sequence.h"

namespace markdown::outline {
namespace {

using blocks::Block;
using blocks::Kind;
using inlines::PlainText;
using python::Ref;

// A character has at most four bytes, so no text after this many bytes can matter.
constexpr std::size_t kMaxInlineBytes = 4 * inlines::kMaxInlineLength;

struct HeadingParts {
  int level = 0;
  Ref content;  // the first child that holds the heading's text
};

// Reads both parts in one pass over the children, which ends when both are found.
HeadingParts read_parts(const blocks::NodeReader& nodes, const Block& heading) {
  const Kind content_kind = heading.kind == Kind::kAtxHeading ? Kind::kInline : Kind::kParagraph;
  const Ref children = nodes.children(heading.node.get());
  HeadingParts parts;
  python::for_each_item(children.get(), [&](Ref child) {
    const Kind kind = nodes.kind(child.get());
    if (parts.level == 0) parts.level = blocks::level_of(kind);
    if (kind == content_kind && !parts.content) parts.content = std::move(child);
    return parts.level == 0 || !parts.content;
  });
  return parts;
}

std::string atx_name(PlainText& plain_text, std::string_view text) {
  const auto closing = search_closing_sequence(text);
  if (!closing) return std::string(plain_text.of(text));
  std::string opened(text.substr(0, closing->begin));
  opened.append(text.substr(closing->end));
  return std::string(plain_text.of(opened));
}

}  // namespace

Heading read_heading(const blocks::NodeReader& nodes, PlainText& plain_text, const Block& node,
                     const Block& following) {
  Heading heading;
  const HeadingParts parts = read_parts(nodes, node);
  if (parts.level != 0) heading.level = parts.level;
  if (parts.content && node.kind == Kind::kAtxHeading) {
    heading.name = atx_name(plain_text, nodes.text(parts.content.get()).view());
  } else if (parts.content) {
    heading.name = plain_text.of(nodes.text(parts.content.get(), kMaxInlineBytes).view());
  }
  heading.first_row = nodes.row(node.node.get());
  heading.summary = read_summary(nodes, plain_text, following);
  return heading;
}

std::optional<std::string> read_summary(const blocks::NodeReader& nodes, PlainText& plain_text, const Block& block) {
  if (!block.node || block.kind != Kind::kParagraph) return std::nullopt;
  const blocks::NodeText text = nodes.text(block.node.get(), kMaxInlineBytes);
  const std::string_view summary = plain_text.of(text.view());
  return summary.empty() ? std::nullopt : std::optional<std::string>(summary);
}

}  // namespace markdown::outline
