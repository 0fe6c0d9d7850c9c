#include "inline/code_span.h"

#include <algorithm>

namespace markdown::inlines {
namespace {

bool opens(std::string_view text, std::size_t begin) noexcept { return begin == 0 || text[begin - 1] != '\\'; }

}  // namespace

// The first run of backticks at or after `pos`; a run of length 0 when there is none. `pos` must not be inside a run.
CodeSpans::Run CodeSpans::run_from(std::size_t pos) const noexcept {
  const std::size_t begin = text_.find('`', pos);
  if (begin == std::string_view::npos) return {text_.size(), 0, 0};
  std::size_t end = begin + 1;
  while (end < text_.size() && text_[end] == '`') ++end;
  return {begin, end - begin, 0};
}

std::optional<CodeSpan> CodeSpans::close(const Run& opener, const Run& closer) noexcept {
  pos_ = closer.begin + closer.length;
  return CodeSpan{{opener.begin, pos_}, {opener.begin + opener.length, closer.begin}};
}

std::optional<CodeSpan> CodeSpans::next() {
  while (!tabled_) {
    const Run opener = run_from(pos_);
    if (opener.length == 0) return std::nullopt;
    pos_ = opener.begin + opener.length;
    if (!opens(text_, opener.begin)) continue;
    Run closer = run_from(pos_);
    while (closer.length != 0 && closer.length != opener.length) closer = run_from(closer.begin + closer.length);
    if (closer.length != 0) return close(opener, closer);
    tabulate(pos_);
  }
  return next_tabled();
}

void CodeSpans::tabulate(std::size_t begin) {
  tabled_ = true;
  std::size_t longest = 0;
  for (Run run = run_from(begin); run.length != 0; run = run_from(run.begin + run.length)) {
    runs_.push_back(run);
    longest = std::max(longest, run.length);
  }
  std::vector<std::size_t> nearest(longest + 1, 0);  // by length: index of the nearest run to the right, 0 for none
  for (std::size_t i = runs_.size(); i-- > 0;) {
    runs_[i].next_equal = nearest[runs_[i].length];
    nearest[runs_[i].length] = i;
  }
}

std::optional<CodeSpan> CodeSpans::next_tabled() noexcept {
  while (next_run_ < runs_.size()) {
    const Run& opener = runs_[next_run_++];
    if (opener.next_equal == 0 || !opens(text_, opener.begin)) continue;
    next_run_ = opener.next_equal + 1;
    return close(opener, runs_[opener.next_equal]);
  }
  return std::nullopt;
}

}  // namespace markdown::inlines
