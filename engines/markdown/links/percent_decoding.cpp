#include "links/percent_decoding.h"

#include <optional>

#include "text/digits.h"
#include "text/utf8.h"

namespace markdown::links {
namespace {

std::optional<char> escaped_byte(std::string_view text, std::size_t pos) noexcept {
  if (pos + 2 >= text.size()) return std::nullopt;
  const int high = text::hex_value(text[pos + 1]);
  const int low = text::hex_value(text[pos + 2]);
  if (high < 0 || low < 0) return std::nullopt;
  return static_cast<char>(high * 16 + low);
}

}  // namespace

std::string_view unquote(std::string_view text, std::string& decoded) {
  if (text.find('%') == std::string_view::npos) return text;
  decoded.clear();
  std::string bytes;  // of the current stretch of ASCII characters
  for (std::size_t pos = 0; pos < text.size();) {
    if (!text::is_ascii(text[pos])) {
      text::append_replaced(decoded, bytes);
      bytes.clear();
      // A character outside ASCII is copied as it is. It never completes a sequence of decoded bytes.
      for (; pos < text.size() && !text::is_ascii(text[pos]); ++pos) decoded.push_back(text[pos]);
      continue;
    }
    const auto byte = text[pos] == '%' ? escaped_byte(text, pos) : std::nullopt;
    bytes.push_back(byte.value_or(text[pos]));
    pos += byte ? 3 : 1;
  }
  text::append_replaced(decoded, bytes);
  return decoded;
}

}  // namespace markdown::links
