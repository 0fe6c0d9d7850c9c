#include "links/wiki_link.h"

#include <algorithm>

#include "text/space.h"

namespace markdown::links {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

std::size_t skip_until(std::string_view text, std::size_t pos, std::string_view stops) noexcept {
  return std::min(text.find_first_of(stops, pos), text.size());
}

}  // namespace

std::optional<WikiLink> WikiLinkSearch::next() noexcept {
  for (std::size_t open = text_.find("[[", pos_); open != kNone; open = text_.find("[[", open + 1)) {
    if (open > 0 && text_[open - 1] == '!') continue;
    if (const auto link = match_link(open)) {
      pos_ = link->whole.end;
      return link;
    }
  }
  pos_ = text_.size();
  return std::nullopt;
}

std::optional<WikiLink> WikiLinkSearch::match_link(std::size_t open) const noexcept {
  const auto is_at = [this](std::size_t at, char byte) { return at < text_.size() && text_[at] == byte; };
  std::size_t pos = skip_until(text_, open + 2, "[]|#\n");
  const text::Span page{open + 2, pos};
  text::Span anchor{pos, pos};
  if (is_at(pos, '#')) {
    anchor.begin = pos + 1;
    anchor.end = pos = skip_until(text_, pos + 1, "[]|\n");
  }
  if (is_at(pos, '|')) pos = skip_until(text_, pos + 1, "[]\n");
  if (text_.substr(pos, 2) != "]]") return std::nullopt;
  return WikiLink{{open, pos + 2}, page, anchor};
}

std::string_view wiki_target(std::string_view page, std::string_view anchor, std::string& joined) {
  page = text::trim(page);
  anchor = text::trim(anchor);
  if (anchor.empty()) return page;
  joined = page;
  joined.push_back('#');
  joined.append(anchor);
  return joined;
}

}  // namespace markdown::links
