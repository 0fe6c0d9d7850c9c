// The fields of YAML front matter, without PyYAML.
//
// The recogniser accepts a body only when the meaning of each line is beyond doubt: block mappings with plain or quoted
// keys, block sequences, flow sequences of scalars, plain and quoted scalars of one line, block scalars. It then gives
// what `yaml.safe_load` would find under the keys. It declines everything else (anchors, tags, scalars over lines,
// tabs, flow mappings, ...) and nearly all that the loader would raise for. Linear time; nesting deeper than a small
// constant is declined. Tested by tests/test_frontmatter.py and tests/sweep_yaml.py.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "frontmatter/front_matter.h"
#include "frontmatter/yaml_scalar.h"

namespace markdown::frontmatter {

// kNull: also the value of a key that is not there.
struct YamlValue {
  YamlKind kind = YamlKind::kNull;
  std::string text;  // kText: the value; kInteger, kFloat: the number as it is written
};

// `is_mapping` is false for a body without content, and for one that is unloadable: the loader raises for that,
// whatever its words.
struct YamlFields {
  bool is_mapping = false;
  bool is_unloadable = false;
  Fields<YamlValue> values;
};

// The fields of a body, the lines between the delimiters joined by "\n"; nothing when the loader must decide. Raises
// nothing but std::bad_alloc.
std::optional<YamlFields> recognise_yaml(std::string_view body);

}  // namespace markdown::frontmatter
