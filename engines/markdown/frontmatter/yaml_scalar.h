// The types of plain (unquoted) YAML scalars by the rules of YAML 1.1, as PyYAML's safe loader resolves them: "5" is an
// integer, "1.2.3" is text, "yes" is a bool. Quoted and block scalars are always text, so they are not passed here.
//
// Tested by tests/test_frontmatter.py and tests/sweep_yaml.py.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace markdown::frontmatter {

// The type of a value. kInteger: decimal digits, perhaps after a sign, as many as `int` reads under any limit. kFloat:
// the same with one point among the digits. kOther: a bool, a timestamp, a list or a mapping, of which no field is
// made.
enum class YamlKind : std::uint8_t { kNull, kText, kInteger, kFloat, kOther };

// The type of a scalar, which is not empty and has no white space at its ends. Nothing when the loader must decide:
// numbers and timestamps of any other form, scalars that the loader raises for, and those that it treats specially.
std::optional<YamlKind> type_plain(std::string_view scalar) noexcept;

}  // namespace markdown::frontmatter
