// What front matter says of its document: the table of its fields, and one value for each of them.
//
// All that reads or publishes a field is made from the table, so that a further field is a further row.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace markdown::frontmatter {

// The longest body that is read, in characters.
inline constexpr std::size_t kMaxFrontMatterLength = 65536;

// A row: the field's enumerator, its key, and the name under which the module publishes the key. Rows after the first
// have a macro of their own, which can put a separator before them.
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

// One-line plain text, never empty.
using FrontMatter = Fields<std::optional<std::string>>;

// The place of the field with this key among `fields`, null when no field has it.
template <class Value>
Value* find_field(Fields<Value>& fields, std::string_view key) noexcept {
  for (std::size_t i = 0; i < kFieldCount; ++i) {
    if (key == kKeys[i]) return &fields[i];
  }
  return nullptr;
}

}  // namespace markdown::frontmatter
