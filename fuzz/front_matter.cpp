// Compares the TOML fields with their patterns, and the YAML recogniser with itself on bodies that mean the same.
//
// Only PyYAML can tell whether the recogniser is right. So replay.py later reads the inputs that the fuzzer keeps by
// both.
#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "check.h"
#include "frontmatter/front_matter.h"
#include "frontmatter/toml_fields.h"
#include "frontmatter/yaml_recogniser.h"
#include "pattern.h"
#include "text_of.h"

namespace markdown::fuzz {
namespace {

using frontmatter::YamlFields;
using frontmatter::YamlKind;
using frontmatter::YamlValue;

using TomlFields = std::vector<std::pair<std::string, std::string>>;

TomlFields toml_by_pattern(std::string_view body) {
  static const Pattern field{frontmatter::kTomlField};
  static const Pattern table{frontmatter::kTomlTable};
  TomlFields found;
  for (bool more = true; more;) {
    const std::size_t newline = body.find('\n');
    const std::string_view line = body.substr(0, newline);
    if (table.matches_at_start(line)) break;
    const auto groups = field.search(line);
    if (!groups.empty()) found.emplace_back(groups[1].in(line), groups[2].in(line));
    more = newline != std::string_view::npos;
    if (more) body.remove_prefix(newline + 1);
  }
  return found;
}

// A JSON string of the text, in which every second character is written as an escape.
std::string quoted(std::string_view text) {
  std::string out = "\"";
  const auto escape = [&out](char32_t unit) {
    std::array<char, 8> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "\\u%04X", static_cast<unsigned>(unit));
    out += buffer.data();
  };
  for (std::size_t pos = 0, i = 0; pos < text.size(); pos += text::width_of(text[pos]), ++i) {
    const char32_t c = text::decode_at(text, pos);
    if (i % 2 == 0 && c >= 0x20 && c != '"' && c != '\\') {
      out += text.substr(pos, text::width_of(text[pos]));
    } else if (c >= 0x10000) {
      escape(0xD800 + ((c - 0x10000) >> 10));
      escape(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      escape(c);
    }
  }
  return out + '"';
}

void check_toml(const std::string& text) {
  TomlFields found;
  frontmatter::for_each_toml_field(text, [&](const frontmatter::TomlField& field) {
    found.emplace_back(frontmatter::kKeys[field.field], field.literal);
    const std::string value = frontmatter::toml_string(field.literal);
    CHECK(value.size() <= field.literal.size() - 2);
    if (field.literal.find('\\') == std::string_view::npos) {
      CHECK(value == field.literal.substr(1, field.literal.size() - 2));
    }
  });
  try {
    CHECK(toml_by_pattern(text) == found);
  } catch (const TooLong&) {
  }
  CHECK(frontmatter::toml_string(quoted(text)) == text);
  frontmatter::toml_string(text);
}

bool same(const std::optional<YamlFields>& a, const std::optional<YamlFields>& b) {
  if (!a || !b) return !a && !b;
  const auto equal = [](const YamlValue& x, const YamlValue& y) { return x.kind == y.kind && x.text == y.text; };
  return a->is_mapping == b->is_mapping && a->is_unloadable == b->is_unloadable &&
         std::equal(a->values.begin(), a->values.end(), b->values.begin(), equal);
}

void check_value(const YamlValue& value) {
  CHECK(text::valid_prefix(value.text) == value.text.size());
  const std::size_t sign = value.text.starts_with('-') || value.text.starts_with('+') ? 1 : 0;
  const std::string_view digits = std::string_view(value.text).substr(sign);
  if (value.kind == YamlKind::kInteger) {
    CHECK(!digits.empty() && digits.size() <= 640 && (digits[0] != '0' || digits == "0"));
    CHECK(digits.find_first_not_of("0123456789") == std::string_view::npos);
  }
  if (value.kind == YamlKind::kFloat) {
    CHECK(digits.find_first_not_of("0123456789.") == std::string_view::npos);
    CHECK(digits.find('.') == digits.rfind('.') && digits.find('.') < digits.size());
  }
}

void check_yaml(const std::string& body) {
  const auto fields = frontmatter::recognise_yaml(body);
  CHECK(same(fields, frontmatter::recognise_yaml(body)));
  if (!fields) return;
  for (const YamlValue& value : fields->values) check_value(value);
  if (!fields->is_mapping) CHECK(same(YamlFields{false, fields->is_unloadable, {}}, fields));
  CHECK(same(fields, frontmatter::recognise_yaml("# comment\n\n" + body)));
  if (fields->is_mapping && body[0] != ' ' && body[0] != '\n' && body[0] != '#') {
    CHECK(same(fields, frontmatter::recognise_yaml("other:\n- title: [a, b]\n" + body)));
    const auto twice = frontmatter::recognise_yaml("title: first\n" + body);
    CHECK(twice.has_value());
    const bool is_same = same(fields, twice);
    CHECK(is_same || twice->values[frontmatter::kTitle].text == "first");
  }
}

}  // namespace
}  // namespace markdown::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = markdown::fuzz::text_of(data, size);
  markdown::fuzz::check_toml(text);
  markdown::fuzz::check_yaml(text);
  return 0;
}
