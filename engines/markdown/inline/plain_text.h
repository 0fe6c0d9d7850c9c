// The plain text of inline Markdown: what a reader sees of it, on one line.
//
// Tested by tests/test_inline.py.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace markdown::inlines {

// Only so many leading characters of inline Markdown are read.
inline constexpr std::size_t kMaxInlineLength = 4000;

// Works through one text after another in buffers of its own. The views that it gives point into these or into the text
// it was given, and hold until its next call.
class PlainText {
 public:
  // Code spans keep their content, all other markup goes, white space is collapsed. Reads kMaxInlineLength characters.
  std::string_view of(std::string_view markdown);

  // The text without its markup, white space untouched and code spans not known: the stretch between two code spans.
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
