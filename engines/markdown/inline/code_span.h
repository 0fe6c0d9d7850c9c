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

// A run of backticks, the shortest content behind it, and a run of exactly as many. DOTALL.
inline constexpr std::string_view kCodeSpan = R"((?<![\\`])(`+)(?!`)(.+?)(?<!`)\1(?!`))";

struct CodeSpan {
  text::Span whole;
  text::Span content;
};

// Equal: the look-arounds leave only maximal runs of backticks to open and to close, and the character between two
// maximal runs makes the content non-empty; so an opening run, one that no backslash precedes, pairs with the next run
// of its length, and a run that finds no partner is passed over whole.
// Linear: what lies before a found closer is never looked at again. The first search that finds none makes a table, in
// one pass over the rest, of each run's next run of the same length; from then on every search is one look-up.
class CodeSpans {
 public:
  explicit CodeSpans(std::string_view text) noexcept : text_(text) {}

  std::optional<CodeSpan> next();

 private:
  struct Run {
    std::size_t begin;
    std::size_t length;
    std::size_t next_alike;  // index of the next run of this length, 0 when there is none
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
