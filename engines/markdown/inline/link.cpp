#include "inline/link.h"

namespace markdown::inlines {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

bool is_at(std::string_view text, std::size_t pos, char byte) noexcept {
  return pos < text.size() && text[pos] == byte;
}

// Where an image whose "[" stands at `bracket` begins: at the "!" before it, unless a backslash escapes that.
bool opens_image(std::string_view text, std::size_t bracket) noexcept {
  return bracket > 0 && text[bracket - 1] == '!' && !(bracket > 1 && text[bracket - 2] == '\\');
}

bool opens_link(std::string_view text, std::size_t bracket) noexcept {
  return bracket == 0 || (text[bracket - 1] != '\\' && text[bracket - 1] != '!');
}

std::optional<std::size_t> match_label(std::string_view text, std::size_t pos) noexcept {
  if (!is_at(text, pos, '[')) return std::nullopt;
  const std::size_t close = text.find(']', pos + 1);
  return close == kNone ? std::nullopt : std::optional(close + 1);
}

}  // namespace

std::optional<std::size_t> match_destination(std::string_view text, std::size_t pos) noexcept {
  if (!is_at(text, pos, '(')) return std::nullopt;
  int depth = 1;
  for (++pos; pos < text.size(); ++pos) {
    if (text[pos] == '(' && ++depth > 2) return std::nullopt;
    if (text[pos] == ')' && --depth == 0) return pos + 1;
  }
  return std::nullopt;
}

std::optional<Match> ImageSearch::next() noexcept {
  for (std::size_t open = text_.find('[', pos_); open != kNone; open = text_.find('[', pos_)) {
    if (!opens_image(text_, open)) {
      pos_ = open + 1;
      continue;
    }
    const std::size_t close = text_.find(']', open + 1);
    if (close == kNone) break;
    pos_ = close + 1;
    if (const auto end = match_destination(text_, close + 1)) {
      pos_ = *end;
      return Match{{open - 1, *end}, {open + 1, close}};
    }
  }
  return std::nullopt;
}

std::optional<Match> LinkSearch::next() noexcept {
  for (std::size_t open = text_.find('[', pos_); open != kNone; open = text_.find('[', pos_)) {
    if (!opens_link(text_, open)) {
      pos_ = open + 1;
      continue;
    }
    const std::size_t close = text_.find(']', open + 1);
    if (close == kNone) break;
    pos_ = close + 1;
    auto end = match_destination(text_, close + 1);
    if (!end) end = match_label(text_, close + 1);
    if (end) {
      pos_ = *end;
      return Match{{open, *end}, {open + 1, close}};
    }
  }
  return std::nullopt;
}

}  // namespace markdown::inlines
