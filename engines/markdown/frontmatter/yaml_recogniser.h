// The title and the description of YAML front matter, without PyYAML.
//
// The recogniser takes a body only when each line of it has a form whose meaning is beyond doubt: block mappings with
// plain or quoted keys, block sequences, flow collections, plain, quoted and block scalars. It then gives what
// `yaml.safe_load` would find under the two keys. Everything else (anchors, tags, directives, tabs, ...) it declines,
// and all that the loader would raise for. Linear time; nesting deeper than a small constant is declined.
// Tested by tests/test_frontmatter.py and tests/sweep_yaml.py.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace markdown::frontmatter {

// A value of the front matter. kOther: a list, a mapping, a date, which no field is made of.
struct YamlValue {
  enum class Kind { kAbsent, kNull, kFalse, kTrue, kInteger, kFloat, kText, kOther };
  Kind kind = Kind::kAbsent;
  std::string text;   // kText: the value; kInteger: at most 640 decimal digits, '-' before them when negative
  double number = 0;  // kFloat
};

// `is_mapping` is false for a body without content, and for one that is `unloadable`: the loader raises for it,
// whatever its words.
struct YamlFields {
  bool is_mapping = false;
  bool unloadable = false;
  YamlValue title;
  YamlValue description;
};

// The fields of a body, the lines between the delimiters joined by "\n"; nothing when the loader must decide. Raises
// nothing but std::bad_alloc.
std::optional<YamlFields> recognise_yaml(std::string_view body);

}  // namespace markdown::frontmatter
