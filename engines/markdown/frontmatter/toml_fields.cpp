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

// The offset after the string whose opening quote is at `pos`; npos when the string has no end.
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
  return text.substr(pos, 2) == "\\u" ? text::hex_number(text, pos + 2, 4) : std::nullopt;
}

// Decodes the escape at `pos` and moves `pos` past it. Returns false when JSON has no such escape.
bool decode_escape(std::string_view text, std::size_t& pos, std::string& out) {
  constexpr std::string_view kLetters = "\"\\/bfnrt";
  constexpr std::string_view kValues = "\"\\/\b\f\n\r\t";
  constexpr std::size_t kUnitWidth = 6;
  if (const auto unit = escaped_unit(text, pos)) {
    pos += kUnitWidth;
    const auto low = *unit >= 0xD800 && *unit < 0xDC00 ? escaped_unit(text, pos) : std::nullopt;
    const bool is_pair = low && *low >= 0xDC00 && *low < 0xE000;
    if (is_pair) pos += kUnitWidth;
    text::append_char(out, is_pair ? 0x10000 + ((*unit - 0xD800) << 10) + (*low - 0xDC00) : *unit);
    return true;
  }
  const std::size_t i = pos + 1 < text.size() ? kLetters.find(text[pos + 1]) : kNone;
  if (i == kNone) return false;
  out.push_back(kValues[i]);
  pos += 2;
  return true;
}

// The content of a basic string; nothing when it holds a control character, an unknown escape or a bare quote.
std::optional<std::string> decode_basic(std::string_view content) {
  std::string decoded;
  for (std::size_t pos = 0; pos < content.size();) {
    const char c = content[pos];
    if (static_cast<unsigned char>(c) < 0x20 || c == '"') return std::nullopt;
    if (c == '\\' && !decode_escape(content, pos, decoded)) return std::nullopt;
    if (c != '\\') decoded.push_back(content[pos++]);
  }
  return decoded;
}

}  // namespace

std::optional<TomlField> match_toml_field(std::string_view line) noexcept {
  const std::size_t begin = text::skip_space(line, 0);
  for (std::size_t i = 0; i < kFieldCount; ++i) {
    const std::string_view key = kKeys[i];
    if (!line.substr(begin).starts_with(key)) continue;
    std::size_t pos = text::skip_space(line, begin + key.size());
    if (!is_at(line, pos, '=')) continue;
    pos = text::skip_space(line, pos + 1);
    const std::size_t end = string_end(line, pos);
    if (end == kNone) return std::nullopt;
    const std::size_t comment = text::skip_space(line, end);
    if (comment < line.size() && line[comment] != '#') return std::nullopt;
    return TomlField{static_cast<Field>(i), line.substr(pos, end - pos)};
  }
  return std::nullopt;
}

bool match_toml_table(std::string_view line) noexcept { return is_at(line, text::skip_space(line, 0), '['); }

std::string toml_string(std::string_view literal) {
  const std::string_view content = literal.size() < 2 ? std::string_view() : literal.substr(1, literal.size() - 2);
  if (literal.starts_with('\'')) return std::string(content);
  return decode_basic(content).value_or(std::string(content));
}

}  // namespace markdown::frontmatter
