// The title section: how front matter changes the headings of a document. A document with `title: Guide` and no H1 gets
// a first heading "Guide".
//
// Tested by tests/test_frontmatter.py.
#pragma once

#include <cstddef>
#include <utility>

#include "frontmatter/front_matter.h"
#include "outline/heading.h"

namespace markdown::outline {

// With an H1, the document has a name already: the title is not used, and the description becomes the summary of the
// first H1. Without an H1, the title becomes a heading of level 1 at the first row of the file. The summary of that
// heading is the description, or without a description what `read_summary()` returns: the summary of the block after
// the front matter.
//
// `Headings` is any list with these members: `size()`, `level(i)`, `describe(i, summary)`, which sets the summary of a
// heading, and `put_first(heading)`.
template <class Headings, class ReadSummary>
void apply_front_matter(Headings& headings, frontmatter::FrontMatter front, ReadSummary&& read_summary) {
  auto& title = front[frontmatter::kTitle];
  auto& description = front[frontmatter::kDescription];
  for (std::size_t i = 0; i < headings.size(); ++i) {
    if (headings.level(i) != 1) continue;
    if (description) headings.describe(i, std::move(*description));
    return;
  }
  if (!title) return;
  Heading section;
  section.name = std::move(*title);
  section.summary = description ? std::move(description) : read_summary();
  headings.put_first(std::move(section));
}

}  // namespace markdown::outline
