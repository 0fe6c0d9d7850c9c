// The YAML recogniser: reads the fields of plain YAML front matter without PyYAML, and declines any other.
//
//     title: Guide               accepted: a plain scalar on one line
//     tags: [a, "b"]             accepted: a flow sequence of scalars
//     title: &t Guide            declined: an anchor
//
// It accepts a body only when the meaning of every line is beyond doubt, and gives what `yaml.safe_load` would find
// under the keys. It knows block mappings, block sequences, flow sequences of scalars, plain and quoted scalars of one
// line, and block scalars. It may decline any body, because the loader reads what it declines.
//
// Takes linear time. Nesting deeper than a small constant is declined. Tested by tests/test_frontmatter.py and
// tests/sweep_yaml.py.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "frontmatter/front_matter.h"
#include "frontmatter/yaml_scalar.h"

namespace markdown::frontmatter {

// The value of one field. A field whose key is missing is kNull.
struct YamlValue {
  YamlKind kind = YamlKind::kNull;
  std::string text;  // kText: the value; kInteger, kFloat: the number as it is written
};

// What an accepted body says.
struct YamlFields {
  bool is_mapping = false;     // false for a body without content, and for one that is unloadable
  bool is_unloadable = false;  // the loader is certain to raise for the body
  Fields<YamlValue> values;
};

// The fields of a body (the lines between the delimiters, joined by "\n"). Nothing when the body is declined. Raises
// nothing but std::bad_alloc.
std::optional<YamlFields> recognise_yaml(std::string_view body);

}  // namespace markdown::frontmatter
