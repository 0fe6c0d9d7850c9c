// The plain text of inline Markdown: what a reader sees of it, on one line. "See [the *guide*](g.md)" becomes "See the
// guide".
//
// Tested by tests/test_inline.py.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace markdown::inlines {

// The number of characters that are read of inline Markdown.
inline constexpr std::size_t kMaxInlineLength = 4000;

// Converts one text after another, in buffers that are reused. A view that is returned points into a buffer or into the
// text, and is valid until the next call.
class PlainText {
 public:
  // The plain text. Code spans keep their content, all other markup is removed, and white space is collapsed. At most
  // kMaxInlineLength characters are read.
  std::string_view of(std::string_view markdown);

  // The text of a stretch between two code spans, without its markup. White space is kept. A backtick is an ordinary
  // character here.
  std::string_view unmarked(std::string_view text);

 private:
  std::string_view unmarked(std::string_view text, std::uint8_t markers);
  std::string_view collapsed(std::string_view text);

  std::string parts_;
  std::string substituted_;
  std::string spare_;
  std::string result_;
};

}  // namespace markdown::inlines
