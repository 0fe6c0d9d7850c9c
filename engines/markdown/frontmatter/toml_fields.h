// The fields of TOML front matter. In `title = "Guide"  # note`, the field is `title` and the literal is `"Guide"`.
//
// No TOML parser: it reads fields whose value is a string on the line of its key, skips all other lines, and stops at
// the first table. Tested by tests/test_toml.py.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "frontmatter/front_matter.h"

namespace markdown::frontmatter {

#define MARKDOWN_KEY(field, key, published) key
#define MARKDOWN_OR_KEY(field, key, published) "|" key
inline constexpr std::string_view kTomlField =
    R"(^\s*()" MARKDOWN_FIELDS(MARKDOWN_KEY, MARKDOWN_OR_KEY) R"re()\s*=\s*("(?:[^"\\]|\\.)*"|'[^']*')\s*(?:#.*)?$)re";
#undef MARKDOWN_KEY
#undef MARKDOWN_OR_KEY
inline constexpr std::string_view kTomlTable = R"(^\s*\[)";

struct TomlField {
  Field field;
  std::string_view literal;  // with its quotes
};

// Matches a line, which has no newline, against kTomlField.
// Equal: at most one of the keys is followed by `\s*=`. A string in double quotes can only end at the first quote that
// no backslash escapes, and a string in single quotes only at the next quote. So the pattern can match in one way only.
// Linear: one forward pass.
std::optional<TomlField> match_toml_field(std::string_view line) noexcept;
// Matches a line against kTomlTable, in the same sense.
bool match_toml_table(std::string_view line) noexcept;

// The value of a string literal, which is passed with its quotes. Text between single quotes is the value. Between
// double quotes, JSON's escapes are decoded; when one of them does not decode, the text between the quotes is the
// value. An escape for a lone surrogate gives that surrogate, as three bytes.
std::string toml_string(std::string_view literal);

// Calls `visit` with each field before the first table, in order. A key that stands twice is visited twice.
template <class Visit>
void for_each_toml_field(std::string_view body, Visit&& visit) {
  while (true) {
    const std::size_t line_break = body.find('\n');
    const std::string_view line = body.substr(0, line_break);
    if (match_toml_table(line)) return;
    if (const auto found = match_toml_field(line)) visit(*found);
    if (line_break == std::string_view::npos) return;
    body.remove_prefix(line_break + 1);
  }
}

}  // namespace markdown::frontmatter
