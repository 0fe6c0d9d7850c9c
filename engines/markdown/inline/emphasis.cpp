#include "inline/emphasis.h"

#include "text/space.h"
#include "text/word.h"

namespace markdown::inlines {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

bool is_escaped(std::string_view text, std::size_t pos) noexcept { return pos > 0 && text[pos - 1] == '\\'; }

}  // namespace

// The first run of delimiters at or after `pos`; an empty span when there is none. `pos` must not be inside a run.
template <char kDelimiter>
text::Span EmphasisSearch<kDelimiter>::run_from(std::size_t pos) const noexcept {
  const std::size_t begin = text_.find(kDelimiter, pos);
  if (begin == kNone) return {text_.size(), text_.size()};
  std::size_t end = begin + 1;
  while (end < text_.size() && text_[end] == kDelimiter) ++end;
  return {begin, end};
}

template <char kDelimiter>
bool EmphasisSearch<kDelimiter>::opens(text::Span run) const noexcept {
  if (is_escaped(text_, run.begin)) return false;
  if (kDelimiter == '_' && text::is_word_before(text_, run.begin)) return false;
  return run.end < text_.size() && text::space_width(text_, run.end) == 0;
}

template <char kDelimiter>
bool EmphasisSearch<kDelimiter>::closes(text::Span run) const noexcept {
  if (is_escaped(text_, run.begin) || text::is_space_before(text_, run.begin)) return false;
  return kDelimiter != '_' || !text::is_word_at(text_, run.end);
}

template <char kDelimiter>
std::optional<Match> EmphasisSearch<kDelimiter>::next() noexcept {
  for (text::Span open = run_from(pos_); open.begin < open.end; open = run_from(open.end)) {
    const std::size_t length = open.end - open.begin;
    if (length > 3 || no_closer_[length] || !opens(open)) continue;
    for (text::Span run = run_from(open.end); run.begin < run.end; run = run_from(run.end)) {
      if (run.end - run.begin != length || !closes(run)) continue;
      pos_ = run.end;
      return Match{{open.begin, run.end}, {open.end, run.begin}};
    }
    no_closer_[length] = true;
  }
  return std::nullopt;
}

template class EmphasisSearch<'*'>;
template class EmphasisSearch<'_'>;

std::optional<Match> StrikethroughSearch::next() noexcept {
  for (std::size_t open = text_.find("~~", pos_); open != kNone; open = text_.find("~~", open + 1)) {
    if (is_escaped(text_, open) || open + 2 >= text_.size() || text::space_width(text_, open + 2) != 0) continue;
    std::size_t close = text_.find("~~", open + 3);
    while (close != kNone && text::is_space_before(text_, close)) close = text_.find("~~", close + 1);
    if (close == kNone) break;
    pos_ = close + 2;
    return Match{{open, pos_}, {open + 2, close}};
  }
  return std::nullopt;
}

}  // namespace markdown::inlines
