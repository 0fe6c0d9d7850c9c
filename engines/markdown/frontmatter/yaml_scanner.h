// Scalars, comments and line breaks of a YAML text, read as PyYAML's scanner reads them.
//
// The text must satisfy `is_scannable`. Offsets are bytes, and a column is the number of bytes since the start of the
// line. PyYAML counts characters instead. Both columns are equal wherever a block begins, because only spaces and '-'
// stand before it. Every scan is one forward pass. Tested by tests/test_frontmatter.py and tests/sweep_yaml.py.
#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace markdown::frontmatter {

// Whether the text is free of what the scanner cannot read: characters that YAML forbids, line breaks other than "\n",
// tabs, byte order marks, surrogates, and document markers ("---" or "...") at the start of a line.
bool is_scannable(std::string_view text) noexcept;

class YamlScanner {
 public:
  explicit YamlScanner(std::string_view text) noexcept : text_(text) {}

  struct Place {
    std::size_t pos = 0;
    std::size_t line_begin = 0;
  };
  Place place() const noexcept { return place_; }
  void return_to(Place place) noexcept { place_ = place; }
  std::size_t column() const noexcept { return place_.pos - place_.line_begin; }

  // The byte that is `ahead` bytes after the scanner's place; NUL after the end of the text.
  char peek(std::size_t ahead = 0) const noexcept {
    return place_.pos + ahead < text_.size() ? text_[place_.pos + ahead] : '\0';
  }
  void advance() noexcept { ++place_.pos; }
  void skip_spaces() noexcept {
    while (peek() == ' ') advance();
  }
  bool is_at_end() const noexcept { return place_.pos >= text_.size(); }

  // Whether the scanner is at the block indicator `c`: that character, followed by a space, a newline or the end.
  bool is_at_indicator(char c) const noexcept;

  // Skips spaces, comments and newlines. Returns whether there were newlines.
  bool skip_to_token() noexcept;

  // Scans the part of a plain scalar that is on this line, without white space at its ends. Returns nothing where no
  // plain scalar can start.
  std::optional<std::string_view> scan_plain(bool in_flow) noexcept;

  // Scans from an opening quote to after the closing quote, and appends the value unless `out` is null. Returns false
  // when the line ends before the closing quote, and for an unusual escape.
  bool scan_quoted(std::string* out);

  // Scans a block scalar from its '|' or '>' to the newline before the line that ends it, or to the end of the text.
  // Appends the value unless `out` is null. `indent` is the column of the enclosing block. Returns false for an unusual
  // header, and for lines whose indentation has a meaning of its own.
  bool scan_block(std::size_t indent, std::string* out);

 private:
  bool scan_escape(std::string* out);
  void skip_line() noexcept { place_.pos = line_end(place_.pos); }
  std::size_t line_end(std::size_t pos) const noexcept { return std::min(text_.find('\n', pos), text_.size()); }

  std::string_view text_;
  Place place_;
};

}  // namespace markdown::frontmatter
