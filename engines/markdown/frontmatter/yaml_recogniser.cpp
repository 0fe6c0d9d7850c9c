#include "frontmatter/yaml_recogniser.h"

#include <cstddef>

#include "frontmatter/yaml_scanner.h"

namespace markdown::frontmatter {
namespace {

constexpr int kDeepestNesting = 16;
// PyYAML's limit on the length of a key counts characters. This one counts bytes, so it may decline a key.
constexpr std::size_t kLongestKey = 1024;

// A recursive descent over the text. Every function returns false to decline the text; what it has stored then is not
// used. A function that reads a block collection, a node or a leaf starts at its first token. It ends at the first
// token after it, or at the end of the text. `sink` receives the value that is read; it is null when no field has it.
//
// A token whose column is that of no open block, such as `c` in "a: b\n  c", ends every block. The text then goes on
// after its outermost block, and is declined. The same holds for a token after a value on the same line.
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

  // Whether nothing but a comment follows on the line of a value. Moves to the next token.
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

// Reads a key and its ':', which stand on one line. Sets `sink` when the key is that of a field.
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
  if (sink != nullptr) *sink = {};  // of two equal keys, the later one counts
  return true;
}

// Reads the value after a key of the mapping at `column`; a key may have none.
bool Recogniser::read_mapping_value(std::size_t column, YamlValue* sink) {
  const bool is_on_later_line = scanner_.skip_to_token();
  if (!scanner_.is_at_end() && scanner_.column() > column) {
    return is_on_later_line ? read_block_node(column, sink) : read_leaf(column, sink);
  }
  const bool is_sequence = scanner_.column() == column && scanner_.is_at_indicator('-');
  store(sink, is_sequence ? YamlKind::kOther : YamlKind::kNull);
  return !is_sequence || read_block_sequence();  // at the column of the mapping; the next key ends the sequence
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

// Reads a node at a place where a block collection may start: on a line of its own, or after '-'. `indent` is the
// column of the enclosing block.
bool Recogniser::read_block_node(std::size_t indent, YamlValue* sink) {
  store(sink, YamlKind::kOther);
  if (scanner_.is_at_indicator('-')) return read_block_sequence();
  // What looks like a scalar may be the first key of a mapping, as in "a: b". It is then read a second time, but never
  // a third: a leaf contains no blocks.
  const YamlScanner::Place begin = scanner_.place();
  if (read_leaf(indent, sink)) return true;
  scanner_.return_to(begin);
  store(sink, YamlKind::kOther);
  return read_block_mapping(false);
}

// Reads a scalar or a flow sequence.
bool Recogniser::read_leaf(std::size_t indent, YamlValue* sink) {
  std::string* const out = sink == nullptr ? nullptr : &sink->text;
  switch (scanner_.peek()) {
    case '[':
      store(sink, YamlKind::kOther);
      return read_flow_sequence() && end_line();
    case '{':
      // "title: {{ name }}" is frequent in templates. It is a mapping whose key, a collection, cannot be hashed. So the
      // loader raises: when it parses what follows, or when it makes the dict.
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
