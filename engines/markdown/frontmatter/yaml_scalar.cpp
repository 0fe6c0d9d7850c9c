#include "frontmatter/yaml_scalar.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "text/byte_set.h"

namespace markdown::frontmatter {
namespace {

// `int` reads this many digits under any limit: a host may lower the limit, but not further.
constexpr std::size_t kMostDigits = 640;

// The bytes of a number in any base and of a timestamp. A scalar that begins with a digit and has any other byte, such
// as "3 ways", is text.
constexpr text::ByteSet kNumberBytes("0123456789_:+-. abcdefABCDEFxTtZ");
constexpr text::ByteSet kNotInNumbers("", [](char c) { return !kNumberBytes.has(c); });
constexpr text::ByteSet kAfterPoint("0123456789iInN");

// PyYAML knows only these spellings. "yEs" is text, and so are "y" and "n".
constexpr auto kBools =
    std::to_array<std::string_view>({"yes", "Yes", "YES", "no", "No", "NO", "true", "True", "TRUE", "on", "On", "ON",
                                     "false", "False", "FALSE", "off", "Off", "OFF"});
constexpr auto kNulls = std::to_array<std::string_view>({"~", "null", "Null", "NULL"});
constexpr std::size_t kLongestWord = 5;

constexpr bool is_digit(char c) noexcept { return c >= '0' && c <= '9'; }

std::optional<YamlKind> type_word(std::string_view scalar) noexcept {
  if (scalar.size() > kLongestWord) return YamlKind::kText;
  const auto is_in = [scalar](const auto& words) { return std::count(words.begin(), words.end(), scalar) > 0; };
  if (is_in(kBools)) return YamlKind::kOther;
  if (is_in(kNulls)) return YamlKind::kNull;
  if (scalar == "<<" || scalar == "=") return std::nullopt;  // special as keys, an error everywhere else
  return YamlKind::kText;
}

// Whether the text has the shape: a digit wherever the shape has '0', and the same byte everywhere else.
bool has_shape(std::string_view text, std::string_view shape) noexcept {
  return std::equal(text.begin(), text.end(), shape.begin(), shape.end(),
                    [](char c, char wanted) { return wanted == '0' ? is_digit(c) : c == wanted; });
}

int two_digits(std::string_view text, std::size_t pos) noexcept { return (text[pos] - '0') * 10 + text[pos + 1] - '0'; }

// A date such as 2024-05-01. A time such as "T10:00:00" or " 10:00:00" may follow, then a zone such as "Z" or "+02:00";
// with " +0200" the scalar is text. The loader raises for what does not exist, so that is declined, and so is every
// 29th of February.
std::optional<YamlKind> type_timestamp(std::string_view scalar) noexcept {
  constexpr std::array<int, 12> kDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  constexpr std::size_t kDateWidth = 10;
  constexpr std::size_t kTimeWidth = 9;
  if (!has_shape(scalar.substr(0, kDateWidth), "0000-00-00") || scalar.starts_with("0000")) return std::nullopt;
  const auto month = static_cast<std::size_t>(two_digits(scalar, 5));
  const int day = two_digits(scalar, 8);
  if (month < 1 || month > kDays.size() || day < 1 || day > kDays[month - 1]) return std::nullopt;
  if (scalar.size() == kDateWidth) return YamlKind::kOther;
  const std::string_view time = scalar.substr(kDateWidth);
  if ((time[0] != 'T' && time[0] != ' ') || !has_shape(time.substr(1, kTimeWidth - 1), "00:00:00")) return std::nullopt;
  if (two_digits(time, 1) > 23 || two_digits(time, 4) > 59 || two_digits(time, 7) > 59) return std::nullopt;
  const std::string_view zone = time.substr(kTimeWidth);
  if (zone.empty() || zone == "Z") return YamlKind::kOther;
  if (has_shape(zone, " +0000") || has_shape(zone, " -0000")) return YamlKind::kText;
  const bool is_zone = has_shape(zone, "+00:00") || has_shape(zone, "-00:00");
  if (!is_zone || two_digits(zone, 1) > 23 || two_digits(zone, 4) > 59) return std::nullopt;
  return YamlKind::kOther;
}

// Types a scalar that begins with a digit, a sign or a point.
std::optional<YamlKind> type_number(std::string_view scalar) noexcept {
  const bool has_sign = scalar[0] == '+' || scalar[0] == '-';
  const std::string_view number = scalar.substr(has_sign ? 1 : 0);
  if (number.starts_with('.')) {
    // ".5", ".inf" and ".nan" are declined, and so is ".net", which begins like one. "../images" is text.
    if (number.size() > 1 && kAfterPoint.has(number[1])) return std::nullopt;
    return YamlKind::kText;
  }
  if (number.empty() || !is_digit(number[0])) return YamlKind::kText;
  if (text::find_any(number, 0, kNotInNumbers) < number.size()) return YamlKind::kText;
  const auto points = std::count(number.begin(), number.end(), '.');
  const auto digits = std::count_if(number.begin(), number.end(), is_digit);
  if (static_cast<std::size_t>(points + digits) < number.size()) return type_timestamp(scalar);
  if (points > 1) return YamlKind::kText;  // 1.2.3
  if (points == 1) return YamlKind::kFloat;
  const bool is_octal = number[0] == '0' && digits > 1;
  if (is_octal || number.size() > kMostDigits) return std::nullopt;
  return YamlKind::kInteger;
}

}  // namespace

std::optional<YamlKind> type_plain(std::string_view scalar) noexcept {
  constexpr text::ByteSet kNumberStarts("0123456789+-.");
  return kNumberStarts.has(scalar[0]) ? type_number(scalar) : type_word(scalar);
}

}  // namespace markdown::frontmatter
