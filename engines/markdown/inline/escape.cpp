#include "inline/escape.h"

namespace markdown::inlines {
namespace {

constexpr bool is_escapable(char c) noexcept {
  return (c >= '!' && c <= '/') || (c >= ':' && c <= '@') || (c >= '[' && c <= '`') || (c >= '{' && c <= '~') ||
         c == '\n';
}

}  // namespace

std::optional<Match> EscapeSearch::next() noexcept {
  for (std::size_t at = text_.find('\\', pos_); at != std::string_view::npos; at = text_.find('\\', at + 1)) {
    if (at + 1 >= text_.size() || !is_escapable(text_[at + 1])) continue;
    pos_ = at + 2;
    return Match{{at, pos_}, {at + 1, pos_}};
  }
  return std::nullopt;
}

}  // namespace markdown::inlines
