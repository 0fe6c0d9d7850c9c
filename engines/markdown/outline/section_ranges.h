// Section ranges: the last row of text of each section. In
//
//     # A
//     text
//
//     # B
//
// the section of "A" ends at row 1, because row 2 is blank. Rows are 0-based and inclusive. Tested by
// tests/test_outline.py.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "outline/text_rows.h"

namespace markdown::outline {

// The ends of the headings' sections, in the order of the headings. A section ends at the last row that holds text
// before the next heading of its level or a higher one, or before the end of the text.
//
// `Heading` has a `level` and a `first_row`. `Rows` has the functions of TextRows; `count()` is called only after all
// rows that end at a heading are found.
template <class Heading, class Rows>
std::vector<Row> section_ends(std::span<const Heading> headings, Rows& rows) {
  std::vector<Row> ends(headings.size(), 0);
  std::vector<std::size_t> open_sections;  // indexes of headings; their levels increase strictly
  for (std::size_t i = 0; i < headings.size(); ++i) {
    while (!open_sections.empty() && headings[open_sections.back()].level >= headings[i].level) {
      const std::size_t closed = open_sections.back();
      open_sections.pop_back();
      ends[closed] = rows.last_text_row(headings[closed].first_row, headings[i].first_row - 1);
    }
    open_sections.push_back(i);
  }
  for (const std::size_t open : open_sections) {
    ends[open] = rows.last_text_row(headings[open].first_row, rows.count() - 1);
  }
  return ends;
}

}  // namespace markdown::outline
