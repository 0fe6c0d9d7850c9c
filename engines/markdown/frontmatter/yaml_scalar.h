// Plain (unquoted) YAML scalars typed by the rules of YAML 1.1, as PyYAML's safe loader resolves them.
//
// A scalar is passed without the white space around it and is not empty. Quoted and block scalars are always text and
// do not come here. Tested by tests/test_frontmatter.py and tests/sweep_yaml.py.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace markdown::frontmatter {

// What a value is. kInteger: a sign or none and decimal digits, as many as `int` reads under any limit. kFloat: the
// same with one point among the digits. kOther: a bool, a timestamp, a list, a mapping; no field is made of these.
enum class YamlKind : std::uint8_t { kNull, kText, kInteger, kFloat, kOther };

// Nothing for a number or a time in any other form, and for what the loader raises for or treats in a way of its own.
std::optional<YamlKind> type_plain(std::string_view scalar) noexcept;

}  // namespace markdown::frontmatter
