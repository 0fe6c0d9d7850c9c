#include "frontmatter/yaml_scanner.h"

#include <algorithm>

#include "text/byte_set.h"
#include "text/digits.h"
#include "text/utf8.h"

namespace markdown::frontmatter {
namespace {

constexpr std::string_view kFlowIndicators = ",[]{}";
constexpr text::ByteSet kNotFirstInPlain("?:,[]{}#&*!|>'\"%@`");

// The bytes that may end a run of a plain scalar, outside and inside flow sequences.
constexpr text::ByteSet kPlainEnds("\n :");
constexpr text::ByteSet kFlowPlainEnds("\n :?,[]{}");
// The bytes at which `is_scannable` has to look: control characters, newlines included, and the lead bytes of
// characters some of which are forbidden.
constexpr text::ByteSet kSuspects("\x7F\xC2\xE2\xED\xEF", [](char c) { return static_cast<unsigned char>(c) < 0x20; });

// Forbidden are: the C1 controls, because U+0085 is a line break; U+2028 and U+2029, which are line breaks; surrogates;
// U+FEFF, which PyYAML does not count in a column; U+FFFE and U+FFFF.
constexpr bool is_forbidden_wide(char32_t c) noexcept {
  return c < 0xA0 || c == 0x2028 || c == 0x2029 || (c >= 0xD800 && c < 0xE000) || c == 0xFEFF || c == 0xFFFE ||
         c == 0xFFFF;
}

constexpr bool is_blank_or_end(char c) noexcept { return c == ' ' || c == '\n' || c == '\0'; }

bool starts_with_marker(std::string_view line) noexcept {
  if (line.empty() || (line[0] != '-' && line[0] != '.')) return false;  // so it is for nearly every line
  if (!line.starts_with("---") && !line.starts_with("...")) return false;
  return line.size() == 3 || is_blank_or_end(line[3]);
}

// Skips characters of a plain scalar up to its next space or to its end.
std::size_t skip_plain_run(std::string_view text, std::size_t pos, bool in_flow) noexcept {
  const text::ByteSet& ends = in_flow ? kFlowPlainEnds : kPlainEnds;
  for (pos = text::find_any(text, pos, ends); pos < text.size(); pos = text::find_any(text, pos + 1, ends)) {
    if (text[pos] != ':') break;
    const char next = pos + 1 < text.size() ? text[pos + 1] : '\0';
    if (is_blank_or_end(next) || (in_flow && kFlowIndicators.find(next) != std::string_view::npos)) break;
  }
  return pos;
}

// A backslash and a letter of kEscapes stand for the byte at the same place in kEscaped.
constexpr std::string_view kEscapes = "\"\\/nt";
constexpr std::string_view kEscaped = "\"\\/\n\t";

}  // namespace

bool is_scannable(std::string_view text) noexcept {
  if (starts_with_marker(text)) return false;
  std::size_t pos = text::find_any(text, 0, kSuspects);
  for (; pos < text.size(); pos = text::find_any(text, pos + 1, kSuspects)) {
    if (text[pos] == '\n') {
      if (starts_with_marker(text.substr(pos + 1))) return false;
    } else if (text::is_ascii(text[pos]) || is_forbidden_wide(text::decode_at(text, pos))) {
      return false;
    }
  }
  return true;
}

bool YamlScanner::is_at_indicator(char c) const noexcept { return peek() == c && is_blank_or_end(peek(1)); }

bool YamlScanner::skip_to_token() noexcept {
  for (bool has_breaks = false;; has_breaks = true) {
    skip_spaces();
    if (peek() == '#') skip_line();
    if (peek() != '\n') return has_breaks;
    advance();
    place_.line_begin = place_.pos;
  }
}

std::optional<std::string_view> YamlScanner::scan_plain(bool in_flow) noexcept {
  if (is_blank_or_end(peek()) || kNotFirstInPlain.has(peek()) || is_at_indicator('-')) return std::nullopt;
  const std::size_t begin = place_.pos;
  std::size_t end = begin;
  while (peek() != '#') {
    const std::size_t run = place_.pos;
    place_.pos = skip_plain_run(text_, run, in_flow);
    if (place_.pos == run) break;
    end = place_.pos;
    skip_spaces();
    if (place_.pos == end) break;
  }
  place_.pos = end;
  return text_.substr(begin, end - begin);
}

// Scans from a backslash to after its escape sequence.
bool YamlScanner::scan_escape(std::string* out) {
  const char kind = peek(1);
  place_.pos += 2;
  char32_t value = 0;
  if (const std::size_t escape = kEscapes.find(kind); escape != std::string_view::npos) {
    value = static_cast<unsigned char>(kEscaped[escape]);
  } else {
    const std::size_t width = kind == 'x' ? 2 : kind == 'u' ? 4 : 8;
    const auto number = width < 8 || kind == 'U' ? text::hex_number(text_, place_.pos, width) : std::nullopt;
    if (!number || *number > 0x10FFFF || (*number >= 0xD800 && *number < 0xE000)) return false;
    place_.pos += width;
    value = *number;
  }
  if (out != nullptr) text::append_char(*out, value);
  return true;
}

bool YamlScanner::scan_quoted(std::string* out) {
  const char quote = peek();
  advance();
  std::size_t run = place_.pos;  // the start of text that stands for itself
  while (!is_at_end() && peek() != '\n') {
    const bool is_escape = peek() == '\\' && quote == '"';
    if (!is_escape && peek() != quote) {
      advance();
      continue;
    }
    if (out != nullptr) out->append(text_.substr(run, place_.pos - run));
    if (is_escape) {
      if (!scan_escape(out)) return false;
      run = place_.pos;
    } else {
      advance();
      if (quote == '"' || peek() != quote) return true;
      run = place_.pos;  // two single quotes stand for one; the second one begins the next run
      advance();
    }
  }
  return false;
}

bool YamlScanner::scan_block(std::size_t indent, std::string* out) {
  const bool is_literal = peek() == '|';
  advance();
  const bool strips = peek() == '-';
  if (strips) advance();
  if (!is_blank_or_end(peek())) return false;
  skip_spaces();
  if (peek() == '#') skip_line();
  if (!is_at_end() && peek() != '\n') return false;
  std::size_t content = 0;  // the column of the text; 0 until its first line
  std::size_t breaks = 0;   // newlines since the last line of text
  while (peek() == '\n') {
    const std::size_t begin = place_.pos + 1;
    const std::size_t end = line_end(begin);
    const std::size_t width = std::min(text_.find_first_not_of(' ', begin), end) - begin;
    if (begin + width == end) {
      if (width > content) return false;  // these spaces would belong to the text, or would set its column
      ++breaks;
    } else {
      if (width <= indent || width < content) break;
      const bool folds = !is_literal && content > 0;
      if (folds && width > content) return false;  // a line that is indented further is not folded
      if (content == 0) content = width;
      if (out != nullptr) {
        // Folding: one newline becomes a space, and n + 1 newlines become n.
        out->append(folds ? breaks - 1 : breaks, '\n');
        if (folds && breaks == 1) out->push_back(' ');
        out->append(text_.substr(begin + content, end - begin - content));
      }
      breaks = 1;
    }
    place_.pos = end;
  }
  const bool ends_with_body = is_at_end() && breaks == 1;  // the body has no newline at its end
  if (out != nullptr && content > 0 && !strips && !ends_with_body) out->push_back('\n');
  return true;
}

}  // namespace markdown::frontmatter
