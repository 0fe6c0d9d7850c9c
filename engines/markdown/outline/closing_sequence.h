// The closing sequence of an ATX heading: the #s that may end its line.
//
// Tested by tests/test_outline.py.
#pragma once

#include <optional>
#include <string_view>

#include "text/span.h"

namespace markdown::outline {

inline constexpr std::string_view kClosingSequence = R"((?:^|[ \t]+)#+[ \t]*$)";

// In "Use ##  ", the match is " ##  ". Nothing when the text has no closing sequence.
// Equal: "$" matches at the end of the text and before a newline that ends it. No match includes that newline, so there
// is one possible end. Before that end stand blanks, the whole run of #s, and then all blanks before it or the start of
// the text. So a text has at most one match.
// Linear: one backward pass from that end.
std::optional<text::Span> search_closing_sequence(std::string_view text) noexcept;

}  // namespace markdown::outline
