// Compares the plain text of inline Markdown with what the published patterns give in the same order.
#include <algorithm>
#include <string>

#include "check.h"
#include "inline/code_span.h"
#include "inline/emphasis.h"
#include "inline/escape.h"
#include "inline/html.h"
#include "inline/link.h"
#include "inline/plain_text.h"
#include "outline/closing_sequence.h"
#include "pattern.h"
#include "text/space.h"
#include "text_of.h"

namespace markdown::fuzz {
namespace {

// The text with its white space collapsed, one character at a time.
std::string collapsed(std::string_view text) {
  std::string out;
  bool pending = false;
  for (std::size_t pos = 0; pos < text.size(); pos += text::width_of(text[pos])) {
    if (text::is_space(text::decode_at(text, pos))) {
      pending = !out.empty();
      continue;
    }
    if (pending) out += ' ';
    pending = false;
    out += text.substr(pos, text::width_of(text[pos]));
  }
  return out;
}

std::string first_chars(std::string_view text, std::size_t chars) {
  std::size_t pos = 0;
  for (; chars > 0 && pos < text.size(); --chars) pos += text::width_of(text[pos]);
  return std::string(text.substr(0, pos));
}

class ByPattern {
 public:
  std::string unmarked(std::string_view given) const {
    std::string text = autolink_.keep(link_.keep(image_.keep(given, 1), 1), 1);
    text = html_.keep(text, 0);
    for (const Pattern& emphasis : emphases_) text = emphasis.keep(text, 2);
    return escape_.keep(text, 1);
  }

  std::string plain_text(std::string_view given) const {
    const std::string text = first_chars(given, inlines::kMaxInlineLength);
    std::string parts;
    std::size_t done = 0;
    for (auto span = code_span_.search(text); !span.empty(); span = code_span_.search(text, done)) {
      parts += unmarked(std::string_view(text).substr(done, span[0].begin - done));
      parts += span[2].in(text);
      done = span[0].end;
    }
    return collapsed(parts + unmarked(std::string_view(text).substr(done)));
  }

  std::string opened(std::string_view text) const { return closing_.keep(text, 0); }

 private:
  Pattern code_span_{inlines::kCodeSpan, Pattern::kDotAll};
  Pattern image_{inlines::kImage};
  Pattern link_{inlines::kLink};
  Pattern autolink_{inlines::kAutolink};
  Pattern html_{inlines::kHtml, Pattern::kDotAll};
  Pattern emphases_[3] = {Pattern(inlines::kEmphases[0], Pattern::kDotAll),
                          Pattern(inlines::kEmphases[1], Pattern::kDotAll),
                          Pattern(inlines::kEmphases[2], Pattern::kDotAll)};
  Pattern escape_{inlines::kEscape};
  Pattern closing_{outline::kClosingSequence};
};

void check_shape(std::string_view given, std::string_view plain) {
  CHECK(text::is_valid(plain));
  CHECK(plain.size() <= given.size());
  CHECK(text::count_chars(plain) <= inlines::kMaxInlineLength);
  CHECK(plain.find("  ") == plain.npos && !plain.starts_with(' ') && !plain.ends_with(' '));
  for (std::size_t pos = 0; pos < plain.size(); pos += text::width_of(plain[pos])) {
    CHECK(plain[pos] == ' ' || !text::is_space(text::decode_at(plain, pos)));
  }
}

void check(std::string_view text) {
  static const ByPattern by_pattern;
  static inlines::PlainText used;  // its buffers still hold what earlier inputs have left in them
  inlines::PlainText fresh;

  const std::string plain(used.of(text));
  check_shape(text, plain);
  CHECK(fresh.of(text) == plain);
  CHECK(fresh.of(first_chars(text, inlines::kMaxInlineLength)) == plain);
  CHECK(text::is_valid(used.unmarked(text)));

  const auto closing = outline::search_closing_sequence(text);
  std::string opened(text.substr(0, closing ? closing->begin : text.size()));
  if (closing) opened += text.substr(closing->end);
  try {
    CHECK(by_pattern.opened(text) == opened);
    CHECK(by_pattern.unmarked(text) == fresh.unmarked(text));
    CHECK(by_pattern.plain_text(text) == plain);
  } catch (const TooLong&) {
  }
}

}  // namespace
}  // namespace markdown::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  markdown::fuzz::check(markdown::fuzz::text_of(data, size));
  return 0;
}
