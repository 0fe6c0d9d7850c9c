// One left-to-right substitution of a pattern: each match is replaced by the part of it that is kept.
//
// A search is a class over one text. Its `next()` returns the matches of a pattern in order, without overlaps, as
// `re.Pattern.sub` finds them. The text that replaces a match is not searched again.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "text/span.h"

namespace markdown::inlines {

struct Match {
  text::Span whole;
  text::Span kept;  // group 1 or 2 of the pattern; empty when the whole match is dropped
};

// Writes the substituted text to `out` and returns true. Returns false and leaves `out` as it is when nothing matches.
template <class Search>
bool substitute(std::string_view text, std::string& out) {
  Search search(text);
  std::optional<Match> match = search.next();
  if (!match) return false;
  out.clear();
  std::size_t done = 0;
  for (; match; match = search.next()) {
    out.append(text.substr(done, match->whole.begin - done));
    out.append(match->kept.in(text));
    done = match->whole.end;
  }
  out.append(text.substr(done));
  return true;
}

}  // namespace markdown::inlines
