#include "python/arguments.h"
#include "python/sequence.h"
#include "python/text.h"
// After the interpreter's header.
#include "frontmatter/reader.h"
#include "frontmatter/toml_fields.h"
#include "frontmatter/yaml_loader.h"
#include "frontmatter/yaml_recogniser.h"
#include "outline/heading_reader.h"
#include "outline/title_section.h"
#include "surface/functions.h"
#include "surface/records.h"

namespace markdown::surface {
namespace {

using frontmatter::YamlValue;
using python::checked;
using python::ModuleState;
using python::Parameters;
using python::Ref;
using python::state_of;

PyObject* front_matter(PyObject* module, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<2> kParameters = {"_front_matter", {"node", "prefix"}};
  return python::guarded([&] {
    const auto [node, prefix] = kParameters.bind(args, nargs, keywords);
    const ModuleState& state = state_of(module);
    inlines::PlainText plain_text;
    const blocks::NodeReader nodes(state);
    const blocks::Block block{Ref::share(node), nodes.kind(node)};
    const auto front = frontmatter::read_front_matter(nodes, plain_text, block, prefix);
    const Ref title = to_str_or_none(front.title);
    const Ref description = to_str_or_none(front.description);
    PyObject* values[] = {title.get(), description.get()};
    return Ref::steal(PyObject_Vectorcall(state.front_matter_type, values, 2, nullptr));
  });
}

constexpr char kFrontMatter[] = R"(_front_matter($module, /, node, prefix)
--

A front matter block as a _FrontMatter.

node: a `minus_metadata` node, read as YAML; one of any other type is read as TOML.
prefix: the file's FQN prefix, for log records only.

Returns a new _FrontMatter: title and description as one-line plain text, None where the
front matter does not give them as text or cannot be read. A lone surrogate from an escape
of a TOML string stays in the text as it is.)";

PyObject* field(PyObject* module, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<2> kParameters = {"_field", {"fields", "key"}};
  return python::guarded([&] {
    const auto [fields, key] = kParameters.bind(args, nargs, keywords);
    const Ref value = Ref::steal(PyObject_CallMethodOneArg(fields, state_of(module).names.get, key));
    inlines::PlainText plain_text;
    return to_str_or_none(frontmatter::field_of(plain_text, value.get()));
  });
}

constexpr char kField[] = R"(_field($module, /, fields, key)
--

A field of front matter as plain text.

fields: a mapping from key to value.
key: a str.

Returns a str, or None when the field is absent, empty, or no str, int or float.)";

// The value as the loader gives it; nothing when only the loader can make it.
Ref to_object(const YamlValue& value) {
  switch (value.kind) {
    case YamlValue::Kind::kAbsent:
    case YamlValue::Kind::kNull:
      return python::none();
    case YamlValue::Kind::kFalse:
      return Ref::share(Py_False);
    case YamlValue::Kind::kTrue:
      return Ref::share(Py_True);
    case YamlValue::Kind::kInteger:
      return Ref::steal(PyLong_FromString(value.text.c_str(), nullptr, 10));
    case YamlValue::Kind::kFloat:
      return Ref::steal(PyFloat_FromDouble(value.number));
    case YamlValue::Kind::kText:
      return python::to_str(value.text);
    case YamlValue::Kind::kOther:
      break;
  }
  return {};
}

Ref fields_of(PyObject* title, PyObject* description) {
  Ref fields = Ref::steal(PyDict_New());
  checked(PyDict_SetItem(fields.get(), python::to_str(frontmatter::kTitle).get(), title));
  checked(PyDict_SetItem(fields.get(), python::to_str(frontmatter::kDescription).get(), description));
  return fields;
}

PyObject* yaml_fields(PyObject* module, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<2> kParameters = {"_yaml_fields", {"body", "prefix"}};
  return python::guarded([&] {
    const auto [body, prefix] = kParameters.bind(args, nargs, keywords);
    const ModuleState& state = state_of(module);
    const python::Utf8 utf8(body);
    if (const auto fields = frontmatter::read_natively(state, utf8.view())) {
      if (!fields->is_mapping) return Ref::steal(PyDict_New());
      const Ref title = to_object(fields->title);
      const Ref description = to_object(fields->description);
      if (title && description) return fields_of(title.get(), description.get());
    }
    const auto loaded = frontmatter::load_fields(state, utf8.view(), prefix);
    return loaded ? fields_of(loaded->title.get(), loaded->description.get()) : Ref::steal(PyDict_New());
  });
}

constexpr char kYamlFields[] = R"(_yaml_fields($module, /, body, prefix)
--

The fields of YAML front matter, as yaml.safe_load reads them.

body: a str, the lines between the delimiters.
prefix: the file's FQN prefix, for log records only.

Returns a new dict: "title" and "description" with their values or None, or nothing at all
when the body is no mapping or cannot be read; the latter makes a debug record.)";

PyObject* toml_fields(PyObject*, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<1> kParameters = {"_toml_fields", {"body"}};
  return python::guarded([&] {
    const auto [body] = kParameters.bind(args, nargs, keywords);
    const python::Utf8 utf8(body);
    Ref fields = Ref::steal(PyDict_New());
    frontmatter::for_each_toml_field(utf8.view(), [&](const frontmatter::TomlField& found) {
      const Ref key = python::to_str(found.key);
      const Ref value = python::to_str(frontmatter::toml_string(found.literal));
      checked(PyDict_SetItem(fields.get(), key.get(), value.get()));
    });
    return fields;
  });
}

constexpr char kTomlFields[] = R"(_toml_fields($module, /, body)
--

The fields of TOML front matter: strings on one line in its top table.

body: a str, the lines between the delimiters.

Returns a new dict with those of "title" and "description" that a line gives, as str.)";

PyObject* toml_string(PyObject*, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<1> kParameters = {"_toml_string", {"literal"}};
  return python::guarded([&] {
    const auto [literal] = kParameters.bind(args, nargs, keywords);
    const python::Utf8 utf8(literal);
    return python::to_str(frontmatter::toml_string(utf8.view()));
  });
}

constexpr char kTomlString[] = R"(_toml_string($module, /, literal)
--

The value of a TOML string literal.

literal: a str, a basic or literal string with its quotes.

Returns a str: JSON's escapes of a basic string decoded, or what stands between the quotes
when one does not decode. An escape of a lone surrogate gives that surrogate.)";

PyObject* with_front_matter(PyObject* module, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<3> kParameters = {"_with_front_matter", {"headings", "front", "following"}};
  return python::guarded([&] {
    const auto [headings, front, following] = kParameters.bind(args, nargs, keywords);
    const ModuleState& state = state_of(module);
    const auto given = [&](const Ref& text) { return checked(PyObject_IsTrue(text.get())) == 1; };
    const Ref title = Ref::steal(PyObject_GetAttr(front, state.names.title));
    const Ref description = Ref::steal(PyObject_GetAttr(front, state.names.description));
    const auto plan = outline::plan_title(read_places(state, headings), given(title), given(description));
    if (plan.change == outline::TitleChange::kNone) return Ref::share(headings);
    if (plan.change == outline::TitleChange::kDescribe) {
      const auto index = static_cast<Py_ssize_t>(plan.index);
      const Ref heading = Ref::steal(PySequence_GetItem(headings, index));
      checked(PySequence_SetItem(headings, index, with_summary(state, heading.get(), description.get()).get()));
      return Ref::share(headings);
    }
    outline::Heading section;
    const python::Utf8 name(title.get());
    section.name = name.view();
    if (given(description)) {
      section.summary = python::Utf8(description.get()).view();
    } else if (following != Py_None) {
      const blocks::NodeReader nodes(state);
      inlines::PlainText plain_text;
      section.summary = outline::read_summary(nodes, plain_text, {Ref::share(following), nodes.kind(following)});
    }
    Ref list = Ref::steal(PyList_New(0));
    checked(PyList_Append(list.get(), to_record(state, section).get()));
    python::for_each_item(headings, [&](const Ref& heading) { checked(PyList_Append(list.get(), heading.get())); });
    return list;
  });
}

constexpr char kWithFrontMatter[] = R"(_with_front_matter($module, /, headings, front, following)
--

The headings of a document with what its front matter says applied.

headings: a list of _Heading in document order.
front: the document's _FrontMatter.
following: the block after the front matter, or None.

Returns headings itself, its first H1 replaced in place by one with the description as its
summary when there are both; or, without an H1, a new list that begins with a title section.)";

}  // namespace

PyMethodDef front_matter_functions[] = {
    python::method("_front_matter", front_matter, kFrontMatter),
    python::method("_field", field, kField),
    python::method("_yaml_fields", yaml_fields, kYamlFields),
    python::method("_toml_fields", toml_fields, kTomlFields),
    python::method("_toml_string", toml_string, kTomlString),
    python::method("_with_front_matter", with_front_matter, kWithFrontMatter),
    {},
};

}  // namespace markdown::surface
