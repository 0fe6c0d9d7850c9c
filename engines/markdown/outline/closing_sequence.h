// The closing sequence of an ATX heading: the #s that may end its line.
//
// Tested by tests/test_outline.py.
#pragma once

#include <optional>
#include <string_view>

#include "text/span.h"

namespace markdown::outline {

inline constexpr std::string_view kClosingSequence = R"((?:^|[ \t]+)#+[ \t]*$)";

// Equal: "$" holds at the end and before a line feed that ends the text, but no match reaches over that line feed, so
// one end remains and is read backwards: spaces, the maximal run of #s, and in front of it the start of the text or all
// the spaces and tabs there are. A text holds one match at most. Linear: one backward pass over what matches.
std::optional<text::Span> search_closing_sequence(std::string_view text) noexcept;

}  // namespace markdown::outline
