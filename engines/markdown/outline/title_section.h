// The title section: what front matter says of a document, applied to its headings.
//
// Tested by tests/test_frontmatter.py.
#pragma once

#include <cstddef>
#include <utility>

#include "frontmatter/front_matter.h"
#include "outline/heading.h"

namespace markdown::outline {

// A document's first H1 names it and takes the description as its summary. Where there is none, the front matter's
// title heads a section of its own, from the first row of the file on. That section's summary is the description, or
// else what `read_summary()` gives for the block after the front matter.
//
// `headings` may be of any kind. Of it are used: `size()`; `level(i)`; `describe(i, summary)`, which changes a heading;
// `put_first(heading)`.
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
