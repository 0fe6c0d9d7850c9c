// Plain (unquoted) YAML scalars typed by the rules of YAML 1.1, as PyYAML's safe loader resolves and constructs them.
//
// A scalar is passed as its folded text, without the white space around it. Quoted and block scalars are always text
// and do not come here. Tested by tests/test_frontmatter.py and tests/sweep_yaml.py.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace markdown::frontmatter {

// kRefused: the loader raises for this scalar, or gives it a meaning that depends on where it stands.
enum class ScalarType { kNull, kFalse, kTrue, kInteger, kFloat, kTimestamp, kText, kRefused };

ScalarType type_plain(std::string_view scalar) noexcept;

// The canonical decimal digits of a scalar of type kInteger, '-' before them when negative; nothing when the number
// is neither written in decimal nor fits 64 bits. At most 640 digits: `int` reads that many under any limit.
std::optional<std::string> integer_text(std::string_view scalar);

// The value of a scalar of type kFloat; nothing for base 60 and for numbers beyond the range of a double.
std::optional<double> float_value(std::string_view scalar);

}  // namespace markdown::frontmatter
