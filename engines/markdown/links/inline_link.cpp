#include "links/inline_link.h"

#include "text/byte_set.h"
#include "text/space.h"

namespace markdown::links {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

constexpr text::ByteSet kBrackets("[]");
constexpr text::ByteSet kTextStops("[]\\");
constexpr text::ByteSet kAngleStops("<>\n");
constexpr text::ByteSet kParentheses("()");
// Where a bare destination may end, outside its parentheses and inside.
constexpr bool may_be_space(char byte) noexcept { return text::space_class(byte) != text::SpaceClass::kNone; }
constexpr text::ByteSet kBareStops("()<>", may_be_space);
constexpr text::ByteSet kInnerStops("()", may_be_space);

}  // namespace

std::optional<InlineLink> InlineLinkSearch::next() noexcept {
  for (std::size_t open = text_.find('[', pos_); open != kNone; open = text_.find('[', pos_)) {
    pos_ = open + 1;
    if (open > 0 && (text_[open - 1] == '\\' || text_[open - 1] == '!')) continue;
    const TextEnd end = match_text(open);
    if (end.closed) {
      if (const auto link = match_link(open, end.at)) {
        pos_ = link->whole.end;
        return link;
      }
    }
    if (open >= failed_until_) failed_until_ = end.at;
  }
  return std::nullopt;
}

InlineLinkSearch::TextEnd InlineLinkSearch::match_text(std::size_t open) const noexcept {
  const bool inside_failed = open < failed_until_;
  std::size_t pos = open + 1;
  while ((pos = text::find_any(text_, pos, kTextStops)) < text_.size()) {
    if (text_[pos] == ']') return {pos, true};
    if (text_[pos] == '\\') {
      if (pos + 1 >= text_.size() || text_[pos + 1] == '\n') return {pos, false};
      if (inside_failed && text_[pos + 1] == ']') return {pos, false};
      pos += 2;
    } else {
      const std::size_t bracket = text::find_any(text_, pos + 1, kBrackets);
      if (!is_at(bracket, ']')) return {pos, false};
      pos = bracket + 1;
    }
  }
  return {text_.size(), false};
}

std::optional<InlineLink> InlineLinkSearch::match_link(std::size_t open, std::size_t close) const noexcept {
  if (!is_at(close + 1, '(')) return std::nullopt;
  const std::size_t begin = text::skip_space(text_, close + 2);
  std::size_t end = begin;
  std::optional<std::size_t> link_end;
  if (is_at(begin, '<')) {
    const std::size_t angle = text::find_any(text_, begin + 1, kAngleStops);
    if (is_at(angle, '>')) {
      end = angle + 1;
      link_end = match_end(end);
    }
  } else {
    end = skip_bare_destination(begin);
    link_end = match_end(end);
  }
  if (!link_end && begin > close + 2) {
    end = begin;
    link_end = match_title_and_end(begin);
  }
  if (!link_end) return std::nullopt;
  return InlineLink{{open, *link_end}, {begin, end}};
}

std::size_t InlineLinkSearch::skip_bare_destination(std::size_t pos) const noexcept {
  const auto skip_run = [this](std::size_t from, const text::ByteSet& stops) {
    // A lead byte that can begin white space outside ASCII may begin another character.
    while ((from = text::find_any(text_, from, stops)) < text_.size() && !text::is_ascii(text_[from]) &&
           text::space_width(text_, from) == 0) {
      ++from;
    }
    return from;
  };
  pos = skip_run(pos, kBareStops);
  while (is_at(pos, '(')) {
    const std::size_t inner_end = skip_run(pos + 1, kInnerStops);
    if (!is_at(inner_end, ')')) break;
    pos = skip_run(inner_end + 1, kBareStops);
  }
  return pos;
}

std::optional<std::size_t> InlineLinkSearch::match_end(std::size_t pos) const noexcept {
  const std::size_t end = text::skip_space(text_, pos);
  if (is_at(end, ')')) return end + 1;
  return end > pos ? match_title_and_end(end) : std::nullopt;
}

std::optional<std::size_t> InlineLinkSearch::match_title_and_end(std::size_t pos) const noexcept {
  std::size_t close = kNone;
  if (is_at(pos, '"') || is_at(pos, '\'')) {
    close = text_.find(text_[pos], pos + 1);
  } else if (is_at(pos, '(')) {
    close = text::find_any(text_, pos + 1, kParentheses);
    if (!is_at(close, ')')) close = kNone;
  }
  if (close == kNone) return std::nullopt;
  const std::size_t end = text::skip_space(text_, close + 1);
  return is_at(end, ')') ? std::optional(end + 1) : std::nullopt;
}

}  // namespace markdown::links
