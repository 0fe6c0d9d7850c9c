#include "frontmatter/toml_fields.h"

#include "text/digits.h"
#include "text/space.h"
#include "text/utf8.h"

namespace markdown::frontmatter {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

bool is_at(std::string_view text, std::size_t pos, char byte) noexcept {
  return pos < text.size() && text[pos] == byte;
}

// The offset behind the string whose opening quote stands at `pos`, npos when it has no end.
std::size_t string_end(std::string_view line, std::size_t pos) noexcept {
  if (is_at(line, pos, '\'')) {
    const std::size_t close = line.find('\'', pos + 1);
    return close == kNone ? kNone : close + 1;
  }
  if (!is_at(line, pos, '"')) return kNone;
  while ((pos = line.find_first_of("\"\\", pos + 1)) != kNone) {
    if (line[pos] == '"') return pos + 1;
    // The escaped character is skipped by its first byte; no other byte of it is a quote or a backslash.
    if (++pos >= line.size()) return kNone;
  }
  return kNone;
}

// The code unit of the "\uXXXX" at `pos`.
std::optional<char32_t> escaped_unit(std::string_view text, std::size_t pos) noexcept {
  if (text.substr(pos, 2) != "\\u" || pos + 6 > text.size()) return std::nullopt;
  char32_t unit = 0;
  for (const char c : text.substr(pos + 2, 4)) {
    const int value = text::hex_value(c);
    if (value < 0) return std::nullopt;
    unit = unit << 4 | static_cast<char32_t>(value);
  }
  return unit;
}

constexpr std::optional<char> simple_escape(char c) noexcept {
  constexpr std::string_view kLetters = "\"\\/bfnrt";
  constexpr std::string_view kValues = "\"\\/\b\f\n\r\t";
  const std::size_t i = kLetters.find(c);
  return i == kNone ? std::nullopt : std::optional(kValues[i]);
}

// Decodes the escape at `pos` and steps behind it; false when JSON knows no such escape.
bool decode_escape(std::string_view text, std::size_t& pos, std::string& out) {
  if (const auto unit = escaped_unit(text, pos)) {
    pos += 6;
    const auto low = *unit >= 0xD800 && *unit < 0xDC00 ? escaped_unit(text, pos) : std::nullopt;
    if (low && *low >= 0xDC00 && *low < 0xE000) {
      pos += 6;
      text::append_char(out, 0x10000 + ((*unit - 0xD800) << 10) + (*low - 0xDC00));
    } else {
      text::append_char(out, *unit);
    }
    return true;
  }
  if (pos + 1 >= text.size()) return false;
  const auto value = simple_escape(text[pos + 1]);
  if (value) out.push_back(*value);
  pos += 2;
  return value.has_value();
}

// The content of a basic string; nothing when it holds a control character, an unknown escape or a bare quote.
std::optional<std::string> decode_basic(std::string_view content) {
  std::string decoded;
  for (std::size_t pos = 0; pos < content.size();) {
    const char c = content[pos];
    if (static_cast<unsigned char>(c) < 0x20 || c == '"') return std::nullopt;
    if (c != '\\') {
      decoded.push_back(c);
      ++pos;
    } else if (!decode_escape(content, pos, decoded)) {
      return std::nullopt;
    }
  }
  return decoded;
}

}  // namespace

std::optional<TomlField> match_toml_field(std::string_view line) noexcept {
  std::size_t pos = text::skip_space(line, 0);
  const std::string_view rest = line.substr(pos);
  const std::string_view key = rest.starts_with(kTitle) ? kTitle : rest.starts_with(kDescription) ? kDescription : "";
  if (key.empty()) return std::nullopt;
  pos = text::skip_space(line, pos + key.size());
  if (!is_at(line, pos, '=')) return std::nullopt;
  pos = text::skip_space(line, pos + 1);
  const std::size_t end = string_end(line, pos);
  if (end == kNone) return std::nullopt;
  const std::size_t comment = text::skip_space(line, end);
  if (comment < line.size() && line[comment] != '#') return std::nullopt;
  return TomlField{key, line.substr(pos, end - pos)};
}

bool match_toml_table(std::string_view line) noexcept { return is_at(line, text::skip_space(line, 0), '['); }

std::string toml_string(std::string_view literal) {
  // Without a character for each quote there is nothing between them.
  const std::string_view content = literal.size() < 2 ? std::string_view() : literal.substr(1, literal.size() - 2);
  if (literal.starts_with('\'')) return std::string(content);
  return decode_basic(content).value_or(std::string(content));
}

}  // namespace markdown::frontmatter
