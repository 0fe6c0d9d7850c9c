// The rows of a document's text, and which of them hold text.
//
// Tested by tests/test_outline.py.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "text/count.h"
#include "text/row.h"
#include "text/space.h"

namespace markdown::outline {

using text::Row;

// A row above the first row and above every floor: there is no row.
inline constexpr Row kNoRow = std::numeric_limits<Row>::min();

// Answers `last_text_row` over any kind of text. A `Text` has these members; a `Place` is the end of a row, and has
// that row's number as `row`.
//
//   Row count()                     The number of rows.
//   Place end_of(Row row)           The end of `row`, which is not negative; of the last row when there are fewer rows.
//   bool skip_blank_row(Place& at)  Whether the row of `at` is blank. If so, moves `at` to the end of the row above.
//                                   Above the first row is kNoRow.
//   void for_each_row(visit)        Calls `visit(bool holds_text)` for each row in order.
//
// Linear: the rows that a document asks for never decrease. So a text finds their places by moving over its rows once.
// After each call, the rows that were found blank are remembered. A later call that reaches these rows goes on above
// them, so no row is read twice, even when many sections end at the same blank rows. A row that does decrease comes
// from a host's own tree; then one pass makes a table of all rows.
template <class Text>
class TextRows {
 public:
  explicit TextRows(Text text) : text_(std::move(text)) {}

  Row count() { return text_.count(); }

  // The last row that holds text, from `row` upwards; `floor` when there is none below `floor`. When `row` is not below
  // `floor`, the answer is `row`. Rows outside the text hold no text.
  Row last_text_row(Row floor, Row row) {
    if (row <= floor) return row;
    if (row < 0) return floor;
    if (row < asked_ && table_.empty()) tabulate();
    if (!table_.empty()) {
      const Row last = std::min(row, static_cast<Row>(table_.size()) - 1);
      return std::max(floor, table_[static_cast<std::size_t>(last)]);
    }
    auto at = text_.end_of(row);
    bool holds_text = false;
    while (at.row > floor && !holds_text) {
      if (at.row <= asked_ && at.row > found_.row)
        at = found_;
      else if (at.row == found_.row && found_holds_text_)
        holds_text = true;
      else
        holds_text = !text_.skip_blank_row(at);
    }
    asked_ = row;
    found_ = at;
    found_holds_text_ = holds_text;
    return std::max(floor, at.row);
  }

 private:
  void tabulate() {
    Row row = 0;
    Row last = kNoRow;
    text_.for_each_row([&](bool holds_text) {
      if (holds_text) last = row;
      ++row;
      table_.push_back(last);
    });
  }

  Text text_;
  // The row of the last call, and where its search ended. The rows after `found_`, up to `asked_`, hold no text.
  Row asked_ = 0;
  typename Text::Place found_{};
  bool found_holds_text_ = false;  // false also when the search ended there because of the floor
  std::vector<Row> table_;         // for each row, the last row with text at or above it; empty until it is needed
};

// The text of a document: the code points of the host's string, read in place. The string is neither copied nor split,
// because it may be megabytes long. `Unit` is the integer in which the string stores a code point: one, two or four
// bytes.
template <class Unit>
class SourceText {
 public:
  explicit SourceText(std::span<const Unit> units) noexcept : units_(units) {}

  struct Place {
    Row row;
    std::size_t offset;
  };

  // Counts the rows once, starting from the last row that `end_of` has found.
  Row count() noexcept {
    if (count_ == 0) count_ = cursor_row_ + count_newlines(units_.subspan(cursor_)) + 1;
    return count_;
  }

  Place end_of(Row row) noexcept {
    if (count_ != 0 && row >= count_ - 1) return {count_ - 1, units_.size()};
    // Counting the newlines of a whole block is much faster than finding each newline.
    for (const std::size_t block : {std::size_t{512}, std::size_t{64}}) {
      for (; cursor_ + block <= units_.size(); cursor_ += block) {
        const Row newlines = count_newlines(units_.subspan(cursor_, block));
        if (cursor_row_ + newlines > row) break;
        cursor_row_ += newlines;
      }
    }
    Row newlines = cursor_row_;
    for (std::size_t at = cursor_; at < units_.size(); ++at) {
      if (units_[at] == Unit{'\n'} && newlines++ == row) return {row, at};
    }
    return {newlines, units_.size()};
  }

  bool skip_blank_row(Place& at) const noexcept {
    std::size_t begin = at.offset;
    for (; begin > 0 && units_[begin - 1] != Unit{'\n'}; --begin) {
      if (!text::is_space(units_[begin - 1])) return false;
    }
    at = begin > 0 ? Place{at.row - 1, begin - 1} : Place{kNoRow, 0};
    return true;
  }

  template <class Visit>
  void for_each_row(Visit visit) const {
    bool holds_text = false;
    for (const Unit unit : units_) {
      if (unit == Unit{'\n'}) visit(std::exchange(holds_text, false));
      if (!text::is_space(unit)) holds_text = true;
    }
    visit(holds_text);
  }

 private:
  static Row count_newlines(std::span<const Unit> units) noexcept {
    return static_cast<Row>(text::count_newlines(units));
  }

  std::span<const Unit> units_;
  Row count_ = 0;           // 0 while it is not known
  std::size_t cursor_ = 0;  // an offset, which need not be the start of a row
  Row cursor_row_ = 0;      // the number of newlines before the cursor
};

}  // namespace markdown::outline
