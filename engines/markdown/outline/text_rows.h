// Rows of a document's text: which of them hold text.
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

// Stands above the first row, and so above every floor.
inline constexpr Row kNoRow = std::numeric_limits<Row>::min();

// The rule, over any text that has these members. A place is the end of a row, which it knows as `row`.
//
//   Row count()                     The number of rows.
//   Place end_of(Row row)           The end of `row`, which is not negative, or of the last row when there are fewer.
//   bool skip_blank_row(Place& at)  Whether the row holds no text. Then `at` moves to the end of the row above, and
//                                   above the first row to kNoRow.
//   void for_each_row(visit)        Calls `visit(bool holds_text)` for each row in order.
//
// Linear: a document asks for rows that do not decrease, so a text finds their places by moving over its rows once. Of
// each question it is remembered which rows were found blank. A later question that reaches these rows goes on above
// them, so no row is read twice, however many sections end at one blank stretch. Once a row does decrease, which no
// parsed document does, a table of all rows is made in one pass.
template <class Text>
class TextRows {
 public:
  explicit TextRows(Text text) : text_(std::move(text)) {}

  Row count() { return text_.count(); }

  // The last row at or above `row` that holds text, but not above `floor`; `row` itself when it is not below `floor`.
  // Rows outside the text hold none.
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
  // The last question and where its answer was found: the rows after `found_` up to `asked_` hold no text.
  Row asked_ = 0;
  typename Text::Place found_{};
  bool found_holds_text_ = false;  // false also when the floor ended the search there
  std::vector<Row> table_;         // for each row the last one at or above it that holds text; empty while not needed
};

// The text of a document as the code points of the host's string. It is read where it stands and never split: it may be
// megabytes. `Unit` is what the string stores a code point in: one, two or four bytes.
template <class Unit>
class SourceText {
 public:
  explicit SourceText(std::span<const Unit> units) noexcept : units_(units) {}

  struct Place {
    Row row;
    std::size_t offset;
  };

  // Counts from the last row that was asked for on.
  Row count() noexcept {
    if (count_ == 0) count_ = cursor_row_ + count_feeds(units_.subspan(cursor_)) + 1;
    return count_;
  }

  Place end_of(Row row) noexcept {
    if (count_ != 0 && row >= count_ - 1) return {count_ - 1, units_.size()};
    // Whole blocks are counted at a time, which is much faster than finding each newline.
    for (const std::size_t block : {std::size_t{512}, std::size_t{64}}) {
      for (; cursor_ + block <= units_.size(); cursor_ += block) {
        const Row feeds = count_feeds(units_.subspan(cursor_, block));
        if (cursor_row_ + feeds > row) break;
        cursor_row_ += feeds;
      }
    }
    // The cursor need not stand at the start of a row: it counts the newlines before it.
    Row feeds = cursor_row_;
    for (std::size_t at = cursor_; at < units_.size(); ++at) {
      if (units_[at] == Unit{'\n'} && feeds++ == row) return {row, at};
    }
    return {feeds, units_.size()};
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
  static Row count_feeds(std::span<const Unit> units) noexcept { return static_cast<Row>(text::count_feeds(units)); }

  std::span<const Unit> units_;
  Row count_ = 0;  // 0 while it is not known
  std::size_t cursor_ = 0;
  Row cursor_row_ = 0;
};

}  // namespace markdown::outline
