// Scalars, comments and line breaks of a YAML text, read as PyYAML's scanner reads them.
//
// The text holds only what `is_scannable` allows. Offsets are bytes; a column is the bytes since the line's start,
// which are the characters of PyYAML's columns wherever a block begins, since only spaces and '-' stand before it.
// Every scan is one forward pass. Tested by tests/test_frontmatter.py and tests/sweep_yaml.py.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace markdown::frontmatter {

// Whether the text holds none of the following: characters that YAML forbids; line breaks other than "\n"; tabs, byte
// order marks and surrogates; a document marker ("---" or "...") at the start of a line.
bool is_scannable(std::string_view text) noexcept;

// A plain scalar as it stands in the text, without the white space around it; `is_folded`: it spans lines.
struct PlainScalar {
  std::string_view text;
  bool is_folded = false;
};

// The value of a plain scalar that spans lines: a line break is a space, n + 1 of them are n.
std::string folded_text(std::string_view plain);

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
  bool is_at_end() const noexcept { return place_.pos >= text_.size(); }

  // Whether the character at the scanner is the indicator `c` of block context, with a space, a line break or the end
  // after it.
  bool is_at_indicator(char c) const noexcept;
  bool can_start_plain(bool in_flow) const noexcept;

  // Over spaces, comments and line breaks; whether there were line breaks.
  bool skip_to_token() noexcept;

  // From its first character to behind its last one. Outside flow collections, lines before `least_column` end it.
  PlainScalar scan_plain(bool in_flow, std::size_t least_column) noexcept;

  // From quote to behind the closing quote; appends the value unless `out` is null. False: not closed, an escape that
  // YAML does not know, or one of a surrogate.
  bool scan_quoted(std::string* out);

  // From '|' or '>' to the line break before the line that ends the scalar, or to the end of the text; appends the
  // value unless `out` is null. `indent` is the column of the block around the scalar. False: a malformed header.
  bool scan_block(std::size_t indent, std::string* out);

 private:
  bool scan_escape(std::string* out);
  std::size_t skip_breaks() noexcept;
  std::size_t skip_indented_breaks(std::size_t indent) noexcept;
  void start_line(std::size_t begin) noexcept { place_ = {begin, begin}; }

  std::string_view text_;
  Place place_;
};

}  // namespace markdown::frontmatter
