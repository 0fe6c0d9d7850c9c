#include "frontmatter/reader.h"

#include "frontmatter/number_text.h"
#include "frontmatter/toml_fields.h"
#include "frontmatter/yaml_loader.h"
#include "frontmatter/yaml_recogniser.h"
#include "python/text.h"
#include "text/utf8.h"

namespace markdown::frontmatter {
namespace {

using inlines::PlainText;
using python::ModuleState;
using python::Ref;

std::optional<std::string> plain_field(PlainText& plain_text, std::string_view text) {
  const std::string_view plain = plain_text.of(text);
  return plain.empty() ? std::nullopt : std::optional<std::string>(plain);
}

std::optional<std::string> recognised_field(PlainText& plain_text, const YamlValue& value) {
  switch (value.kind) {
    case YamlValue::Kind::kText:
    case YamlValue::Kind::kInteger:
      return plain_field(plain_text, value.text);
    case YamlValue::Kind::kFloat:
      return plain_field(plain_text, float_text(value.number));
    default:
      return std::nullopt;
  }
}

// The digits of an int. Base 16 has no limit of length in the interpreter, base 10 has.
std::string integer_text(PyObject* number) {
  int overflow = 0;
  const long long value = PyLong_AsLongLongAndOverflow(number, &overflow);
  if (overflow == 0) {
    if (value == -1 && PyErr_Occurred()) throw python::PythonError();
    return std::to_string(value);
  }
  const Ref hex = Ref::steal(PyNumber_ToBase(number, 16));
  const python::Utf8 utf8(hex.get());
  const bool negative = overflow < 0;
  return integer_text_from_hex(utf8.view().substr(negative ? 3 : 2), negative);
}

FrontMatter read_yaml(const ModuleState& state, PlainText& plain_text, std::string_view body, PyObject* prefix) {
  if (const auto fields = read_natively(state, body)) {
    return {recognised_field(plain_text, fields->title), recognised_field(plain_text, fields->description)};
  }
  const auto loaded = load_fields(state, body, prefix);
  if (!loaded) return {};
  return {field_of(plain_text, loaded->title.get()), field_of(plain_text, loaded->description.get())};
}

FrontMatter read_toml(PlainText& plain_text, std::string_view body) {
  FrontMatter front;
  for_each_toml_field(body, [&](const TomlField& field) {
    (field.key == kTitle ? front.title : front.description) = plain_field(plain_text, toml_string(field.literal));
  });
  return front;
}

void log_too_long(const ModuleState& state, PyObject* prefix, std::size_t chars) {
  const Ref message = python::to_str("The front matter of %s is too long to read (%d chars)");
  const Ref length = Ref::steal(PyLong_FromSize_t(chars));
  Ref::steal(PyObject_CallMethodObjArgs(state.logger, state.names.debug, message.get(), prefix, length.get(), nullptr));
}

}  // namespace

std::optional<std::string> field_of(PlainText& plain_text, PyObject* value) {
  if (PyBool_Check(value)) return std::nullopt;  // an int to the interpreter, but no number that a title is made of
  if (PyUnicode_Check(value)) return plain_field(plain_text, python::Utf8(value).view());
  if (PyLong_Check(value)) return plain_field(plain_text, integer_text(value));
  if (PyFloat_Check(value)) return plain_field(plain_text, float_text(PyFloat_AS_DOUBLE(value)));
  return std::nullopt;
}

std::string_view body_of(std::string_view text) noexcept {
  while (text.ends_with('\n')) text.remove_suffix(1);
  const std::size_t first = text.find('\n');
  const std::size_t last = text.rfind('\n');
  return first == last ? std::string_view() : text.substr(first + 1, last - first - 1);
}

FrontMatter read_front_matter(const blocks::NodeReader& nodes, PlainText& plain_text, const blocks::Block& block,
                              PyObject* prefix) {
  const blocks::NodeText text = nodes.text(block.node.get());
  const std::string_view body = body_of(text.view());
  if (body.size() > kMaxFrontMatterLength) {  // a character has at least one byte
    const std::size_t chars = text::count_chars(body);
    if (chars > kMaxFrontMatterLength) {
      log_too_long(nodes.state(), prefix, chars);
      return {};
    }
  }
  if (block.kind == blocks::Kind::kMinusMetadata) return read_yaml(nodes.state(), plain_text, body, prefix);
  return read_toml(plain_text, body);
}

}  // namespace markdown::frontmatter
