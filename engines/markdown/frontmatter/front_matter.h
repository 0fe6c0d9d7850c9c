// The fields of front matter: a table of them, and one value for each.
//
// YAML, TOML, the loader and the published records are all made from the table. A new field is therefore one more row.
// What a field means for the outline stands in outline/title_section.h.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace markdown::frontmatter {

// The longest body that is read, in characters.
inline constexpr std::size_t kMaxFrontMatterLength = 65536;

// A row is the field's enumerator, its key, and the name under which the module publishes the key. The first row goes
// through FIRST and every later row through NEXT, so that a user of the table can put a separator before NEXT.
#define MARKDOWN_FIELDS(FIRST, NEXT) \
  FIRST(kTitle, "title", "_TITLE")   \
  NEXT(kDescription, "description", "_DESCRIPTION")

#define MARKDOWN_FIELD(field, key, published) field,
enum Field : std::size_t { MARKDOWN_FIELDS(MARKDOWN_FIELD, MARKDOWN_FIELD) kFieldCount };
#undef MARKDOWN_FIELD

#define MARKDOWN_KEY(field, key, published) key,
inline constexpr std::array<const char*, kFieldCount> kKeys = {MARKDOWN_FIELDS(MARKDOWN_KEY, MARKDOWN_KEY)};
#undef MARKDOWN_KEY

// One value for each field, indexed by the enumerators.
template <class Value>
using Fields = std::array<Value, kFieldCount>;

// The text of each field: plain text on one line, never empty.
using FrontMatter = Fields<std::optional<std::string>>;

// Points to the value of the field with this key; null when no field has that key.
template <class Value>
Value* find_field(Fields<Value>& fields, std::string_view key) noexcept {
  for (std::size_t i = 0; i < kFieldCount; ++i) {
    if (key == kKeys[i]) return &fields[i];
  }
  return nullptr;
}

}  // namespace markdown::frontmatter
