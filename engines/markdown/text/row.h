// Rows: 0-based numbers of a text's lines.
#pragma once

#include <cstdint>

namespace markdown::text {

using Row = std::int64_t;

}  // namespace markdown::text
