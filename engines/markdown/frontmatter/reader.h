// The front matter reader: from a front matter block to the fields of its document.
//
// Tested by tests/test_frontmatter.py.
#pragma once

#include "blocks/walk.h"
// After the interpreter's header.
#include <optional>
#include <string>
#include <string_view>

#include "frontmatter/front_matter.h"
#include "inline/plain_text.h"

namespace markdown::frontmatter {

// Reads `block` as YAML when its type is that of YAML front matter, and as TOML otherwise. `prefix`, a str, is used in
// log records only. No content of a document makes this raise.
FrontMatter read_front_matter(const blocks::NodeReader& nodes, inlines::PlainText& plain_text,
                              const blocks::Block& block, PyObject* prefix);

// The plain text of a field's value, when that is a str, an int or a float. Nothing when the text is empty, and nothing
// for any other value. A bool counts as another value.
std::optional<std::string> field_of(inlines::PlainText& plain_text, PyObject* value);

}  // namespace markdown::frontmatter
