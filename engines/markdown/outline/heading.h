// A heading of the outline: what its section takes from it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "text/row.h"

namespace markdown::outline {

struct Heading {
  std::string name;  // plain text, empty for a heading without text
  std::int64_t level = 1;
  text::Row first_row = 0;             // 0-based
  std::optional<std::string> summary;  // plain text of the paragraph directly below it, never empty
};

}  // namespace markdown::outline
