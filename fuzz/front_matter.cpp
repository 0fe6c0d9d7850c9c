// TOML fields against their patterns, the YAML recogniser against itself on bodies that mean the same, numbers as text.
//
// Whether the recogniser is right only the loader can tell: the inputs that the fuzzer keeps are read by both
// afterwards.
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "check.h"
#include "frontmatter/front_matter.h"
#include "frontmatter/number_text.h"
#include "frontmatter/toml_fields.h"
#include "frontmatter/yaml_recogniser.h"
#include "frontmatter/yaml_scalar.h"
#include "pattern.h"
#include "text_of.h"

namespace markdown::fuzz {
namespace {

using frontmatter::YamlFields;
using frontmatter::YamlValue;

using TomlFields = std::vector<std::pair<std::string, std::string>>;

TomlFields toml_by_pattern(std::string_view body) {
  static const Pattern field{frontmatter::kTomlField};
  static const Pattern table{frontmatter::kTomlTable};
  TomlFields found;
  for (bool more = true; more;) {
    const std::size_t feed = body.find('\n');
    const std::string_view line = body.substr(0, feed);
    if (table.matches_at_start(line)) break;
    const auto groups = field.search(line);
    if (!groups.empty()) found.emplace_back(groups[1].in(line), groups[2].in(line));
    more = feed != std::string_view::npos;
    if (more) body.remove_prefix(feed + 1);
  }
  return found;
}

// A JSON string of any text: every other character as an escape.
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
    found.emplace_back(field.key, field.literal);
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

bool same(const YamlValue& a, const YamlValue& b) {
  return a.kind == b.kind && a.text == b.text && std::memcmp(&a.number, &b.number, sizeof a.number) == 0;
}

bool same(const std::optional<YamlFields>& a, const std::optional<YamlFields>& b) {
  if (a.has_value() != b.has_value()) return false;
  return !a || (a->is_mapping == b->is_mapping && same(a->title, b->title) && same(a->description, b->description));
}

void check_value(const YamlValue& value) {
  CHECK(text::valid_prefix(value.text) == value.text.size());
  if (value.kind == YamlValue::Kind::kInteger) {
    const std::string_view digits = std::string_view(value.text).substr(value.text.starts_with('-') ? 1 : 0);
    CHECK(!digits.empty() && digits.size() <= 640);
    CHECK(digits.find_first_not_of("0123456789") == std::string_view::npos);
    CHECK(digits[0] != '0' || value.text == "0");
  }
  if (value.kind == YamlValue::Kind::kAbsent) CHECK(value.text.empty());
}

void check_yaml(const std::string& body) {
  const auto fields = frontmatter::recognise_yaml(body);
  CHECK(same(fields, frontmatter::recognise_yaml(body)));
  if (!fields) return;
  check_value(fields->title);
  check_value(fields->description);
  const auto absent = YamlValue::Kind::kAbsent;
  CHECK(fields->is_mapping || (fields->title.kind == absent && fields->description.kind == absent));
  CHECK(same(fields, frontmatter::recognise_yaml("# comment\n\n" + body)));
  if (fields->is_mapping && body[0] != ' ' && body[0] != '\n' && body[0] != '#') {
    CHECK(same(fields, frontmatter::recognise_yaml("other:\n- title: [a, {b: c}]\n" + body)));
    auto twice = frontmatter::recognise_yaml("title: first\n" + body);
    CHECK(twice && twice->title.kind != absent);
    if (fields->title.kind != absent) CHECK(same(fields, twice));
  }
}

// One digit after the other, into decimal digits.
std::string decimal(std::string_view hex, bool negative) {
  std::string digits = "0";  // the last one first
  for (const char c : hex) {
    int carry = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
    for (char& digit : digits) {
      carry += (digit - '0') * 16;
      digit = static_cast<char>('0' + carry % 10);
      carry /= 10;
    }
    for (; carry > 0; carry /= 10) digits += static_cast<char>('0' + carry % 10);
  }
  if (negative && digits != "0") digits += '-';
  return {digits.rbegin(), digits.rend()};
}

void check_numbers(const std::string& text) {
  std::string hex;
  std::copy_if(text.begin(), text.end(), std::back_inserter(hex),
               [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); });
  hex.resize(std::min<std::size_t>(hex.size(), 300));
  for (const bool negative : {false, true}) {
    CHECK(frontmatter::integer_text_from_hex(hex, negative) == decimal(hex, negative));
  }
  if (text.size() >= sizeof(double)) {
    double value = 0;
    std::memcpy(&value, text.data(), sizeof value);
    const std::string shortest = frontmatter::float_text(value);
    if (std::isfinite(value)) {
      CHECK(std::strtod(shortest.c_str(), nullptr) == value && std::signbit(value) == shortest.starts_with('-'));
      CHECK(shortest.find_first_of(".e") != std::string::npos && shortest.size() <= 24);
    }
  }
  const auto type = frontmatter::type_plain(text);
  if (type == frontmatter::ScalarType::kFloat) frontmatter::float_value(text);
  if (type == frontmatter::ScalarType::kInteger) frontmatter::integer_text(text);
}

}  // namespace
}  // namespace markdown::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = markdown::fuzz::text_of(data, size);
  markdown::fuzz::check_toml(text);
  markdown::fuzz::check_yaml(text);
  markdown::fuzz::check_numbers(text);
  return 0;
}
