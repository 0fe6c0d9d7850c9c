#include "frontmatter/number_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace markdown::frontmatter {
namespace {

__extension__ using Wide = unsigned __int128;

// Limbs of 18 decimal digits take in 15 hexadecimal digits at a time: both are below 2^60, so that the product of a
// limb and 2^60 divides by the limb base with one high multiplication.
constexpr std::uint64_t kLimbBase = 1'000'000'000'000'000'000;
constexpr std::size_t kLimbDigits = 18;
constexpr unsigned kWordBits = 60;
constexpr std::size_t kWordDigits = kWordBits / 4;
// 2^60 / 10^18 is one and this fraction of 2^64.
constexpr auto kFraction =
    static_cast<std::uint64_t>(((Wide{1} << kWordBits) - kLimbBase) * (Wide{1} << 64) / kLimbBase);

// limbs = limbs * 2^60 + word.
void append_word(std::vector<std::uint64_t>& limbs, std::uint64_t word) {
  std::uint64_t carry = word;
  for (std::uint64_t& limb : limbs) {
    // An estimate of the quotient that is at most 3 too small: the fractions dropped are each below 1, and so is
    // carry / 10^18 beyond its own 1. The remainder then fits 64 bits, whatever its parts do.
    std::uint64_t quotient = limb + static_cast<std::uint64_t>((Wide{limb} * kFraction) >> 64);
    std::uint64_t remainder = (limb << kWordBits) + carry - quotient * kLimbBase;
    const std::uint64_t missing =
        std::uint64_t{remainder >= kLimbBase} + (remainder >= 2 * kLimbBase) + (remainder >= 3 * kLimbBase);
    limb = remainder - missing * kLimbBase;
    carry = quotient + missing;
  }
  for (; carry != 0; carry /= kLimbBase) limbs.push_back(carry % kLimbBase);
}

std::uint64_t hex_value(std::string_view digits) noexcept {
  std::uint64_t value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
  return value;
}

}  // namespace

std::string float_text(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
  std::array<char, 32> buffer;
  const auto written =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::scientific);
  std::string_view text(buffer.data(), static_cast<std::size_t>(written.ptr - buffer.data()));
  std::string out;
  if (text.front() == '-') {
    out += '-';
    text.remove_prefix(1);
  }

  const std::size_t mark = text.find('e');
  int exponent = 0;
  std::from_chars(text.data() + mark + (text[mark + 1] == '+' ? 2 : 1), text.data() + text.size(), exponent);
  constexpr int kLeastFixed = -4;
  constexpr int kLeastLarge = 16;
  // The library writes exponents as `repr` does: a sign and at least two digits.
  if (exponent < kLeastFixed || exponent >= kLeastLarge) return out.append(text);

  std::string digits(text.substr(0, 1));
  if (mark > 2) digits.append(text.substr(2, mark - 2));
  if (exponent < 0) {
    out.append("0.").append(static_cast<std::size_t>(-exponent - 1), '0').append(digits);
    return out;
  }
  const std::size_t whole = static_cast<std::size_t>(exponent) + 1;
  if (digits.size() <= whole) digits.append(whole + 1 - digits.size(), '0');
  return out.append(digits, 0, whole).append(".").append(digits, whole);
}

std::string integer_text_from_hex(std::string_view hex_digits, bool negative) {
  std::vector<std::uint64_t> limbs;
  limbs.reserve(hex_digits.size() / kWordDigits + hex_digits.size() / (kWordDigits * 10) + 2);
  std::size_t width = hex_digits.size() % kWordDigits;
  if (width == 0) width = std::min(kWordDigits, hex_digits.size());
  for (std::size_t pos = 0; pos < hex_digits.size(); pos += width, width = kWordDigits) {
    append_word(limbs, hex_value(hex_digits.substr(pos, width)));
  }
  if (limbs.empty()) return "0";

  std::string out = negative ? "-" : "";
  out += std::to_string(limbs.back());
  for (auto limb = limbs.rbegin() + 1; limb != limbs.rend(); ++limb) {
    const std::string digits = std::to_string(*limb);
    out.append(kLimbDigits - digits.size(), '0').append(digits);
  }
  return out;
}

}  // namespace markdown::frontmatter
