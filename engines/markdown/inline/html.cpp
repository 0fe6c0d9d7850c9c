#include "inline/html.h"

#include <array>

#include "text/space.h"

namespace markdown::inlines {
namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::array<std::string_view, 4> kSchemes = {"http:", "https:", "ftp:", "mailto:"};

constexpr bool is_letter(char c) noexcept { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
constexpr bool is_name(char c) noexcept { return is_letter(c) || (c >= '0' && c <= '9') || c == '-'; }
constexpr bool is_angle(char c) noexcept { return c == '<' || c == '>'; }

// The offset after the scheme and its colon at `pos`; `pos` itself when no scheme stands there.
std::size_t skip_scheme(std::string_view text, std::size_t pos) noexcept {
  for (const std::string_view scheme : kSchemes) {
    if (text.substr(pos, scheme.size()) == scheme) return pos + scheme.size();
  }
  return pos;
}

// The offset after the tag whose "<" stands at `pos`; nothing when it is no tag.
std::optional<std::size_t> match_tag(std::string_view text, std::size_t pos) noexcept {
  ++pos;
  if (pos < text.size() && text[pos] == '/') ++pos;
  if (pos >= text.size() || !is_letter(text[pos])) return std::nullopt;
  while (pos < text.size() && is_name(text[pos])) ++pos;
  if (text::space_width(text, pos) != 0) {
    while (pos < text.size() && !is_angle(text[pos])) ++pos;
  } else if (pos < text.size() && text[pos] == '/') {
    ++pos;
  }
  return pos < text.size() && text[pos] == '>' ? std::optional(pos + 1) : std::nullopt;
}

}  // namespace

std::optional<Match> AutolinkSearch::next() noexcept {
  for (std::size_t open = text_.find('<', pos_); open != kNone; open = text_.find('<', pos_)) {
    pos_ = open + 1;
    std::size_t end = skip_scheme(text_, open + 1);
    if (end == open + 1) continue;
    while (end < text_.size() && !is_angle(text_[end]) && text::space_width(text_, end) == 0) ++end;
    if (end < text_.size() && text_[end] == '>') {
      pos_ = end + 1;
      return Match{{open, end + 1}, {open + 1, end}};
    }
  }
  return std::nullopt;
}

std::optional<Match> HtmlSearch::next() noexcept {
  for (std::size_t open = text_.find('<', pos_); open != kNone; open = text_.find('<', pos_)) {
    pos_ = open + 1;
    std::optional<std::size_t> end;
    if (text_.substr(open, 4) == "<!--") {
      const std::size_t dashes = no_comment_end_ ? kNone : text_.find("-->", open + 4);
      no_comment_end_ = dashes == kNone;
      if (dashes != kNone) end = dashes + 3;
    } else {
      end = match_tag(text_, open);
    }
    if (end) {
      pos_ = *end;
      return Match{{open, *end}, {*end, *end}};
    }
  }
  return std::nullopt;
}

}  // namespace markdown::inlines
