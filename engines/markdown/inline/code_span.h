// Code spans: the stretches of inline Markdown that are shown as they are written.
//
// Offsets are bytes. Tested by tests/test_inline.py.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "text/span.h"

namespace markdown::inlines {

// A run of backticks, the shortest content after it, and a run of equally many backticks. DOTALL.
inline constexpr std::string_view kCodeSpan = R"((?<![\\`])(`+)(?!`)(.+?)(?<!`)\1(?!`))";

struct CodeSpan {
  text::Span whole;
  text::Span content;
};

// In "``a`b``", the run of two at the start pairs with the run of two at the end, and "a`b" is the content.
// Equal: because of the look-arounds, only a maximal run of backticks opens or closes a span, and a run after a
// backslash does not open one. Two maximal runs have a character between them, so the content is never empty. An
// opening run therefore pairs with the next run of its length; a run without a partner is text as a whole.
// Linear: the text before a found closer is never read again. The first search that finds no closer builds a table of
// the rest in one pass: for each run, the next run of equal length. Every later search is one look into that table.
class CodeSpans {
 public:
  explicit CodeSpans(std::string_view text) noexcept : text_(text) {}

  std::optional<CodeSpan> next();

 private:
  struct Run {
    std::size_t begin;
    std::size_t length;
    std::size_t next_equal;  // index of the next run of this length, 0 when there is none
  };

  Run run_from(std::size_t pos) const noexcept;
  std::optional<CodeSpan> close(const Run& opener, const Run& closer) noexcept;
  void tabulate(std::size_t begin);
  std::optional<CodeSpan> next_tabled() noexcept;

  std::string_view text_;
  std::size_t pos_ = 0;
  bool tabled_ = false;
  std::vector<Run> runs_;
  std::size_t next_run_ = 0;
};

}  // namespace markdown::inlines
