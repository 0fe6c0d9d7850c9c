// Link destinations: which of them lead to the repository, and what they name.
//
// Tested by tests/test_links.py.
#pragma once

#include <string_view>

namespace markdown::links {

// A URI scheme, known or not, or the two slashes before a host.
inline constexpr std::string_view kExternal = R"(^(?:[A-Za-z][A-Za-z0-9+.-]*:|//))";

// Equal and linear: one forward pass; the scheme's characters do not include the colon that ends it.
bool match_external(std::string_view target) noexcept;

// The repository target of a destination as written, a part of it: trimmed, out of its angle brackets. Empty for a link
// to the web and for one that names nothing.
std::string_view destination(std::string_view written) noexcept;

}  // namespace markdown::links
