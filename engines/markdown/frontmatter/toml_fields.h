// The fields of TOML front matter: strings under the keys of the table of fields, each on a line of its own.
//
// This is no TOML reader: any other line is skipped, and the first table ends the reading. Tested by
// tests/test_toml.py.
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

// Equal: only one key can be followed by `\s*=`. A string has one end: the first quote that no backslash escapes, or
// the first quote of a literal string. The line holds no newline. Linear: one forward pass.
std::optional<TomlField> match_toml_field(std::string_view line) noexcept;
bool match_toml_table(std::string_view line) noexcept;

// The value of a string literal with its quotes. Text between single quotes is taken as it is. JSON's escapes between
// double quotes are decoded; when one does not decode, that text is taken as it is too. An escape for a lone surrogate
// gives that surrogate, as three bytes.
std::string toml_string(std::string_view literal);

// Calls `visit` with each field in order, also with a key that came before, up to the first table.
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
