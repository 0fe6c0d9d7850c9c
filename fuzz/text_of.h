// The fuzzer's bytes as a text for the scanners. Ill-formed sequences are replaced, as they are when a node is read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "text/utf8.h"

namespace markdown::fuzz {

inline std::string text_of(const std::uint8_t* data, std::size_t size) {
  std::string text;
  text::append_replaced(text, {reinterpret_cast<const char*>(data), size});
  return text;
}

}  // namespace markdown::fuzz
