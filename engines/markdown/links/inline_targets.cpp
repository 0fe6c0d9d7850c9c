#include "links/inline_targets.h"

#include "inline/code_span.h"
#include "links/destination.h"
#include "text/count.h"
#include "text/utf8.h"

namespace markdown::links {

// An inline link holds "](" and a wiki link "]]".
bool may_hold_link(std::string_view markdown) noexcept {
  for (std::size_t close = markdown.find(']'); close != markdown.npos; close = markdown.find(']', close + 1)) {
    if (close + 1 < markdown.size() && (markdown[close + 1] == '(' || markdown[close + 1] == ']')) return true;
  }
  return false;
}

std::string_view blank_code_spans(std::string_view text, std::string& blanked) {
  inlines::CodeSpans spans(text);
  auto span = spans.next();
  if (!span) return text;
  blanked.clear();
  std::size_t done = 0;
  for (; span; span = spans.next()) {
    blanked.append(text.substr(done, span->whole.begin - done));
    blanked.append(text::count_chars(span->whole.in(text)), ' ');
    done = span->whole.end;
  }
  blanked.append(text.substr(done));
  return blanked;
}

void InlineTargets::start(std::string_view markdown, std::int64_t first_line) {
  text_ = blank_code_spans(markdown, blanked_);
  inline_links_ = InlineLinkSearch(text_);
  wiki_links_ = WikiLinkSearch(text_);
  inline_link_ = inline_links_.next();
  wiki_link_ = wiki_links_.next();
  counted_ = 0;
  line_ = first_line;
}

std::optional<LinkTarget> InlineTargets::next() {
  while (inline_link_ || wiki_link_) {
    LinkTarget found{};
    std::size_t begin = 0;
    if (inline_link_ && (!wiki_link_ || inline_link_->whole.begin <= wiki_link_->whole.begin)) {
      begin = inline_link_->whole.begin;
      found = {LinkKind::kDocument, destination(inline_link_->destination.in(text_)), 0};
      inline_link_ = inline_links_.next();
    } else {
      begin = wiki_link_->whole.begin;
      found = {LinkKind::kWiki, wiki_target(wiki_link_->page.in(text_), wiki_link_->anchor.in(text_), joined_), 0};
      wiki_link_ = wiki_links_.next();
    }
    line_ += static_cast<std::int64_t>(text::count_newlines(text_.substr(counted_, begin - counted_)));
    counted_ = begin;
    found.line = line_;
    if (!found.target.empty()) return found;
  }
  return std::nullopt;
}

}  // namespace markdown::links
