// Compares link targets, destinations and percent-decoding with the published patterns, and with themselves on texts to
// which something is added before or after.
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "check.h"
#include "inline/code_span.h"
#include "links/destination.h"
#include "links/inline_targets.h"
#include "links/percent_decoding.h"
#include "pattern.h"
#include "text/space.h"
#include "text_of.h"

namespace markdown::fuzz {
namespace {

using links::LinkKind;

struct Target {
  LinkKind kind;
  std::string target;
  std::int64_t line;
  bool operator==(const Target&) const = default;
};
using Targets = std::vector<Target>;

Targets scan(links::InlineTargets& search, std::string_view text, std::int64_t first_line) {
  Targets found;
  search.start(text, first_line);
  while (const auto target = search.next()) found.push_back({target->kind, std::string(target->target), target->line});
  CHECK(!search.next());
  return found;
}

// The text without white space at its ends, one character at a time.
std::string trimmed(std::string_view text) {
  std::size_t begin = text.size();
  std::size_t end = 0;
  for (std::size_t pos = 0; pos < text.size(); pos += text::width_of(text[pos])) {
    if (text::is_space(text::decode_at(text, pos))) continue;
    begin = std::min(begin, pos);
    end = pos + text::width_of(text[pos]);
  }
  return begin < end ? std::string(text.substr(begin, end - begin)) : std::string();
}

class ByPattern {
 public:
  std::string destination(std::string_view written) const {
    std::string target = trimmed(written);
    if (target.starts_with('<') && target.ends_with('>')) {
      target = trimmed(std::string_view(target).substr(1, std::max<std::size_t>(target.size(), 2) - 2));
    }
    return external_.matches_at_start(target) ? "" : target;
  }

  Targets targets(std::string_view run, std::int64_t first_line) const {
    if (run.find("](") == run.npos && run.find("[[") == run.npos) return {};
    const std::string text = code_span_.substitute(
        run, [&](const std::vector<text::Span>& span) { return std::string(text::count_chars(span[0].in(run)), ' '); });
    struct Note {
      std::size_t begin;
      LinkKind kind;
      std::string target;
    };
    std::vector<Note> notes;
    for (auto link = inline_link_.search(text); !link.empty(); link = inline_link_.search(text, link[0].end)) {
      notes.push_back({link[0].begin, LinkKind::kDocument, destination(link[1].in(text))});
    }
    for (auto link = wiki_link_.search(text); !link.empty(); link = wiki_link_.search(text, link[0].end)) {
      const std::string page = trimmed(link[1].in(text));
      const std::string anchor = link[2].begin == std::string::npos ? "" : trimmed(link[2].in(text));
      notes.push_back({link[0].begin, LinkKind::kWiki, anchor.empty() ? page : page + "#" + anchor});
    }
    std::stable_sort(notes.begin(), notes.end(), [](const Note& a, const Note& b) { return a.begin < b.begin; });
    Targets found;
    for (const Note& note : notes) {
      if (note.target.empty()) continue;
      const auto newlines = std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(note.begin), '\n');
      found.push_back({note.kind, note.target, first_line + newlines});
    }
    return found;
  }

 private:
  Pattern code_span_{inlines::kCodeSpan, Pattern::kDotAll};
  Pattern inline_link_{links::kInlineLink};
  Pattern wiki_link_{links::kWikiLink};
  Pattern external_{links::kExternal};
};

void check_targets(const ByPattern& by_pattern, const std::string& text) {
  static links::InlineTargets used;  // its buffers still hold what earlier inputs have left in them
  constexpr std::int64_t kFirstLine = 10;
  const Targets found = scan(used, text, kFirstLine);
  std::int64_t line = kFirstLine;
  for (const Target& target : found) {
    CHECK(!target.target.empty() && text::is_valid(target.target));
    CHECK(target.line >= line);
    line = target.line;
  }
  CHECK(line <= kFirstLine + std::count(text.begin(), text.end(), '\n'));
  CHECK(links::may_hold_link(text) || found.empty());
  links::InlineTargets fresh;
  CHECK(scan(fresh, text, kFirstLine) == found);

  // The text that is added before has no opening bracket and no backtick, so it opens no link and no code span. The
  // text that is added after closes none.
  CHECK(scan(fresh, "a](b) *\n\n\xC3\xA9 " + text, kFirstLine - 2) == found);
  CHECK(scan(fresh, text + " [a \"\n[b](c 'd\n[[e\n", kFirstLine) == found);

  std::string blanked;
  CHECK(text::count_chars(links::blank_code_spans(text, blanked)) == text::count_chars(text));
  try {
    CHECK(by_pattern.targets(text, kFirstLine) == found);
  } catch (const TooLong&) {
  }
}

void check_destination(const ByPattern& by_pattern, const std::string& text) {
  const std::string_view target = links::destination(text);
  CHECK(target.empty() || (target.data() >= text.data() && target.data() + target.size() <= text.data() + text.size()));
  CHECK(trimmed(target) == target && !links::match_external(target));
  CHECK(by_pattern.destination(text) == target);
}

// The text percent-decoded, each stretch of ASCII characters by itself, one character after the other.
std::string unquoted(const std::string& text) {
  const auto digit = [&text](std::size_t pos) {
    const std::string_view digits = "00112233445566778899aAbBcCdDeEfF";
    return pos < text.size() ? digits.find(text[pos]) : std::string_view::npos;
  };
  std::string out;
  std::string stretch;
  const auto flush = [&] {
    text::append_replaced(out, stretch);
    stretch.clear();
  };
  for (std::size_t pos = 0; pos < text.size();) {
    const std::size_t width = text::width_of(text[pos]);
    if (width > 1) {
      flush();
      out += text.substr(pos, width);
    } else if (text[pos] == '%' && digit(pos + 1) != std::string_view::npos &&
               digit(pos + 2) != std::string_view::npos) {
      stretch += static_cast<char>(digit(pos + 1) / 2 * 16 + digit(pos + 2) / 2);
      pos += 2;
    } else {
      stretch += text[pos];
    }
    pos += width;
  }
  flush();
  return out;
}

void check_unquote(const std::string& text) {
  std::string buffer = "left over";
  const std::string decoded(links::unquote(text, buffer));
  CHECK(decoded == unquoted(text));
  CHECK(text::is_valid(decoded) && decoded.size() <= 3 * text.size());
  if (decoded.find('%') == std::string::npos) CHECK(links::unquote(decoded, buffer) == decoded);
  if (text.find('%') == std::string::npos) CHECK(decoded == text);
}

}  // namespace
}  // namespace markdown::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  namespace fuzz = markdown::fuzz;
  static const fuzz::ByPattern by_pattern;
  const std::string text = fuzz::text_of(data, size);
  fuzz::check_targets(by_pattern, text);
  fuzz::check_destination(by_pattern, text);
  fuzz::check_unquote(text);
  return 0;
}
