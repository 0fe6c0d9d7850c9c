// The published patterns, run by PCRE2. The fuzz targets compare the scanners with them.
//
// In PCRE2 `\s` and `\w` match other characters than in `re`, so these are written out as sets before a pattern is
// compiled. The other constructs of the patterns mean the same to both. Texts are well-formed UTF-8, offsets are bytes.
#pragma once

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/span.h"

namespace markdown::fuzz {

// Thrown when a pattern backtracks too long on a text. There is then no answer to compare with.
class TooLong {};

class Pattern {
 public:
  enum Flags { kNone, kDotAll };
  explicit Pattern(std::string_view text, Flags flags = kNone);

  // The groups of the first match at or after `pos`, the whole match first; empty when there is no match. A group that
  // took no part in the match is an empty span at npos. Throws TooLong.
  std::vector<text::Span> search(std::string_view text, std::size_t pos = 0) const;
  bool matches_at_start(std::string_view text) const;

  using Replacement = std::function<std::string(const std::vector<text::Span>&)>;
  std::string substitute(std::string_view text, const Replacement& replacement) const;
  // Replaces each match by one of its groups, or by nothing when `group` is 0.
  std::string keep(std::string_view text, std::size_t group) const;

 private:
  struct Free {
    void operator()(pcre2_code* code) const { pcre2_code_free(code); }
    void operator()(pcre2_match_data* data) const { pcre2_match_data_free(data); }
    void operator()(pcre2_match_context* context) const { pcre2_match_context_free(context); }
  };
  std::unique_ptr<pcre2_code, Free> code_;
  std::unique_ptr<pcre2_match_data, Free> data_;
  std::unique_ptr<pcre2_match_context, Free> context_;
};

}  // namespace markdown::fuzz
