#include "frontmatter/yaml_recogniser.h"

#include <cstddef>
#include <utility>

#include "frontmatter/yaml_scalar.h"
#include "frontmatter/yaml_scanner.h"

namespace markdown::frontmatter {
namespace {

using Kind = YamlValue::Kind;

constexpr int kDeepestNesting = 16;
// PyYAML's limit on a key, in characters. Counted in bytes here: a longer key is declined, not refused.
constexpr std::size_t kLongestKey = 1024;

// A recursive descent over the text, one call deep for each level of nesting. Functions return false to decline; what
// they have stored then is not used. A function that reads a block collection, node or leaf starts at its first token
// and ends at the token that does not belong to it, or at the end of the text. A token that belongs to no block at all
// (its column is none of theirs, or it stands behind a value on the same line) thus ends every block, the outermost
// one too, and the text is declined because it goes on.
//
// `sink` takes the value read; it is null for all values but those of the two fields.
class Recogniser {
 public:
  explicit Recogniser(std::string_view body) noexcept : scanner_(body) {}

  std::optional<YamlFields> recognise() {
    scanner_.skip_to_token();
    if (scanner_.is_at_end()) return YamlFields{};
    fields_.is_mapping = true;
    if (!read_block_mapping(true) || !scanner_.is_at_end()) {
      return fields_.unloadable ? std::optional(YamlFields{false, true, {}, {}}) : std::nullopt;
    }
    return std::move(fields_);
  }

 private:
  // A level of nesting; false when there are too many.
  class Level {
   public:
    explicit Level(int& depth) noexcept : depth_(depth) { ++depth_; }
    Level(const Level&) = delete;
    Level& operator=(const Level&) = delete;
    ~Level() { --depth_; }
    explicit operator bool() const noexcept { return depth_ <= kDeepestNesting; }

   private:
    int& depth_;
  };

  bool read_block_mapping(bool is_root);
  bool read_key(YamlValue*& sink, bool is_root);
  bool read_mapping_value(std::size_t column, YamlValue* sink);
  bool read_block_sequence();
  bool read_block_node(std::size_t indent, YamlValue* sink);
  bool read_leaf(std::size_t indent, YamlValue* sink);
  bool read_plain(std::size_t indent, YamlValue* sink);
  bool read_flow_collection();
  bool read_flow_entry(bool in_mapping);
  bool read_flow_scalar();

  YamlValue* field_of(std::string_view key) noexcept {
    if (key == "title") return &fields_.title;
    if (key == "description") return &fields_.description;
    return nullptr;
  }

  static void store(YamlValue* sink, Kind kind) noexcept {
    if (sink != nullptr) sink->kind = kind;
  }

  // Whether the line ends behind a value, but for a comment.
  bool end_line() noexcept { return scanner_.skip_to_token() || scanner_.is_at_end(); }

  YamlScanner scanner_;
  YamlFields fields_;
  int depth_ = 0;
};

bool store_plain(YamlValue* sink, std::string_view scalar, ScalarType type) {
  if (type == ScalarType::kRefused) return false;
  if (sink == nullptr) return true;
  switch (type) {
    case ScalarType::kNull:
      sink->kind = Kind::kNull;
      return true;
    case ScalarType::kFalse:
      sink->kind = Kind::kFalse;
      return true;
    case ScalarType::kTrue:
      sink->kind = Kind::kTrue;
      return true;
    case ScalarType::kInteger: {
      std::optional<std::string> text = integer_text(scalar);
      if (!text) return false;
      sink->kind = Kind::kInteger;
      sink->text = *std::move(text);
      return true;
    }
    case ScalarType::kFloat: {
      const std::optional<double> number = float_value(scalar);
      if (!number) return false;
      sink->kind = Kind::kFloat;
      sink->number = *number;
      return true;
    }
    case ScalarType::kText:
      sink->kind = Kind::kText;
      sink->text = scalar;
      return true;
    case ScalarType::kTimestamp:
    case ScalarType::kRefused:
      break;
  }
  sink->kind = Kind::kOther;
  return true;
}

// A scalar that spans lines holds a space or a line break, so that it is text, unless it is a date and a time.
bool may_be_timestamp(const PlainScalar& scalar) noexcept {
  return scalar.is_folded && scalar.text.front() >= '0' && scalar.text.front() <= '9';
}

bool Recogniser::read_block_mapping(bool is_root) {
  const Level level(depth_);
  if (!level) return false;
  const std::size_t column = scanner_.column();
  do {
    YamlValue* sink = nullptr;
    if (!read_key(sink, is_root) || !read_mapping_value(column, sink)) return false;
  } while (!scanner_.is_at_end() && scanner_.column() == column);
  return true;
}

// A key and its ':', on one line.
bool Recogniser::read_key(YamlValue*& sink, bool is_root) {
  const YamlScanner::Place begin = scanner_.place();
  if (scanner_.peek() == '"' || scanner_.peek() == '\'') {
    std::string key;
    if (!scanner_.scan_quoted(is_root ? &key : nullptr)) return false;
    if (is_root) sink = field_of(key);
  } else {
    if (!scanner_.can_start_plain(false)) return false;
    const PlainScalar key = scanner_.scan_plain(false, scanner_.column() + 1);
    if (type_plain(key.text) == ScalarType::kRefused) return false;
    if (is_root) sink = field_of(key.text);
  }
  while (scanner_.peek() == ' ') scanner_.advance();
  if (!scanner_.is_at_indicator(':') || scanner_.place().line_begin != begin.line_begin) return false;
  if (scanner_.place().pos - begin.pos > kLongestKey) return false;
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
  if (scanner_.column() == column && scanner_.is_at_indicator('-')) {
    store(sink, Kind::kOther);
    return read_block_sequence();  // at the column of its mapping, whose next key ends it
  }
  store(sink, Kind::kNull);
  return true;
}

bool Recogniser::read_block_sequence() {
  const Level level(depth_);
  if (!level) return false;
  const std::size_t column = scanner_.column();
  do {
    scanner_.advance();
    scanner_.skip_to_token();
    const bool is_empty = scanner_.is_at_end() || scanner_.column() <= column;
    if (!is_empty && !read_block_node(column, nullptr)) return false;
  } while (!scanner_.is_at_end() && scanner_.column() == column && scanner_.is_at_indicator('-'));
  return true;
}

// A node where a block collection may start: on a line of its own or behind '-'. `indent` is the column of the block
// around it.
bool Recogniser::read_block_node(std::size_t indent, YamlValue* sink) {
  if (scanner_.is_at_indicator('-')) {
    store(sink, Kind::kOther);
    return read_block_sequence();
  }
  // A scalar may turn out to be the first key of a mapping. It is then read again, once: a leaf holds no blocks.
  const YamlScanner::Place begin = scanner_.place();
  if (read_leaf(indent, sink)) return true;
  scanner_.return_to(begin);
  store(sink, Kind::kOther);
  return read_block_mapping(false);
}

// A scalar or a flow collection.
bool Recogniser::read_leaf(std::size_t indent, YamlValue* sink) {
  std::string* const out = sink == nullptr ? nullptr : &sink->text;
  switch (scanner_.peek()) {
    case '[':
    case '{':
      store(sink, Kind::kOther);
      return read_flow_collection() && end_line();
    case '"':
    case '\'':
      store(sink, Kind::kText);
      return scanner_.scan_quoted(out) && end_line();
    case '|':
    case '>':
      store(sink, Kind::kText);
      return scanner_.scan_block(indent, out) && end_line();
    default:
      return read_plain(indent, sink) && end_line();
  }
}

bool Recogniser::read_plain(std::size_t indent, YamlValue* sink) {
  if (!scanner_.can_start_plain(false)) return false;
  const PlainScalar scalar = scanner_.scan_plain(false, indent + 1);
  if (!scalar.is_folded) return store_plain(sink, scalar.text, type_plain(scalar.text));
  if (may_be_timestamp(scalar)) return false;
  store(sink, Kind::kText);
  if (sink != nullptr) sink->text = folded_text(scalar.text);
  return true;
}

bool Recogniser::read_flow_collection() {
  const Level level(depth_);
  if (!level) return false;
  const bool is_mapping = scanner_.peek() == '{';
  const char close = is_mapping ? '}' : ']';
  do {
    scanner_.advance();
    scanner_.skip_to_token();
    if (scanner_.peek() == close) break;
    if (!read_flow_entry(is_mapping)) return false;
    scanner_.skip_to_token();
  } while (scanner_.peek() == ',');
  if (scanner_.peek() != close) return false;
  scanner_.advance();
  return true;
}

// An entry of a sequence, or a key of a mapping and perhaps its value.
bool Recogniser::read_flow_entry(bool in_mapping) {
  const bool is_collection = scanner_.peek() == '[' || scanner_.peek() == '{';
  if (!in_mapping) return is_collection ? read_flow_collection() : read_flow_scalar();
  const YamlScanner::Place begin = scanner_.place();
  // A key that is a collection cannot be hashed: if what follows can be parsed at all, constructing the mapping fails.
  // Pages that site generators fill in have many such, "title: {{ name }}".
  fields_.unloadable = is_collection;
  if (is_collection || !read_flow_scalar()) return false;
  scanner_.skip_to_token();
  if (scanner_.peek() != ':') return true;
  const YamlScanner::Place colon = scanner_.place();
  if (colon.line_begin != begin.line_begin || colon.pos - begin.pos > kLongestKey) return false;
  scanner_.advance();
  scanner_.skip_to_token();
  return scanner_.peek() == ',' || scanner_.peek() == '}' || read_flow_entry(false);
}

bool Recogniser::read_flow_scalar() {
  if (scanner_.peek() == '"' || scanner_.peek() == '\'') return scanner_.scan_quoted(nullptr);
  if (!scanner_.can_start_plain(true)) return false;
  const PlainScalar scalar = scanner_.scan_plain(true, 0);
  return scalar.is_folded ? !may_be_timestamp(scalar) : type_plain(scalar.text) != ScalarType::kRefused;
}

}  // namespace

std::optional<YamlFields> recognise_yaml(std::string_view body) {
  if (!is_scannable(body)) return std::nullopt;
  return Recogniser(body).recognise();
}

}  // namespace markdown::frontmatter
