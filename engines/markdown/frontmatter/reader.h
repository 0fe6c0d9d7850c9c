// The front matter reader: a front matter block as the title and the description it gives its document.
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

// `block` is YAML front matter, or else read as TOML; `prefix`, a str, stands in log records only. Raises nothing for
// what the document holds.
FrontMatter read_front_matter(const blocks::NodeReader& nodes, inlines::PlainText& plain_text,
                              const blocks::Block& block, PyObject* prefix);

// The plain text of a field that is a str, an int or a float; nothing for all else, a bool included, and for empty
// text.
std::optional<std::string> field_of(inlines::PlainText& plain_text, PyObject* value);

// The body between the first and the last line of a front matter block's text.
std::string_view body_of(std::string_view text) noexcept;

}  // namespace markdown::frontmatter
