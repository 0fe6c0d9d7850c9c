// The fields of TOML front matter: strings under the two keys in the top table, each on a line of its own.
//
// Not a TOML reader: what is no such line is skipped. Tested by tests/test_toml.py.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "frontmatter/front_matter.h"

namespace markdown::frontmatter {

inline constexpr std::string_view kTomlField =
    R"(^\s*()" MARKDOWN_TITLE "|" MARKDOWN_DESCRIPTION R"re()\s*=\s*("(?:[^"\\]|\\.)*"|'[^']*')\s*(?:#.*)?$)re";
inline constexpr std::string_view kTomlTable = R"(^\s*\[)";

struct TomlField {
  std::string_view key;
  std::string_view literal;  // with its quotes
};

// Equal: neither key begins the other, and a string has one end: the first quote that no backslash escapes, or the
// first quote of a literal string. The line holds no line feed. Linear: one forward pass.
std::optional<TomlField> match_toml_field(std::string_view line) noexcept;
bool match_toml_table(std::string_view line) noexcept;

// The value of a string literal with its quotes: as it stands between single quotes, with JSON's escapes decoded
// between double quotes, or as it stands there when one of them does not decode. An escape for a lone surrogate gives
// that surrogate, as three bytes.
std::string toml_string(std::string_view literal);

// Calls `visit` with each field in order, the later of two with one key included, up to the first table.
template <class Visit>
void for_each_toml_field(std::string_view body, Visit&& visit) {
  while (true) {
    const std::size_t feed = body.find('\n');
    const std::string_view line = body.substr(0, feed);
    if (match_toml_table(line)) return;
    if (const auto field = match_toml_field(line)) visit(*field);
    if (feed == std::string_view::npos) return;
    body.remove_prefix(feed + 1);
  }
}

}  // namespace markdown::frontmatter
