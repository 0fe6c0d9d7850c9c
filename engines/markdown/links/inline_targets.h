// The link targets of one run of inline Markdown.
//
// Tested by tests/test_links.py.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "links/inline_link.h"
#include "links/wiki_link.h"

namespace markdown::links {

enum class LinkKind : std::uint8_t { kDocument, kWiki };

struct LinkTarget {
  LinkKind kind;
  std::string_view target;  // never empty; valid until the next target is asked for
  std::int64_t line;        // counted from the number of the first line, which `start` was given
};

// Returns the targets in the order in which the links start. Of two links that start at one offset, the inline link
// comes first.
class InlineTargets {
 public:
  InlineTargets() = default;
  // Begins a new run and reuses the buffers of the last one. The run's text must outlive the search.
  void start(std::string_view markdown, std::int64_t first_line);

  std::optional<LinkTarget> next();

 private:
  std::string_view text_;  // the run with its code spans blanked: all offsets are into this
  std::string blanked_;
  std::string joined_;
  InlineLinkSearch inline_links_;
  WikiLinkSearch wiki_links_;
  std::optional<InlineLink> inline_link_;  // the next one of each kind
  std::optional<WikiLink> wiki_link_;
  std::size_t counted_ = 0;  // newlines are counted up to this offset
  std::int64_t line_ = 0;
};

// Whether a run may hold a link. Most runs have no link syntax, and need not be searched.
bool may_hold_link(std::string_view markdown) noexcept;

// The text with each code span replaced by spaces, one for each character of the span. A newline in a span becomes a
// space too. The view is the text itself when it has no code span; otherwise it points into `blanked`.
std::string_view blank_code_spans(std::string_view text, std::string& blanked);

}  // namespace markdown::links
