// Percent-decoding with UTF-8.
//
// Tested by tests/test_links.py.
#pragma once

#include <string>
#include <string_view>

namespace markdown::links {

// Replaces each "%" and its two hexadecimal digits by the byte that they stand for. The bytes of each stretch of ASCII
// characters are then decoded as UTF-8, with U+FFFD for ill-formed bytes. Everything else stays. The view is the text
// itself when it has no "%"; otherwise it points into `decoded`.
std::string_view unquote(std::string_view text, std::string& decoded);

}  // namespace markdown::links
