// The heading reader: from a heading block to its level, its name, its row, and the paragraph below it.
//
// Tested by tests/test_outline.py.
#pragma once

#include "blocks/walk.h"
// After the interpreter's header.
#include "inline/plain_text.h"
#include "outline/heading.h"

namespace markdown::outline {

// `node` is a heading block. `following` is the block after it, or a block without a node when there is none.
Heading read_heading(const blocks::NodeReader& nodes, inlines::PlainText& plain_text, const blocks::Block& node,
                     const blocks::Block& following);

// The plain text of a paragraph block. Nothing when the text is empty, for any other block, and for a block without a
// node.
std::optional<std::string> read_summary(const blocks::NodeReader& nodes, inlines::PlainText& plain_text,
                                        const blocks::Block& block);

}  // namespace markdown::outline
