// Rows of a document's text: which of them hold text.
//
// The text is read where it stands, as the code points of the host's string, and is never split: it may be megabytes.
// Tested by tests/test_outline.py.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "text/count.h"
#include "text/row.h"
#include "text/space.h"

namespace markdown::outline {

using text::Row;

// `Unit` is what the string stores a code point in: one, two or four bytes.
// Linear: rows are asked for in document order, so the place of the last row asked for moves over the text once; a
// blank stretch is read once for each section that ends at it, and sections nest at most six deep. Rows of no parsed
// document, which go back or ask for one stretch more often than that, are looked up in a table.
template <class Unit>
class TextRows {
 public:
  explicit TextRows(std::span<const Unit> text) noexcept : text_(text) {}

  // The number of rows. Counts from the last row that was asked for on.
  Row count() noexcept {
    if (count_ == 0) count_ = cursor_row_ + count_feeds(text_.subspan(cursor_)) + 1;
    return count_;
  }

  // The last row at or above `row` that holds text, but not above `floor`; `row` itself when it is not below `floor`.
  // Rows outside the text hold none.
  Row last_text_row(Row floor, Row row) {
    if (row <= floor) return row;
    if (row < 0) return floor;
    if ((row < last_asked_ || blank_units_ / kDeepestLevel > text_.size()) && table_.empty()) tabulate();
    last_asked_ = row;
    if (!table_.empty()) return std::max(floor, table_[std::min(static_cast<std::size_t>(row), table_.size() - 1)]);
    const Place place = end_of(row);
    std::size_t end = place.offset;
    for (row = place.row; row > floor; --end) {
      if (end == 0) {
        row = floor;
        break;
      }
      const Unit unit = text_[end - 1];
      if (unit == '\n') {
        --row;
      } else if (!text::is_space(unit)) {
        break;
      }
    }
    blank_units_ += place.offset - end;
    return std::max(row, floor);
  }

 private:
  static Row count_feeds(std::span<const Unit> units) noexcept { return static_cast<Row>(text::count_feeds(units)); }

  struct Place {
    Row row;
    std::size_t offset;
  };

  // The end of `row`, or of the last row when the text has fewer.
  Place end_of(Row row) noexcept {
    if (count_ != 0 && row >= count_ - 1) return {count_ - 1, text_.size()};
    // Whole blocks are counted at a time, which is much faster than finding each line feed.
    for (const std::size_t block : {std::size_t{512}, std::size_t{64}}) {
      for (; cursor_ + block <= text_.size(); cursor_ += block) {
        const Row feeds = count_feeds(text_.subspan(cursor_, block));
        if (cursor_row_ + feeds > row) break;
        cursor_row_ += feeds;
      }
    }
    // The cursor need not stand at the start of a row: it counts the line feeds in front of it.
    Row feeds = cursor_row_;
    for (std::size_t at = cursor_; at < text_.size(); ++at) {
      if (text_[at] == Unit{'\n'} && feeds++ == row) return {row, at};
    }
    return {feeds, text_.size()};
  }

  void tabulate() {
    Row row = 0;
    Row last = std::numeric_limits<Row>::min();
    for (const Unit unit : text_) {
      if (unit == Unit{'\n'}) {
        table_.push_back(last);
        ++row;
      } else if (!text::is_space(unit)) {
        last = row;
      }
    }
    table_.push_back(last);
  }

  static constexpr std::size_t kDeepestLevel = 6;

  std::span<const Unit> text_;
  std::size_t blank_units_ = 0;  // read, some of them again and again
  Row count_ = 0;                // 0 while it is not known
  std::size_t cursor_ = 0;
  Row cursor_row_ = 0;
  Row last_asked_ = 0;
  std::vector<Row>
      table_;  // of each row the last one at or above it that holds text, or the least there is; empty while not needed
};

}  // namespace markdown::outline
