// Link destinations: which of them lead to the repository, and what they name.
//
// Tested by tests/test_links.py.
#pragma once

#include <string_view>

namespace markdown::links {

// A URI scheme, known or not, or the two slashes before a host.
inline constexpr std::string_view kExternal = R"(^(?:[A-Za-z][A-Za-z0-9+.-]*:|//))";

// Equal and linear: one forward pass. The colon that ends a scheme is not among the characters of a scheme.
bool match_external(std::string_view target) noexcept;

// The repository target of a destination: a view into `written` without white space around it and without angle
// brackets. Empty for a link to the web and for a link that names nothing.
std::string_view destination(std::string_view written) noexcept;

}  // namespace markdown::links
