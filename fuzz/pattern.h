// The published patterns, run by PCRE2 as a second opinion on the scanners that stand for them.
//
// PCRE2 differs from `re` in what `\s` and `\w` take, so these are spelled out before a pattern is compiled; the other
// constructs that the patterns use mean the same to both. Texts are well-formed UTF-8, offsets are bytes.
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

// A pattern that backtracks too long on a text has no opinion on it.
class TooLong {};

class Pattern {
 public:
  enum Flags { kNone, kDotAll };
  explicit Pattern(std::string_view text, Flags flags = kNone);

  // Groups of the first match at or behind `pos`, the whole match first; empty when there is none. A group that took no
  // part is an empty span at npos. Throws TooLong.
  std::vector<text::Span> search(std::string_view text, std::size_t pos = 0) const;
  bool matches_at_start(std::string_view text) const;

  using Replacement = std::function<std::string(const std::vector<text::Span>&)>;
  std::string substitute(std::string_view text, const Replacement& replacement) const;
  // Every match is replaced by one of its groups; 0 for nothing at all.
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
