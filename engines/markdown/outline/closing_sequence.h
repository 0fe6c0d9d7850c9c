// The closing sequence of an ATX heading: the #s that may end its line.
//
// Tested by tests/test_outline.py.
#pragma once

#include <optional>
#include <string_view>

#include "text/span.h"

namespace markdown::outline {

inline constexpr std::string_view kClosingSequence = R"((?:^|[ \t]+)#+[ \t]*$)";

// In "Use ##  ", the match is " ##  ".
// Equal: "$" matches at the end of the text and before a newline that ends it. No match includes that newline, so there
// is one possible end. Read backwards from it: blanks, the maximal run of #s, then all blanks before it or the start of
// the text. A text has at most one match.
// Linear: one backward pass over what matches.
std::optional<text::Span> search_closing_sequence(std::string_view text) noexcept;

}  // namespace markdown::outline
