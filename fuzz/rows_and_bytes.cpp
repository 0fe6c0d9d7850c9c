// Compares UTF-8 decoding, rows of a text, section ranges and heading paths with the same rules, written the slow way.
#include <algorithm>
#include <span>
#include <string>
#include <vector>

#include "check.h"
#include "outline/heading.h"
#include "outline/heading_path.h"
#include "outline/section_ranges.h"
#include "text/space.h"
#include "text_of.h"

namespace markdown::fuzz {
namespace {

using outline::Row;

// The well-formed byte sequences, as in Unicode's table: the range of each byte.
struct Sequence {
  unsigned char low[4];
  unsigned char high[4];
  std::size_t length;
};
constexpr Sequence kSequences[] = {
    {{0x00}, {0x7F}, 1},
    {{0xC2, 0x80}, {0xDF, 0xBF}, 2},
    {{0xE0, 0xA0, 0x80}, {0xE0, 0xBF, 0xBF}, 3},
    {{0xE1, 0x80, 0x80}, {0xEC, 0xBF, 0xBF}, 3},
    {{0xED, 0x80, 0x80}, {0xED, 0x9F, 0xBF}, 3},
    {{0xEE, 0x80, 0x80}, {0xEF, 0xBF, 0xBF}, 3},
    {{0xF0, 0x90, 0x80, 0x80}, {0xF0, 0xBF, 0xBF, 0xBF}, 4},
    {{0xF1, 0x80, 0x80, 0x80}, {0xF3, 0xBF, 0xBF, 0xBF}, 4},
    {{0xF4, 0x80, 0x80, 0x80}, {0xF4, 0x8F, 0xBF, 0xBF}, 4},
};

// The characters of the bytes. Sets `valid_bytes` to the length of the well-formed prefix.
std::u32string decoded(std::string_view bytes, std::size_t& valid_bytes) {
  std::u32string out;
  valid_bytes = std::string_view::npos;
  for (std::size_t pos = 0; pos < bytes.size();) {
    std::size_t longest = 0;  // the number of bytes here that begin a sequence
    bool whole = false;
    for (const Sequence& sequence : kSequences) {
      std::size_t n = 0;
      while (n < sequence.length && pos + n < bytes.size()) {
        const auto byte = static_cast<unsigned char>(bytes[pos + n]);
        if (byte < sequence.low[n] || byte > sequence.high[n]) break;
        ++n;
      }
      if (n > longest) longest = n;
      whole = whole || n == sequence.length;
    }
    if (whole) {
      out += text::decode_at(bytes, pos);
    } else {
      out += U'\uFFFD';
      valid_bytes = std::min(valid_bytes, pos);
    }
    pos += std::max<std::size_t>(longest, 1);
  }
  valid_bytes = std::min(valid_bytes, bytes.size());
  return out;
}

std::u32string check_bytes(std::string_view bytes) {
  std::size_t valid_bytes = 0;
  const std::u32string chars = decoded(bytes, valid_bytes);
  CHECK(text::valid_prefix(bytes) == valid_bytes);
  std::string replaced;
  text::append_replaced(replaced, bytes);
  std::string encoded;
  for (const char32_t c : chars) text::append_char(encoded, c);
  CHECK(replaced == encoded && text::is_valid(replaced));
  CHECK(text::count_chars(replaced) == chars.size());
  for (std::size_t count : {std::size_t{0}, chars.size() / 2, chars.size(), chars.size() + 1}) {
    const std::string_view first = text::first_chars(replaced, count);
    CHECK(text::count_chars(first) == std::min(count, chars.size()) && text::is_valid(first));
  }
  std::size_t spaces = 0;
  while (spaces < chars.size() && text::is_space(chars[spaces])) ++spaces;
  CHECK(text::count_chars(std::string_view(replaced).substr(0, text::skip_space(replaced, 0))) == spaces);
  return chars;
}

struct Lines {
  std::vector<std::u32string> lines{1};

  explicit Lines(std::u32string_view text) {
    for (const char32_t c : text) {
      if (c == U'\n') {
        lines.emplace_back();
      } else {
        lines.back() += c;
      }
    }
  }

  Row last_text_row(Row floor, Row row) const {
    const auto holds_text = [this](Row at) {
      if (at < 0 || at >= static_cast<Row>(lines.size())) return false;
      const std::u32string& line = lines[static_cast<std::size_t>(at)];
      return !std::all_of(line.begin(), line.end(), [](char32_t c) { return text::is_space(c); });
    };
    while (row > floor && !holds_text(row)) --row;
    return row;
  }
};

template <class Unit>
void check_rows(const Lines& lines, std::u32string_view text, std::span<const outline::Heading> headings) {
  std::vector<Unit> units;
  for (const char32_t c : text) units.push_back(static_cast<Unit>(c));
  const auto count = static_cast<Row>(lines.lines.size());
  outline::TextRows rows{outline::SourceText<Unit>(units)};
  const auto ends = outline::section_ends(headings, rows);
  CHECK(ends.size() == headings.size());
  CHECK(rows.count() == count);
  CHECK(outline::section_ends(headings, rows) == ends);  // a second time: the count is known, and the rows go back
  CHECK(outline::SourceText<Unit>(units).count() == count);
  for (std::size_t i = 0; i < headings.size(); ++i) {
    const auto next = std::find_if(headings.begin() + static_cast<std::ptrdiff_t>(i) + 1, headings.end(),
                                   [&](const outline::Heading& other) { return other.level <= headings[i].level; });
    const Row last = next == headings.end() ? count - 1 : next->first_row - 1;
    CHECK(ends[i] == lines.last_text_row(headings[i].first_row, last));
  }
}

// Headings at rows that the bytes choose. Most rows go forward; some are anywhere.
std::vector<outline::Heading> headings_from(std::string_view bytes, Row rows) {
  std::vector<outline::Heading> headings;
  Row row = 0;
  for (const char c : bytes.substr(0, 24)) {
    const int value = static_cast<unsigned char>(c);
    outline::Heading heading;
    heading.level = 1 + value % 6;
    row = value < 250 ? row + value / 6 % 8 : (value - 253) * rows;
    heading.first_row = row;
    headings.push_back(heading);
  }
  return headings;
}

void check_path(std::string_view text) {
  std::vector<std::string> texts{""};
  for (const char c : text) {
    if (c == '\n') {
      texts.emplace_back();
    } else {
      texts.back() += c;
    }
  }
  std::vector<outline::PathName> names;
  for (const std::string& name : texts) names.push_back({name, text::count_chars(name)});
  std::string expected;
  for (std::size_t start = 0; start < names.size(); ++start) {
    expected = start == 0 ? texts[0] : std::string(outline::kEllipsis) + " > " + texts[start];
    for (std::size_t i = start + 1; i < texts.size(); ++i) expected += " > " + texts[i];
    if (text::count_chars(expected) <= outline::kMaxPathLength) break;
    expected = std::string(text::first_chars(texts.back(), 197)) + "...";
  }
  CHECK(outline::heading_path(names) == expected);
  CHECK(text::count_chars(expected) <= outline::kMaxPathLength);
}

}  // namespace
}  // namespace markdown::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  namespace fuzz = markdown::fuzz;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::u32string chars = fuzz::check_bytes(bytes);
  std::u32string latin = chars;
  std::replace_if(latin.begin(), latin.end(), [](char32_t c) { return c > 0xFF; }, U'x');
  std::u32string basic = chars;
  std::replace_if(basic.begin(), basic.end(), [](char32_t c) { return c > 0xFFFF; }, U'x');

  const fuzz::Lines lines(chars);
  const auto headings = fuzz::headings_from(bytes, static_cast<fuzz::Row>(lines.lines.size()));
  fuzz::check_rows<std::uint32_t>(lines, chars, headings);
  fuzz::check_rows<std::uint16_t>(fuzz::Lines(basic), basic, headings);
  fuzz::check_rows<unsigned char>(fuzz::Lines(latin), latin, headings);
  fuzz::check_path(fuzz::text_of(data, size));
  return 0;
}
