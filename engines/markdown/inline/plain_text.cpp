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

// The marker characters that occur in a text, as bits. A text without a backtick has no code span, so it is not
// searched for one; the same holds for every other marker. Substitutions only take text away, so a marker that is
// absent stays absent.
enum Marker : std::uint8_t {
  kBacktick = 1,
  kBracket = 2,
  kAngle = 4,
  kAsterisk = 8,
  kUnderscore = 16,
  kTilde = 32,
  kBackslash = 64,
  kSpace = 128,  // white space that collapsing may change: any but a single space between two other characters
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
    // A lead byte of white space counts as white space. The same byte may begin another character; collapsing finds
    // out.
    const bool may_be_space = text::kSpaceClass[byte] != text::SpaceClass::kNone;
    if (may_be_space && byte != ' ') table[byte] = kSpace;
  }
  return table;
}();

// Whether the text has two spaces in a row. The loop has no early exit, so that compilers can look at many bytes at a
// time.
bool has_space_pair(std::string_view text) noexcept {
  unsigned found = 0;
  for (std::size_t pos = 1; pos < text.size(); ++pos) {
    const unsigned here = text[pos] == ' ';
    const unsigned before = text[pos - 1] == ' ';
    found |= here & before;
  }
  return found != 0;
}

std::uint8_t markers_of(std::string_view text) noexcept {
  std::uint8_t markers = 0;
  const auto look_at = [&](std::size_t pos) { markers |= kMarkers[static_cast<unsigned char>(text[pos])]; };
  std::size_t pos = 0;
  for (; pos + 4 <= text.size(); pos += 4) {
    look_at(pos);
    look_at(pos + 1);
    look_at(pos + 2);
    look_at(pos + 3);
  }
  for (; pos < text.size(); ++pos) look_at(pos);
  if (text.starts_with(' ') || text.ends_with(' ') || (!(markers & kSpace) && has_space_pair(text))) markers |= kSpace;
  return markers;
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
  if (markers & kBackslash) drop.template operator()<EscapeSearch>();  // last: the searches above respect backslashes
  return text;
}

// Each run of white space becomes one space, and none is left at either end.
std::string_view PlainText::collapsed(std::string_view text) {
  if (result_.size() < text.size()) result_.resize(text.size());
  char* out = result_.data();
  bool after_space = true;
  for (std::size_t pos = 0; pos < text.size();) {
    if (text::space_class(text[pos]) == text::SpaceClass::kNone) {
      *out++ = text[pos++];
      after_space = false;
    } else if (const std::size_t space = text::space_width(text, pos)) {
      if (!after_space) *out++ = ' ';
      after_space = true;
      pos += space;
    } else {
      *out++ = text[pos++];  // a lead byte that begins no white space
      after_space = false;
    }
  }
  if (after_space && out != result_.data()) --out;
  return {result_.data(), static_cast<std::size_t>(out - result_.data())};
}

}  // namespace markdown::inlines
