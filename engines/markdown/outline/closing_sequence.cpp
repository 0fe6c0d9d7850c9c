#include "outline/closing_sequence.h"

namespace markdown::outline {
namespace {

constexpr bool is_blank(char c) noexcept { return c == ' ' || c == '\t'; }

}  // namespace

std::optional<text::Span> search_closing_sequence(std::string_view text) noexcept {
  std::size_t end = text.size();
  if (end > 0 && text[end - 1] == '\n') --end;
  std::size_t hashes_end = end;
  while (hashes_end > 0 && is_blank(text[hashes_end - 1])) --hashes_end;
  std::size_t hashes = hashes_end;
  while (hashes > 0 && text[hashes - 1] == '#') --hashes;
  if (hashes == hashes_end) return std::nullopt;
  std::size_t begin = hashes;
  while (begin > 0 && is_blank(text[begin - 1])) --begin;
  if (begin == hashes && begin > 0) return std::nullopt;
  return text::Span{begin, end};
}

}  // namespace markdown::outline
