#include "frontmatter/reader.h"

#include "frontmatter/toml_fields.h"
#include "frontmatter/yaml_loader.h"
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

// The decimal digits of an int; of a very long one the leading digits, at least as many as plain text reads. The
// interpreter limits how many digits it writes out, and a host may have lowered the limit. So an int of more than 64
// bits is written in pieces of 18 digits, the last one first. Splitting off a piece takes time in the length of all
// that is left, so the digits that nobody reads are dropped before, by one division.
std::string integer_text(PyObject* number) {
  int overflow = 0;
  const long long value = PyLong_AsLongLongAndOverflow(number, &overflow);
  if (overflow == 0) {
    if (value == -1 && PyErr_Occurred()) throw python::PythonError();
    return std::to_string(value);
  }
  // A subclass of int may define its own division, so the number is made into a plain int first: by its hexadecimal
  // digits, to which the limit does not apply.
  const Ref written = Ref::steal(PyNumber_ToBase(number, 16));
  const std::string hex(python::Utf8(written.get()).view().substr(overflow < 0 ? 3 : 2));
  Ref rest = Ref::steal(PyLong_FromString(hex.c_str(), nullptr, 16));
  const auto power_of_ten = [ten = Ref::steal(PyLong_FromLong(10))](std::size_t exponent) {
    return Ref::steal(PyNumber_Power(ten.get(), Ref::steal(PyLong_FromSize_t(exponent)).get(), Py_None));
  };
  const std::size_t least_digits = (hex.size() - 1) * 6 / 5;  // a hexadecimal digit is worth 1.204 decimal ones
  if (least_digits > inlines::kMaxInlineLength) {
    const Ref unread = power_of_ten(least_digits - inlines::kMaxInlineLength);
    rest = Ref::steal(PyNumber_FloorDivide(rest.get(), unread.get()));
  }
  constexpr std::size_t kPieceDigits = 18;
  const Ref piece_base = power_of_ten(kPieceDigits);
  std::string text;
  for (;;) {
    const Ref piece = Ref::steal(PyNumber_Remainder(rest.get(), piece_base.get()));
    rest = Ref::steal(PyNumber_FloorDivide(rest.get(), piece_base.get()));
    std::string digits = std::to_string(PyLong_AsLongLong(piece.get()));
    const bool is_first = python::checked(PyObject_IsTrue(rest.get())) == 0;
    if (!is_first) digits.insert(0, kPieceDigits - digits.size(), '0');
    text.insert(0, digits);
    if (is_first) return overflow < 0 ? "-" + text : text;
  }
}

// The shortest decimal form that reads back as the same number: the `repr` of float itself, even for a subclass.
std::string float_text(PyObject* number) {
  const Ref text = Ref::steal(PyFloat_Type.tp_repr(number));
  return std::string(python::Utf8(text.get()).view());
}

// The body of a front matter block: its text without the first and the last line.
std::string_view body_of(std::string_view text) noexcept {
  while (text.ends_with('\n')) text.remove_suffix(1);
  const std::size_t first = text.find('\n');
  const std::size_t last = text.rfind('\n');
  return first == last ? std::string_view() : text.substr(first + 1, last - first - 1);
}

FrontMatter read_yaml(const ModuleState& state, PlainText& plain_text, std::string_view body, PyObject* prefix) {
  FrontMatter front;
  if (const auto yaml = read_natively(state, body)) {
    for (std::size_t i = 0; i < kFieldCount; ++i) {
      const YamlValue& value = yaml->values[i];
      const bool is_number = value.kind == YamlKind::kInteger || value.kind == YamlKind::kFloat;
      if (value.kind == YamlKind::kText) front[i] = plain_field(plain_text, value.text);
      if (is_number) front[i] = field_of(plain_text, to_object(value).get());
    }
  } else if (const auto loaded = load_fields(state, body, prefix)) {
    for (std::size_t i = 0; i < kFieldCount; ++i) front[i] = field_of(plain_text, (*loaded)[i].get());
  }
  return front;
}

FrontMatter read_toml(PlainText& plain_text, std::string_view body) {
  FrontMatter front;
  for_each_toml_field(
      body, [&](const TomlField& found) { front[found.field] = plain_field(plain_text, toml_string(found.literal)); });
  return front;
}

void log_too_long(const ModuleState& state, PyObject* prefix, std::size_t chars) {
  const Ref message = python::to_str("The front matter of %s is too long to read (%d chars)");
  const Ref length = Ref::steal(PyLong_FromSize_t(chars));
  Ref::steal(PyObject_CallMethodObjArgs(state.logger, state.names.debug, message.get(), prefix, length.get(), nullptr));
}

}  // namespace

std::optional<std::string> field_of(PlainText& plain_text, PyObject* value) {
  if (PyBool_Check(value)) return std::nullopt;  // bool is a subclass of int, but `title: yes` is not the title "1"
  if (PyUnicode_Check(value)) return plain_field(plain_text, python::Utf8(value).view());
  if (PyLong_Check(value)) return plain_field(plain_text, integer_text(value));
  if (PyFloat_Check(value)) return plain_field(plain_text, float_text(value));
  return std::nullopt;
}

FrontMatter read_front_matter(const blocks::NodeReader& nodes, PlainText& plain_text, const blocks::Block& block,
                              PyObject* prefix) {
  const blocks::NodeText text = nodes.text(block.node.get());
  const std::string_view body = body_of(text.view());
  const std::size_t chars = body.size() > kMaxFrontMatterLength ? text::count_chars(body) : 0;
  if (chars > kMaxFrontMatterLength) {
    log_too_long(nodes.state(), prefix, chars);
    return {};
  }
  if (block.kind == blocks::Kind::kMinusMetadata) return read_yaml(nodes.state(), plain_text, body, prefix);
  return read_toml(plain_text, body);
}

}  // namespace markdown::frontmatter
