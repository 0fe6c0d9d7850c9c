#include "frontmatter/yaml_scanner.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "text/byte_set.h"
#include "text/digits.h"
#include "text/utf8.h"

namespace markdown::frontmatter {
namespace {

constexpr std::string_view kFlowIndicators = ",[]{}";
constexpr text::ByteSet kNotFirstInPlain("-?:,[]{}#&*!|>'\"%@`");

// What a byte may mean: to the check of characters, and to the scan of a plain scalar.
enum ByteClass : std::uint8_t {
  kForbidden = 1,
  kWideLead = 2,  // begins a character that may be forbidden
  kBreak = 4,
  kPlainEnd = 8,      // may end a run of a plain scalar
  kFlowPlainEnd = 16  // does so in a flow collection
};
constexpr auto kByteClasses = [] {
  std::array<std::uint8_t, 256> table{};
  for (std::size_t c = 0; c < 0x20; ++c) table[c] = kForbidden;
  table[0x7F] = kForbidden;
  table['\n'] = kBreak | kPlainEnd;
  table[' '] = table[':'] = kPlainEnd;
  for (const char c : kFlowIndicators) table[static_cast<unsigned char>(c)] = kFlowPlainEnd;
  table['?'] = kFlowPlainEnd;
  for (const std::size_t lead : {0xC2U, 0xE2U, 0xEDU, 0xEFU}) table[lead] = kWideLead;
  return table;
}();
constexpr std::uint8_t byte_class(char c) noexcept { return kByteClasses[static_cast<unsigned char>(c)]; }

// C1 controls (U+0085 among them, a line break), U+2028 and U+2029 (line breaks), surrogates, U+FEFF (no part of a
// column), U+FFFE and U+FFFF.
constexpr bool is_forbidden_wide(char32_t c) noexcept {
  return c < 0xA0 || c == 0x2028 || c == 0x2029 || (c >= 0xD800 && c < 0xE000) || c == 0xFEFF || c == 0xFFFE ||
         c == 0xFFFF;
}

constexpr bool is_blank_or_end(char c) noexcept { return c == ' ' || c == '\n' || c == '\0'; }

bool starts_with_marker(std::string_view line) noexcept {
  if (line.empty() || (line[0] != '-' && line[0] != '.')) return false;  // nearly every line
  if (!line.starts_with("---") && !line.starts_with("...")) return false;
  return line.size() == 3 || is_blank_or_end(line[3]);
}

void append_fold(std::string& out, std::size_t breaks) {
  if (breaks == 1) {
    out += ' ';
  } else {
    out.append(breaks - 1, '\n');
  }
}

// Over what a plain scalar may hold without a white space.
std::size_t skip_plain_run(std::string_view text, std::size_t pos, bool in_flow) noexcept {
  const std::uint8_t ends = in_flow ? kPlainEnd | kFlowPlainEnd : kPlainEnd;
  for (; pos < text.size(); ++pos) {
    if ((byte_class(text[pos]) & ends) == 0) continue;
    if (text[pos] != ':') break;
    const char next = pos + 1 < text.size() ? text[pos + 1] : '\0';
    if (is_blank_or_end(next) || (in_flow && kFlowIndicators.find(next) != std::string_view::npos)) break;
  }
  return pos;
}

// What a backslash makes of the character behind it, but for hexadecimal escapes and line breaks.
constexpr std::string_view kEscapes = "0abtnvfre \"\\/N_LP";
constexpr std::array<char32_t, kEscapes.size()> kEscaped{0x00, 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C,   0x0D,  0x1B,
                                                         ' ',  '"',  '\\', '/',  0x85, 0xA0, 0x2028, 0x2029};

}  // namespace

bool is_scannable(std::string_view text) noexcept {
  if (starts_with_marker(text)) return false;
  for (std::size_t pos = 0; pos < text.size(); ++pos) {
    const std::uint8_t what = byte_class(text[pos]);
    if ((what & (kForbidden | kWideLead | kBreak)) == 0) [[likely]]
      continue;
    if ((what & kForbidden) != 0) return false;
    if ((what & kBreak) != 0 && starts_with_marker(text.substr(pos + 1))) return false;
    if ((what & kWideLead) != 0 && is_forbidden_wide(text::decode_at(text, pos))) return false;
  }
  return true;
}

std::string folded_text(std::string_view plain) {
  std::string out;
  for (std::size_t pos = 0;;) {
    const std::size_t line_break = plain.find('\n', pos);
    if (line_break == std::string_view::npos) return out.append(plain.substr(pos));
    const std::string_view line = plain.substr(pos, line_break - pos);
    out.append(line.substr(0, line.find_last_not_of(' ') + 1));
    pos = plain.find_first_not_of(" \n", line_break);
    const auto white = plain.substr(line_break, pos - line_break);
    append_fold(out, static_cast<std::size_t>(std::count(white.begin(), white.end(), '\n')));
  }
}

bool YamlScanner::is_at_indicator(char c) const noexcept { return peek() == c && is_blank_or_end(peek(1)); }

bool YamlScanner::can_start_plain(bool in_flow) const noexcept {
  const char first = peek();
  if (is_blank_or_end(first)) return false;
  if (!kNotFirstInPlain.has(first)) return true;
  if (is_blank_or_end(peek(1))) return false;
  return first == '-' || (!in_flow && (first == '?' || first == ':'));
}

bool YamlScanner::skip_to_token() noexcept {
  for (bool has_breaks = false;; has_breaks = true) {
    while (peek() == ' ') advance();
    if (peek() == '#') place_.pos = std::min(text_.find('\n', place_.pos), text_.size());
    if (peek() != '\n') return has_breaks;
    start_line(place_.pos + 1);
  }
}

PlainScalar YamlScanner::scan_plain(bool in_flow, std::size_t least_column) noexcept {
  const std::size_t begin = place_.pos;
  Place end = place_;
  bool is_folded = false;
  bool has_break = false;
  while (peek() != '#') {
    const std::size_t run = place_.pos;
    place_.pos = skip_plain_run(text_, run, in_flow);
    if (place_.pos == run) break;
    end = place_;
    is_folded = is_folded || has_break;

    has_break = false;
    for (; peek() == ' ' || peek() == '\n'; advance()) {
      if (peek() != '\n') continue;
      place_.line_begin = place_.pos + 1;
      has_break = true;
    }
    if (place_.pos == end.pos || (!in_flow && column() < least_column)) break;
  }
  place_ = end;
  return {text_.substr(begin, end.pos - begin), is_folded};
}

// Over spaces and line breaks, to the first other character; the number of line breaks.
std::size_t YamlScanner::skip_breaks() noexcept {
  std::size_t breaks = 0;
  for (; peek() == ' ' || peek() == '\n'; advance()) {
    if (peek() != '\n') continue;
    place_.line_begin = place_.pos + 1;
    ++breaks;
  }
  return breaks;
}

// From a backslash to behind its escape sequence.
bool YamlScanner::scan_escape(std::string* out) {
  advance();
  const char kind = peek();
  if (kind == '\n') {
    const std::size_t breaks = skip_breaks();
    if (out != nullptr) out->append(breaks - 1, '\n');
    return true;
  }
  advance();
  char32_t value = 0;
  if (const std::size_t escape = kEscapes.find(kind); escape != std::string_view::npos) {
    value = kEscaped[escape];
  } else {
    const int width = kind == 'x' ? 2 : kind == 'u' ? 4 : kind == 'U' ? 8 : 0;
    if (width == 0) return false;
    for (int i = 0; i < width; ++i, advance()) {
      const int digit = text::hex_value(peek());
      if (digit < 0) return false;
      value = value * 16 + static_cast<char32_t>(digit);
    }
    if (value > 0x10FFFF || (value >= 0xD800 && value < 0xE000)) return false;
  }
  if (out != nullptr) text::append_char(*out, value);
  return true;
}

bool YamlScanner::scan_quoted(std::string* out) {
  const char quote = peek();
  advance();
  // The part of the value that stands in the text as it is.
  std::size_t run = place_.pos;
  const auto flush = [&](std::size_t end) {
    if (out != nullptr) out->append(text_.substr(run, end - run));
  };
  while (!is_at_end()) {
    const char c = peek();
    if (c == quote) {
      flush(place_.pos);
      advance();
      if (quote == '"' || peek() != quote) return true;
      run = place_.pos;  // of two single quotes the second one is part of the value
      advance();
    } else if (c == '\\' && quote == '"') {
      flush(place_.pos);
      if (!scan_escape(out)) return false;
      run = place_.pos;
    } else if (c == '\n') {
      // Spaces at the end of the line go, but not those of an escape.
      std::size_t end = place_.pos;
      while (end > run && text_[end - 1] == ' ') --end;
      flush(end);
      const std::size_t breaks = skip_breaks();
      if (out != nullptr) append_fold(*out, breaks);
      run = place_.pos;
    } else {
      advance();
    }
  }
  return false;
}

// Over line breaks, and over spaces up to the column `indent`; the number of line breaks.
std::size_t YamlScanner::skip_indented_breaks(std::size_t indent) noexcept {
  for (std::size_t breaks = 0;; ++breaks) {
    while (column() < indent && peek() == ' ') advance();
    if (peek() != '\n') return breaks;
    start_line(place_.pos + 1);
  }
}

bool YamlScanner::scan_block(std::size_t indent, std::string* out) {
  const bool is_literal = peek() == '|';
  advance();
  char chomping = '\0';
  std::size_t increment = 0;
  for (int i = 0; i < 2; ++i) {
    if (chomping == '\0' && (peek() == '+' || peek() == '-')) {
      chomping = peek();
      advance();
    } else if (increment == 0 && peek() >= '1' && peek() <= '9') {
      increment = static_cast<std::size_t>(peek() - '0');
      advance();
    }
  }
  if (!is_blank_or_end(peek())) return false;
  while (peek() == ' ') advance();
  if (peek() == '#') place_.pos = std::min(text_.find('\n', place_.pos), text_.size());
  if (is_at_end()) return true;
  if (peek() != '\n') return false;
  start_line(place_.pos + 1);

  std::size_t content = indent + 1;
  std::size_t breaks = 0;
  if (increment > 0) {
    content += increment - 1;
    breaks = skip_indented_breaks(content);
  } else {
    for (; peek() == ' ' || peek() == '\n'; advance()) {
      if (peek() == '\n') {
        place_.line_begin = place_.pos + 1;
        ++breaks;
      } else {
        content = std::max(content, column() + 1);
      }
    }
  }

  const auto append = [out](std::size_t count, char c) {
    if (out != nullptr) out->append(count, c);
  };
  std::size_t last_break = 0;
  while (column() == content && !is_at_end()) {
    append(breaks, '\n');
    // Lines that begin with a space keep the breaks on both their sides.
    const bool is_indented = peek() == ' ';
    const std::size_t end = std::min(text_.find('\n', place_.pos), text_.size());
    if (out != nullptr) out->append(text_.substr(place_.pos, end - place_.pos));
    place_.pos = end;
    last_break = is_at_end() ? 0 : 1;
    if (last_break > 0) start_line(end + 1);
    breaks = skip_indented_breaks(content);
    if (column() != content || is_at_end()) break;
    if (is_literal || is_indented || peek() == ' ') {
      append(1, '\n');
    } else if (breaks == 0) {
      append(1, ' ');
    }
  }
  if (chomping != '-') append(last_break, '\n');
  if (chomping == '+') append(breaks, '\n');
  if (!is_at_end()) place_.pos = place_.line_begin - 1;
  return true;
}

}  // namespace markdown::frontmatter
