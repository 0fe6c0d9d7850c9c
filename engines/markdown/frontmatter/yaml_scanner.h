// Scalars, comments and line breaks of a YAML text, read as PyYAML's scanner reads them.
//
// The text holds only what `is_scannable` allows. Offsets are bytes; a column is the bytes since the line's start. That
// equals PyYAML's column, which counts characters, wherever a block begins, because only spaces and '-' stand before
// it. Every scan is one forward pass. Tested by tests/test_frontmatter.py and tests/sweep_yaml.py.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace markdown::frontmatter {

// Whether the text holds none of the following: characters that YAML forbids; line breaks other than "\n"; tabs, byte
// order marks and surrogates; a document marker ("---" or "...") at the start of a line.
bool is_scannable(std::string_view text) noexcept;

class YamlScanner {
 public:
  explicit YamlScanner(std::string_view text) noexcept : text_(text) {}

  // Where the scanner stands.
  struct Place {
    std::size_t pos = 0;
    std::size_t line_begin = 0;
  };
  Place place() const noexcept { return place_; }
  void return_to(Place place) noexcept { place_ = place; }
  std::size_t column() const noexcept { return place_.pos - place_.line_begin; }

  // The byte `ahead` of the scanner; NUL beyond the end.
  char peek(std::size_t ahead = 0) const noexcept {
    return place_.pos + ahead < text_.size() ? text_[place_.pos + ahead] : '\0';
  }
  void advance() noexcept { ++place_.pos; }
  void skip_spaces() noexcept {
    while (peek() == ' ') advance();
  }
  bool is_at_end() const noexcept { return place_.pos >= text_.size(); }

  // Whether the character at the scanner is the indicator `c` of block context, with a space, a line break or the end
  // after it.
  bool is_at_indicator(char c) const noexcept;

  // Over spaces, comments and line breaks; whether there were line breaks.
  bool skip_to_token() noexcept;

  // A plain scalar, as far as it stands on the line, without the white space around it; nothing where none can start.
  std::optional<std::string_view> scan_plain(bool in_flow) noexcept;

  // From one quote to after the other, on one line; appends the value unless `out` is null. False: not closed on the
  // line, or an unusual escape.
  bool scan_quoted(std::string* out);

  // From '|' or '>' to the line break before the line that ends the scalar, or to the end of the text; appends the
  // value unless `out` is null. `indent` is the column of the enclosing block. False: an unusual header, or lines
  // whose indentation has a meaning of its own.
  bool scan_block(std::size_t indent, std::string* out);

 private:
  bool scan_escape(std::string* out);
  void skip_line() noexcept { place_.pos = line_end(place_.pos); }
  std::size_t line_end(std::size_t pos) const noexcept;

  std::string_view text_;
  Place place_;
};

}  // namespace markdown::frontmatter
