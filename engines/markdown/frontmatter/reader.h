// The front matter reader: a front matter block as the fields that it gives its document.
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

// `block` is read as YAML when its type is that of YAML front matter, as TOML otherwise. `prefix`, a str, stands in log
// records only. Raises nothing for what the document contains.
FrontMatter read_front_matter(const blocks::NodeReader& nodes, inlines::PlainText& plain_text,
                              const blocks::Block& block, PyObject* prefix);

// The plain text of a field that is a str, an int or a float. Nothing for empty text and for any other value; a bool is
// such a value.
std::optional<std::string> field_of(inlines::PlainText& plain_text, PyObject* value);

}  // namespace markdown::frontmatter
