#include "text/utf8.h"

#include <cstdint>
#include <cstring>
#include <span>

#include "text/count.h"

namespace markdown::text {
namespace {

constexpr std::uint64_t kHighBits = 0x8080808080808080U;

std::uint64_t load8(const char* at) noexcept {
  std::uint64_t word;
  std::memcpy(&word, at, sizeof word);
  return word;
}

bool is_ascii32(const char* at) noexcept {
  return ((load8(at) | load8(at + 8) | load8(at + 16) | load8(at + 24)) & kHighBits) == 0;
}

constexpr unsigned byte_at(std::string_view bytes, std::size_t pos) noexcept {
  return static_cast<unsigned char>(bytes[pos]);
}

// One step of strict decoding outside ASCII: how many bytes belong together, and whether they are a character. An
// ill-formed step is what Unicode calls a maximal subpart. For example, "\xE2\x82(" begins with a step of two bytes,
// which could have begun a character; "\xFF(" begins with a step of one byte, which could not.
struct Step {
  std::size_t length;
  bool valid;
};

Step step_at(std::string_view bytes, std::size_t pos) noexcept {
  const unsigned lead = byte_at(bytes, pos);
  if (lead < 0xC2 || lead > 0xF4) return {1, false};
  const std::size_t width = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  // The second byte alone rules out overlong forms, surrogates and what lies beyond U+10FFFF.
  const unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (pos + 1 >= bytes.size() || byte_at(bytes, pos + 1) < low || byte_at(bytes, pos + 1) > high) return {1, false};
  for (std::size_t i = 2; i < width; ++i) {
    if (pos + i >= bytes.size() || !is_continuation(bytes[pos + i])) return {i, false};
  }
  return {width, true};
}

}  // namespace

char32_t decode_at(std::string_view text, std::size_t pos) noexcept {
  const std::size_t width = width_of(text[pos]);
  if (width == 1) return byte_at(text, pos);
  char32_t c = byte_at(text, pos) & (0xFFU >> (width + 1));
  for (std::size_t i = 1; i < width && pos + i < text.size(); ++i) c = c << 6 | (byte_at(text, pos + i) & 0x3FU);
  return c;
}

std::size_t count_chars(std::string_view text) noexcept {
  // Each byte that is not a continuation byte starts a character.
  return count_units(std::span(text.data(), text.size()), [](char byte) { return !is_continuation(byte); });
}

std::string_view first_chars(std::string_view text, std::size_t chars) noexcept {
  if (text.size() <= chars) return text;  // a character has at least one byte
  std::size_t pos = 0;
  // A block has at most as many characters as bytes, so it fits while at least that many characters are left.
  for (constexpr std::size_t kBlock = 128; chars >= kBlock && pos + kBlock <= text.size(); pos += kBlock) {
    chars -= count_chars(text.substr(pos, kBlock));
  }
  while (pos < text.size()) {
    if (!is_continuation(text[pos]) && chars-- == 0) break;
    ++pos;
  }
  return text.substr(0, pos);
}

void append_char(std::string& out, char32_t c) {
  const auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | c >> 6);
    put(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    put(0xE0 | c >> 12);
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
  } else {
    put(0xF0 | c >> 18);
    put(0x80 | (c >> 12 & 0x3F));
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
  }
}

std::size_t valid_prefix(std::string_view bytes) noexcept {
  std::size_t pos = 0;
  while (pos < bytes.size()) {
    while (pos + 32 <= bytes.size() && is_ascii32(bytes.data() + pos)) pos += 32;
    while (pos + 8 <= bytes.size() && (load8(bytes.data() + pos) & kHighBits) == 0) pos += 8;
    // Fewer than eight bytes are left. They are read together with bytes before them that are known to be valid.
    if (pos + 8 > bytes.size() && bytes.size() >= 8 && (load8(bytes.data() + bytes.size() - 8) & kHighBits) == 0) {
      return bytes.size();
    }
    while (pos < bytes.size() && is_ascii(bytes[pos])) ++pos;
    if (pos == bytes.size()) break;
    const Step step = step_at(bytes, pos);
    if (!step.valid) break;
    pos += step.length;
  }
  return pos;
}

void append_replaced(std::string& out, std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t valid = valid_prefix(bytes);
    out.append(bytes.substr(0, valid));
    bytes.remove_prefix(valid);
    if (bytes.empty()) break;
    out.append(kReplacement);
    bytes.remove_prefix(step_at(bytes, 0).length);
  }
}

}  // namespace markdown::text
