#include "frontmatter/yaml_scalar.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <system_error>

namespace markdown::frontmatter {
namespace {

// A host may lower the interpreter's limit on the digits that `int` reads, but not below this.
constexpr std::size_t kMostDigits = 640;

// The loader multiplies the parts of a float of base 60 by powers that soon no double can hold, and raises then.
constexpr std::size_t kMostFloatParts = 100;

constexpr std::string_view kNumberStarts = "0123456789+-.";

constexpr bool is_digit(char c) noexcept { return c >= '0' && c <= '9'; }
constexpr bool is_digit_or_underscore(char c) noexcept { return is_digit(c) || c == '_'; }
constexpr bool is_hex_digit(char c) noexcept { return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

// Reading beyond the end gives NUL, which no scalar holds.
constexpr char at(std::string_view text, std::size_t pos) noexcept { return pos < text.size() ? text[pos] : '\0'; }

template <class Predicate>
std::size_t skip(std::string_view text, std::size_t pos, Predicate is_wanted) noexcept {
  while (pos < text.size() && is_wanted(text[pos])) ++pos;
  return pos;
}

constexpr std::size_t sign_width(std::string_view text) noexcept {
  return at(text, 0) == '-' || at(text, 0) == '+' ? 1 : 0;
}

// Only these spellings: "yEs" is text, and so are "y" and "n".
constexpr auto kTrueWords =
    std::to_array<std::string_view>({"yes", "Yes", "YES", "true", "True", "TRUE", "on", "On", "ON"});
constexpr auto kFalseWords =
    std::to_array<std::string_view>({"no", "No", "NO", "false", "False", "FALSE", "off", "Off", "OFF"});
constexpr auto kNullWords = std::to_array<std::string_view>({"~", "null", "Null", "NULL"});
// A merge key or a default value among keys, an error everywhere else.
constexpr auto kRefusedWords = std::to_array<std::string_view>({"<<", "="});
constexpr std::size_t kLongestWord = 5;

ScalarType type_word(std::string_view scalar) noexcept {
  if (scalar.size() > kLongestWord) return ScalarType::kText;
  const auto is_in = [scalar](const auto& words) {
    return std::find(words.begin(), words.end(), scalar) != words.end();
  };
  if (is_in(kTrueWords)) return ScalarType::kTrue;
  if (is_in(kFalseWords)) return ScalarType::kFalse;
  if (is_in(kNullWords)) return ScalarType::kNull;
  return is_in(kRefusedWords) ? ScalarType::kRefused : ScalarType::kText;
}

constexpr ScalarType type_if(bool matches, ScalarType type) noexcept { return matches ? type : ScalarType::kText; }

// Whether an exponent, or nothing, stands between `pos` and the end. The exponent needs its sign: 1.5e3 is text.
bool ends_with_exponent(std::string_view scalar, std::size_t pos) noexcept {
  if (pos == scalar.size()) return true;
  if (scalar[pos] != 'e' && scalar[pos] != 'E') return false;
  if (at(scalar, pos + 1) != '+' && at(scalar, pos + 1) != '-') return false;
  return is_digit(at(scalar, pos + 2)) && skip(scalar, pos + 2, is_digit) == scalar.size();
}

// [-+]?\.(inf|Inf|INF), \.(nan|NaN|NAN) or \.[0-9][0-9_]*([eE][-+][0-9]+)?: only infinity may have a sign.
ScalarType type_point(std::string_view scalar, std::size_t point) noexcept {
  const std::string_view rest = scalar.substr(point + 1);
  if (rest == "inf" || rest == "Inf" || rest == "INF") return ScalarType::kFloat;
  if (point > 0) return ScalarType::kText;
  if (rest == "nan" || rest == "NaN" || rest == "NAN") return ScalarType::kFloat;
  return type_if(is_digit(at(rest, 0)) && ends_with_exponent(rest, skip(rest, 0, is_digit_or_underscore)),
                 ScalarType::kFloat);
}

// [0-9][0-9_]*(:[0-5]?[0-9])+ and a fraction after it; without one the first digit must not be 0.
ScalarType type_base_60(std::string_view scalar, std::size_t begin, std::size_t colon) noexcept {
  std::size_t pos = colon;
  std::size_t parts = 1;
  for (; at(scalar, pos) == ':'; ++parts) {
    const std::size_t end = skip(scalar, pos + 1, is_digit);
    const std::size_t width = end - pos - 1;
    if (width == 0 || width > 2 || (width == 2 && scalar[pos + 1] > '5')) return ScalarType::kText;
    pos = end;
  }
  if (pos == scalar.size()) return type_if(scalar[begin] != '0', ScalarType::kInteger);
  if (scalar[pos] != '.' || skip(scalar, pos + 1, is_digit_or_underscore) != scalar.size()) return ScalarType::kText;
  return parts <= kMostFloatParts ? ScalarType::kFloat : ScalarType::kRefused;
}

template <class Predicate>
ScalarType type_prefixed(std::string_view digits, Predicate is_digit_of_base) noexcept {
  const auto belongs = [&](char c) { return c == '_' || is_digit_of_base(c); };
  if (digits.empty() || !std::all_of(digits.begin(), digits.end(), belongs)) return ScalarType::kText;
  // "0x_" has the form of an integer, yet no digits for the loader to read.
  return std::any_of(digits.begin(), digits.end(), is_digit_of_base) ? ScalarType::kInteger : ScalarType::kRefused;
}

// One or two digits at `pos`, read into `value`; the offset behind them, or `pos` when there are none.
std::size_t read_number(std::string_view scalar, std::size_t pos, int& value) noexcept {
  const std::size_t end = skip(scalar.substr(0, std::min(scalar.size(), pos + 2)), pos, is_digit);
  value = 0;
  for (std::size_t i = pos; i < end; ++i) value = value * 10 + (scalar[i] - '0');
  return end;
}

// A timestamp's parts, as written.
struct Timestamp {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int zone_hours = 0;
  int zone_minutes = 0;
};

// What has the form of a timestamp but names no moment makes the loader raise. A zone is less than a day away.
bool is_moment(const Timestamp& at) noexcept {
  constexpr std::array<int, 12> kDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (at.year < 1 || at.month < 1 || at.month > 12 || at.day < 1) return false;
  const bool is_leap_february = at.month == 2 && at.year % 4 == 0 && (at.year % 100 != 0 || at.year % 400 == 0);
  return at.day <= kDays[static_cast<std::size_t>(at.month - 1)] + (is_leap_february ? 1 : 0) && at.hour < 24 &&
         at.minute < 60 && at.second < 60 && at.zone_hours * 60 + at.zone_minutes < 24 * 60;
}

constexpr bool is_space(char c) noexcept { return c == ' '; }

// The rest of a timestamp behind its date: ([Tt]| +)[0-9][0-9]?:[0-9][0-9]:[0-9][0-9](\.[0-9]*)? and perhaps a zone,
// *(Z|[-+][0-9][0-9]?(:[0-9][0-9])?).
bool read_time(std::string_view scalar, std::size_t date_end, Timestamp& out) noexcept {
  const bool has_letter = scalar[date_end] == 'T' || scalar[date_end] == 't';
  const std::size_t hour = has_letter ? date_end + 1 : skip(scalar, date_end, is_space);
  if (hour == date_end) return false;
  const std::size_t hour_end = read_number(scalar, hour, out.hour);
  if (hour_end == hour || at(scalar, hour_end) != ':') return false;
  const std::size_t minute_end = read_number(scalar, hour_end + 1, out.minute);
  if (minute_end != hour_end + 3 || at(scalar, minute_end) != ':') return false;
  std::size_t pos = read_number(scalar, minute_end + 1, out.second);
  if (pos != minute_end + 3) return false;
  if (at(scalar, pos) == '.') pos = skip(scalar, pos + 1, is_digit);

  if (pos == scalar.size()) return true;
  pos = skip(scalar, pos, is_space);
  if (at(scalar, pos) == 'Z') return pos + 1 == scalar.size();
  if (at(scalar, pos) != '+' && at(scalar, pos) != '-') return false;
  const std::size_t zone_end = read_number(scalar, pos + 1, out.zone_hours);
  if (zone_end == pos + 1) return false;
  if (at(scalar, zone_end) != ':') return zone_end == scalar.size();
  pos = read_number(scalar, zone_end + 1, out.zone_minutes);
  return pos == zone_end + 3 && pos == scalar.size();
}

// YYYY-MM-DD, or a date with one or two digits for month and day and a time behind it. Four digits and '-' stand at
// the start.
ScalarType type_timestamp(std::string_view scalar) noexcept {
  Timestamp timestamp;
  int century = 0;
  read_number(scalar, 0, century);
  read_number(scalar, 2, timestamp.year);
  timestamp.year += century * 100;
  constexpr std::size_t kMonth = 5;
  constexpr std::size_t kDateWidth = 10;
  const std::size_t month_end = read_number(scalar, kMonth, timestamp.month);
  if (month_end == kMonth || at(scalar, month_end) != '-') return ScalarType::kText;
  const std::size_t date_end = read_number(scalar, month_end + 1, timestamp.day);
  if (date_end == month_end + 1) return ScalarType::kText;
  const bool matches = date_end == scalar.size() ? scalar.size() == kDateWidth : read_time(scalar, date_end, timestamp);
  if (!matches) return ScalarType::kText;
  return is_moment(timestamp) ? ScalarType::kTimestamp : ScalarType::kRefused;
}

// A scalar of digits and underscores alone: a leading 0 makes it octal, and text when a digit is not.
ScalarType type_digits(std::string_view scalar, std::size_t begin) noexcept {
  const std::string_view digits = scalar.substr(begin);
  if (digits[0] == '0') {
    return type_if(std::none_of(digits.begin(), digits.end(), [](char c) { return c == '8' || c == '9'; }),
                   ScalarType::kInteger);
  }
  return digits.size() <= kMostDigits ? ScalarType::kInteger : ScalarType::kRefused;
}

ScalarType type_number(std::string_view scalar) noexcept {
  const std::size_t begin = sign_width(scalar);
  if (at(scalar, begin) == '.') return type_point(scalar, begin);
  if (!is_digit(at(scalar, begin))) return ScalarType::kText;
  const std::size_t end = skip(scalar, begin, is_digit_or_underscore);
  switch (at(scalar, end)) {
    case '\0':
      return type_digits(scalar, begin);
    case '.':
      return type_if(ends_with_exponent(scalar, skip(scalar, end + 1, is_digit_or_underscore)), ScalarType::kFloat);
    case ':':
      if (end - begin > kMostDigits) return ScalarType::kRefused;
      return type_base_60(scalar, begin, end);
    case 'b':
      if (scalar.substr(begin, end - begin) != "0") return ScalarType::kText;
      return type_prefixed(scalar.substr(end + 1), [](char c) { return c == '0' || c == '1'; });
    case 'x':
      if (scalar.substr(begin, end - begin) != "0") return ScalarType::kText;
      return type_prefixed(scalar.substr(end + 1), is_hex_digit);
    case '-':
      if (begin != 0 || end != 4 || skip(scalar, 0, is_digit) != end) return ScalarType::kText;
      return type_timestamp(scalar);
    default:
      return ScalarType::kText;
  }
}

std::string without_underscores(std::string_view text) {
  std::string kept;
  std::copy_if(text.begin(), text.end(), std::back_inserter(kept), [](char c) { return c != '_'; });
  return kept;
}

std::optional<std::uint64_t> read_integer(std::string_view digits, int base) noexcept {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return value;
}

std::optional<std::uint64_t> read_base_60(std::string_view digits) noexcept {
  std::uint64_t value = 0;
  for (std::size_t pos = 0; pos <= digits.size();) {
    const std::size_t end = std::min(digits.find(':', pos), digits.size());
    const auto part = read_integer(digits.substr(pos, end - pos), 10);
    if (!part || value > (std::numeric_limits<std::uint64_t>::max() - 59) / 60) return std::nullopt;
    if (pos > 0) value *= 60;
    value += *part;
    pos = end + 1;
  }
  return value;
}

}  // namespace

ScalarType type_plain(std::string_view scalar) noexcept {
  if (scalar.empty()) return ScalarType::kNull;
  if (kNumberStarts.find(scalar[0]) != std::string_view::npos) return type_number(scalar);
  return type_word(scalar);
}

std::optional<std::string> integer_text(std::string_view scalar) {
  const bool is_negative = at(scalar, 0) == '-';
  std::string digits = without_underscores(scalar.substr(sign_width(scalar)));
  const std::string_view view = digits;
  const bool is_base_60 = view.find(':') != std::string_view::npos;
  if (view[0] != '0' && !is_base_60) return is_negative ? "-" + digits : digits;

  std::optional<std::uint64_t> value;
  if (is_base_60) {
    value = read_base_60(view);
  } else if (at(view, 1) == 'b') {
    value = read_integer(view.substr(2), 2);
  } else if (at(view, 1) == 'x') {
    value = read_integer(view.substr(2), 16);
  } else {
    value = read_integer(view, 8);
  }
  if (!value) return std::nullopt;
  std::string text = std::to_string(*value);
  if (is_negative && *value != 0) text.insert(text.begin(), '-');
  return text;
}

std::optional<double> float_value(std::string_view scalar) {
  const bool is_negative = at(scalar, 0) == '-';
  const std::string digits = without_underscores(scalar.substr(sign_width(scalar)));
  double value = 0;
  if (digits == ".inf" || digits == ".Inf" || digits == ".INF") {
    value = std::numeric_limits<double>::infinity();
  } else if (digits == ".nan" || digits == ".NaN" || digits == ".NAN") {
    return std::numeric_limits<double>::quiet_NaN();
  } else {
    const char* const end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, value);
    if (read.ec != std::errc() || read.ptr != end) return std::nullopt;
  }
  return is_negative ? -value : value;
}

}  // namespace markdown::frontmatter
