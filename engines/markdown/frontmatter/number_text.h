// Numbers of front matter as the text that a title or a description made of them shows.
//
// Tested by tests/test_frontmatter.py.
#pragma once

#include <string>
#include <string_view>

namespace markdown::frontmatter {

// The shortest decimal form that reads back as the same number, as `repr` writes it: 2.0, -0.0, 1e-05, inf, nan.
std::string float_text(double value);

// The decimal digits of a number of any length, '-' before them when negative and not zero. `hex_digits` are of either
// case, perhaps with leading zeros; none at all is zero. Time grows with the square of the length: 65,000 digits take
// some 20 ms.
std::string integer_text_from_hex(std::string_view hex_digits, bool negative);

}  // namespace markdown::frontmatter
