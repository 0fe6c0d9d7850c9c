#include "inline/plain_text.h"

#include <array>

#include "inline/code_span.h"
#include "inline/emphasis.h"
#include "inline/escape.h"
#include "inline/html.h"
#include "inline/link.h"
#include "text/space.h"
#include "text/utf8.h"

namespace markdown::inlines {
namespace {

// Which of the characters that some pattern needs a text holds. What no pattern can match is not searched for it; since
// substitutions only take text away, a marker that the text lacks stays absent.
enum Marker : std::uint8_t {
  kBacktick = 1,
  kBracket = 2,
  kAngle = 4,
  kAsterisk = 8,
  kUnderscore = 16,
  kTilde = 32,
  kBackslash = 64,
  kSpace = 128,  // white space other than one space between two other characters, or a byte that may begin some
};

constexpr auto kMarkers = [] {
  std::array<std::uint8_t, 256> table{};
  table['`'] = kBacktick;
  table['['] = kBracket;
  table['<'] = kAngle;
  table['*'] = kAsterisk;
  table['_'] = kUnderscore;
  table['~'] = kTilde;
  table['\\'] = kBackslash;
  for (std::size_t byte = 0; byte < table.size(); ++byte) {
    const bool may_be_space = text::kSpaceClass[byte] != text::SpaceClass::kNone;
    if (may_be_space && byte != ' ') table[byte] = kSpace;
  }
  return table;
}();

std::uint8_t markers_of(std::string_view text) noexcept {
  unsigned markers = 0;
  char last = ' ';
  for (const char byte : text) {
    markers |= kMarkers[static_cast<unsigned char>(byte)];
    if (byte == ' ' && last == ' ') markers |= kSpace;
    last = byte;
  }
  if (last == ' ') markers |= kSpace;
  return static_cast<std::uint8_t>(markers);
}

}  // namespace

std::string_view PlainText::of(std::string_view markdown) {
  const std::string_view cut = text::first_chars(markdown, kMaxInlineLength);
  const std::uint8_t markers = markers_of(cut);
  if (markers == 0) return cut;
  if (!(markers & kBacktick)) return collapsed(unmarked(cut, markers));
  parts_.clear();
  std::size_t done = 0;
  CodeSpans spans(cut);
  while (const auto span = spans.next()) {
    parts_.append(unmarked(cut.substr(done, span->whole.begin - done), markers));
    parts_.append(span->content.in(cut));
    done = span->whole.end;
  }
  parts_.append(unmarked(cut.substr(done), markers));
  return collapsed(parts_);
}

std::string_view PlainText::unmarked(std::string_view text) { return unmarked(text, markers_of(text)); }

std::string_view PlainText::unmarked(std::string_view text, std::uint8_t markers) {
  const auto drop = [&]<class Search>() {
    if (!substitute<Search>(text, spare_)) return;
    substituted_.swap(spare_);
    text = substituted_;
  };
  if (markers & kBracket) {
    drop.template operator()<ImageSearch>();  // before links, so that a linked badge becomes its alt text
    drop.template operator()<LinkSearch>();
  }
  if (markers & kAngle) {
    drop.template operator()<AutolinkSearch>();
    drop.template operator()<HtmlSearch>();
  }
  if (markers & kAsterisk) drop.template operator()<AsteriskSearch>();
  if (markers & kUnderscore) drop.template operator()<UnderscoreSearch>();
  if (markers & kTilde) drop.template operator()<StrikethroughSearch>();
  if (markers & kBackslash) drop.template operator()<EscapeSearch>();  // last: until here a backslash keeps delimiters
  return text;
}

// Every run of white space becomes one space, and none is left at either end. Stretches that are as they should be,
// words with single spaces between them, are copied whole.
std::string_view PlainText::collapsed(std::string_view text) {
  result_.clear();
  for (std::size_t pos = text::skip_space(text, 0); pos < text.size();) {
    std::size_t end = pos;  // of the stretch
    std::size_t next = pos;
    while (next < text.size()) {
      const std::size_t space = text::space_width(text, next);
      end = next;
      if (space == 0) {
        end = ++next;
        continue;
      }
      next = text::skip_space(text, next + space);
      if (next != end + 1 || text[end] != ' ') break;
    }
    if (!result_.empty()) result_.push_back(' ');
    result_.append(text.substr(pos, end - pos));
    pos = next;
  }
  return result_;
}

}  // namespace markdown::inlines
