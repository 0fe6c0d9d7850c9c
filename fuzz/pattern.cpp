#include "pattern.h"

#include <cstdint>

#include "check.h"
#include "text/word.h"

namespace markdown::text {

// Stands in for the interpreter's tables. Any set is good enough, if the patterns use the same one (kWords). This set
// is small and has letters of two, three and four bytes.
bool is_wide_word(char32_t c) noexcept {
  return (c >= 0xC0 && c <= 0x24F) || (c >= 0x4E00 && c <= 0x9FFF) || (c >= 0x10400 && c <= 0x1044F);
}

}  // namespace markdown::text

namespace markdown::fuzz {
namespace {

constexpr std::string_view kSpaces =
    R"(\x09-\x0D\x1C-\x20\x{85}\x{A0}\x{1680}\x{2000}-\x{200A}\x{2028}\x{2029}\x{202F}\x{205F}\x{3000})";
constexpr std::string_view kWords = R"(0-9A-Z_a-z\x{C0}-\x{24F}\x{4E00}-\x{9FFF}\x{10400}-\x{1044F})";
constexpr std::uint32_t kMatchLimit = 200'000;

// The pattern with `\s`, `\S` and `\w` written out as sets, inside brackets and outside.
std::string spelled_out(std::string_view pattern) {
  std::string out;
  bool in_brackets = false;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == '\\') {
      const char letter = pattern[++i];
      if (letter == 's' || letter == 'w') {
        const std::string set(letter == 's' ? kSpaces : kWords);
        out += in_brackets ? set : "[" + set + "]";
      } else if (letter == 'S') {
        out += "[^" + std::string(kSpaces) + "]";
      } else {
        out += {'\\', letter};
      }
      continue;
    }
    if (pattern[i] == '[') {
      in_brackets = true;
    } else if (pattern[i] == ']') {
      in_brackets = false;
    }
    out += pattern[i];
  }
  return out;
}

}  // namespace

Pattern::Pattern(std::string_view text, Flags flags) {
  const std::string pattern = spelled_out(text);
  int error = 0;
  std::size_t offset = 0;
  const std::unique_ptr<pcre2_compile_context, void (*)(pcre2_compile_context*)> context(
      pcre2_compile_context_create(nullptr), pcre2_compile_context_free);
  pcre2_set_newline(context.get(), PCRE2_NEWLINE_LF);
  code_.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                            PCRE2_UTF | (flags == kDotAll ? PCRE2_DOTALL : 0), &error, &offset, context.get()));
  CHECK(code_);
  data_.reset(pcre2_match_data_create_from_pattern(code_.get(), nullptr));
  context_.reset(pcre2_match_context_create(nullptr));
  pcre2_set_match_limit(context_.get(), kMatchLimit);
}

std::vector<text::Span> Pattern::search(std::string_view text, std::size_t pos) const {
  const int count = pcre2_match(code_.get(), reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), pos,
                                PCRE2_NO_UTF_CHECK, data_.get(), context_.get());
  if (count == PCRE2_ERROR_NOMATCH) return {};
  if (count == PCRE2_ERROR_MATCHLIMIT || count == PCRE2_ERROR_HEAPLIMIT) throw TooLong();
  CHECK(count > 0);
  const std::size_t* offsets = pcre2_get_ovector_pointer(data_.get());
  std::vector<text::Span> groups;
  for (std::uint32_t i = 0; i < pcre2_get_ovector_count(data_.get()); ++i) {
    const bool took_part = offsets[2 * i] != PCRE2_UNSET;
    groups.push_back(took_part ? text::Span{offsets[2 * i], offsets[2 * i + 1]}
                               : text::Span{std::string_view::npos, std::string_view::npos});
  }
  return groups;
}

bool Pattern::matches_at_start(std::string_view text) const {
  const auto groups = search(text);
  return !groups.empty() && groups[0].begin == 0;
}

std::string Pattern::substitute(std::string_view text, const Replacement& replacement) const {
  std::string out;
  std::size_t done = 0;
  for (auto groups = search(text); !groups.empty(); groups = search(text, done)) {
    CHECK(groups[0].begin < groups[0].end);  // no pattern matches the empty text, so every step moves forward
    out += text.substr(done, groups[0].begin - done);
    out += replacement(groups);
    done = groups[0].end;
  }
  return out.append(text.substr(done));
}

std::string Pattern::keep(std::string_view text, std::size_t group) const {
  return substitute(text, [&](const std::vector<text::Span>& groups) {
    return group == 0 ? std::string() : std::string(groups[group].in(text));
  });
}

}  // namespace markdown::fuzz
