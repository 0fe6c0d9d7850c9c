// Percent-decoding with UTF-8.
//
// Tested by tests/test_links.py.
#pragma once

#include <string>
#include <string_view>

namespace markdown::links {

// Each "%" and two hexadecimal digits become the byte they stand for; the bytes of each stretch of ASCII characters are
// then decoded as UTF-8, U+FFFD for what is ill-formed. Everything else stays. The view is the text itself when it
// holds no "%", otherwise it points into `decoded`.
std::string_view unquote(std::string_view text, std::string& decoded);

}  // namespace markdown::links
