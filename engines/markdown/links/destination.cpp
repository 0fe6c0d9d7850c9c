#include "links/destination.h"

#include "text/space.h"

namespace markdown::links {
namespace {

constexpr bool is_letter(char c) noexcept { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
constexpr bool is_scheme(char c) noexcept {
  return is_letter(c) || (c >= '0' && c <= '9') || c == '+' || c == '.' || c == '-';
}

}  // namespace

bool match_external(std::string_view target) noexcept {
  if (target.starts_with("//")) return true;
  if (target.empty() || !is_letter(target.front())) return false;
  std::size_t pos = 1;
  while (pos < target.size() && is_scheme(target[pos])) ++pos;
  return pos < target.size() && target[pos] == ':';
}

std::string_view destination(std::string_view written) noexcept {
  std::string_view target = text::trim(written);
  if (target.starts_with('<') && target.ends_with('>')) target = text::trim(target.substr(1, target.size() - 2));
  return match_external(target) ? std::string_view() : target;
}

}  // namespace markdown::links
