#include "frontmatter/yaml_recogniser.h"

#include <cstddef>

#include "frontmatter/yaml_scanner.h"

namespace markdown::frontmatter {
namespace {

constexpr int kDeepestNesting = 16;
// PyYAML's limit on a key, in characters. Counted in bytes here: a longer key is declined, not refused.
constexpr std::size_t kLongestKey = 1024;

// A recursive descent over the text, one call deep for each level of nesting. A function returns false to decline; what
// it has stored then is not used. A function that reads a block collection, node or leaf starts at its first token and
// ends at the token that does not belong to it, or at the end of the text.
//
// Some tokens belong to no block: their column is none of the blocks', or they stand after a value on its line. The
// second line of "a: b" and "  c" is such a token. It ends every block, the outermost one too, and the text is declined
// because it goes on.
//
// `sink` takes the value read. It is null for all values but those of fields.
class Recogniser {
 public:
  explicit Recogniser(std::string_view body) noexcept : scanner_(body) {}

  std::optional<YamlFields> recognise() {
    scanner_.skip_to_token();
    if (scanner_.is_at_end()) return YamlFields{};
    fields_.is_mapping = read_block_mapping(true) && scanner_.is_at_end();
    if (fields_.is_mapping) return std::move(fields_);
    return is_unloadable_ ? std::optional(YamlFields{false, true, {}}) : std::nullopt;
  }

 private:
  bool read_block_mapping(bool is_root);
  bool read_key(YamlValue*& sink, bool is_root);
  bool read_mapping_value(std::size_t column, YamlValue* sink);
  bool read_block_sequence();
  bool read_block_node(std::size_t indent, YamlValue* sink);
  bool read_leaf(std::size_t indent, YamlValue* sink);
  bool read_plain(bool in_flow, YamlValue* sink);
  bool read_flow_sequence();

  static void store(YamlValue* sink, YamlKind kind) noexcept {
    if (sink != nullptr) sink->kind = kind;
  }

  // Whether the line ends after a value, but for a comment.
  bool end_line() noexcept { return scanner_.skip_to_token() || scanner_.is_at_end(); }

  YamlScanner scanner_;
  YamlFields fields_;
  bool is_unloadable_ = false;
  int depth_ = 0;
};

bool Recogniser::read_block_mapping(bool is_root) {
  if (++depth_ > kDeepestNesting) return false;
  const std::size_t column = scanner_.column();
  do {
    YamlValue* sink = nullptr;
    if (!read_key(sink, is_root) || !read_mapping_value(column, sink)) return false;
  } while (!scanner_.is_at_end() && scanner_.column() == column);
  --depth_;
  return true;
}

// A key and its ':', on one line.
bool Recogniser::read_key(YamlValue*& sink, bool is_root) {
  const std::size_t begin = scanner_.place().pos;
  if (scanner_.peek() == '"' || scanner_.peek() == '\'') {
    std::string key;
    if (!scanner_.scan_quoted(is_root ? &key : nullptr)) return false;
    if (is_root) sink = find_field(fields_.values, key);
  } else {
    const auto plain = scanner_.scan_plain(false);
    if (!plain || !type_plain(*plain)) return false;
    if (is_root) sink = find_field(fields_.values, *plain);
  }
  scanner_.skip_spaces();
  if (!scanner_.is_at_indicator(':') || scanner_.place().pos - begin > kLongestKey) return false;
  scanner_.advance();
  if (sink != nullptr) *sink = {};  // the last of two equal keys counts
  return true;
}

// What follows a key of the mapping at `column`.
bool Recogniser::read_mapping_value(std::size_t column, YamlValue* sink) {
  const bool is_on_later_line = scanner_.skip_to_token();
  if (!scanner_.is_at_end() && scanner_.column() > column) {
    return is_on_later_line ? read_block_node(column, sink) : read_leaf(column, sink);
  }
  const bool is_sequence = scanner_.column() == column && scanner_.is_at_indicator('-');
  store(sink, is_sequence ? YamlKind::kOther : YamlKind::kNull);
  return !is_sequence || read_block_sequence();  // at the column of its mapping, whose next key ends it
}

bool Recogniser::read_block_sequence() {
  if (++depth_ > kDeepestNesting) return false;
  const std::size_t column = scanner_.column();
  do {
    scanner_.advance();
    scanner_.skip_to_token();
    const bool is_empty = scanner_.is_at_end() || scanner_.column() <= column;
    if (!is_empty && !read_block_node(column, nullptr)) return false;
  } while (!scanner_.is_at_end() && scanner_.column() == column && scanner_.is_at_indicator('-'));
  --depth_;
  return true;
}

// A node where a block collection may start: on a line of its own or after '-'. `indent` is the column of the enclosing
// block.
bool Recogniser::read_block_node(std::size_t indent, YamlValue* sink) {
  store(sink, YamlKind::kOther);
  if (scanner_.is_at_indicator('-')) return read_block_sequence();
  // A scalar may turn out to be the first key of a mapping. It is then read again, once: a leaf contains no blocks.
  const YamlScanner::Place begin = scanner_.place();
  if (read_leaf(indent, sink)) return true;
  scanner_.return_to(begin);
  store(sink, YamlKind::kOther);
  return read_block_mapping(false);
}

// A scalar or a flow sequence.
bool Recogniser::read_leaf(std::size_t indent, YamlValue* sink) {
  std::string* const out = sink == nullptr ? nullptr : &sink->text;
  switch (scanner_.peek()) {
    case '[':
      store(sink, YamlKind::kOther);
      return read_flow_sequence() && end_line();
    case '{':
      // A key that is a collection cannot be hashed: if what follows can be parsed at all, constructing the mapping
      // fails. Pages that site generators fill in have many such values, "title: {{ name }}".
      scanner_.advance();
      scanner_.skip_to_token();
      is_unloadable_ = scanner_.peek() == '{' || scanner_.peek() == '[';
      return false;
    case '"':
    case '\'':
      store(sink, YamlKind::kText);
      return scanner_.scan_quoted(out) && end_line();
    case '|':
    case '>':
      store(sink, YamlKind::kText);
      return scanner_.scan_block(indent, out) && end_line();
    default:
      return read_plain(false, sink) && end_line();
  }
}

bool Recogniser::read_plain(bool in_flow, YamlValue* sink) {
  const auto plain = scanner_.scan_plain(in_flow);
  const auto kind = plain ? type_plain(*plain) : std::nullopt;
  if (kind && sink != nullptr) *sink = {*kind, std::string(*plain)};
  return kind.has_value();
}

bool Recogniser::read_flow_sequence() {
  do {
    scanner_.advance();
    scanner_.skip_to_token();
    if (scanner_.peek() == ']') break;
    const bool is_quoted = scanner_.peek() == '"' || scanner_.peek() == '\'';
    if (!(is_quoted ? scanner_.scan_quoted(nullptr) : read_plain(true, nullptr))) return false;
    scanner_.skip_to_token();
  } while (scanner_.peek() == ',');
  if (scanner_.peek() != ']') return false;
  scanner_.advance();
  return true;
}

}  // namespace

std::optional<YamlFields> recognise_yaml(std::string_view body) {
  if (!is_scannable(body)) return std::nullopt;
  return Recogniser(body).recognise();
}

}  // namespace markdown::frontmatter
