// The title section: what front matter says of a document, applied to its headings.
//
// Tested by tests/test_frontmatter.py.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "frontmatter/front_matter.h"
#include "outline/heading.h"

namespace markdown::outline {

// A document's first H1 names it and takes the description as its summary. Where there is none, the front matter's
// title heads a section of its own, from the first row of the file on.
enum class TitleChange : std::uint8_t { kNone, kDescribe, kAdd };

struct TitlePlan {
  TitleChange change = TitleChange::kNone;
  std::size_t index = 0;  // of the heading to describe
};

template <class Headings>
TitlePlan plan_title(const Headings& headings, bool has_title, bool has_description) {
  std::size_t index = 0;
  for (const Heading& heading : headings) {
    if (heading.level == 1) {
      return {has_description ? TitleChange::kDescribe : TitleChange::kNone, index};
    }
    ++index;
  }
  return {has_title ? TitleChange::kAdd : TitleChange::kNone, 0};
}

}  // namespace markdown::outline
