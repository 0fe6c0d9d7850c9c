#include "links/wiki_link.h"

#include "text/byte_set.h"
#include "text/space.h"

namespace markdown::links {
namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr text::ByteSet kAfterPage("[]|#\n");
constexpr text::ByteSet kAfterAnchor("[]|\n");
constexpr text::ByteSet kAfterAlias("[]\n");

}  // namespace

std::optional<WikiLink> WikiLinkSearch::next() noexcept {
  for (std::size_t open = text_.find("[[", pos_); open != kNone; open = text_.find("[[", open + 1)) {
    if (open > 0 && text_[open - 1] == '!') continue;
    if (const auto link = match_link(open)) {
      pos_ = link->whole.end;
      return link;
    }
  }
  return std::nullopt;
}

std::optional<WikiLink> WikiLinkSearch::match_link(std::size_t open) const noexcept {
  const auto is_at = [this](std::size_t at, char byte) { return at < text_.size() && text_[at] == byte; };
  std::size_t pos = text::find_any(text_, open + 2, kAfterPage);
  const text::Span page{open + 2, pos};
  text::Span anchor{pos, pos};
  if (is_at(pos, '#')) {
    anchor.begin = pos + 1;
    anchor.end = pos = text::find_any(text_, pos + 1, kAfterAnchor);
  }
  if (is_at(pos, '|')) pos = text::find_any(text_, pos + 1, kAfterAlias);
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
