#include "python/arguments.h"
#include "python/text.h"
// After the interpreter's header.
#include <algorithm>

#include "frontmatter/reader.h"
#include "frontmatter/toml_fields.h"
#include "frontmatter/yaml_loader.h"
#include "outline/heading_reader.h"
#include "outline/title_section.h"
#include "surface/functions.h"
#include "surface/records.h"

namespace markdown::surface {
namespace {

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
    frontmatter::Fields<Ref> texts;
    frontmatter::Fields<PyObject*> values;
    for (std::size_t i = 0; i < values.size(); ++i) {
      texts[i] = to_str_or_none(front[i]);
      values[i] = texts[i].get();
    }
    return Ref::steal(PyObject_Vectorcall(state.front_matter_type, values.data(), values.size(), nullptr));
  });
}

constexpr char kFrontMatter[] = R"(_front_matter($module, /, node, prefix)
--

A front matter block as a _FrontMatter.

node: a `minus_metadata` node, read as YAML; one of any other type is read as TOML.
prefix: the file's FQN prefix, for log records only.

Returns a new _FrontMatter: each field as plain text on one line. A field is None when it is
missing, when it is no text or number, and when the front matter cannot be read. A lone
surrogate from an escape in a TOML string is kept.)";

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

Returns a str, or None when the field is missing, empty, or no str, int or float.)";

Ref to_dict(const frontmatter::Fields<Ref>& values) {
  Ref fields = Ref::steal(PyDict_New());
  for (std::size_t i = 0; i < values.size(); ++i) {
    checked(PyDict_SetItemString(fields.get(), frontmatter::kKeys[i], values[i].get()));
  }
  return fields;
}

PyObject* yaml_fields(PyObject* module, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<2> kParameters = {"_yaml_fields", {"body", "prefix"}};
  return python::guarded([&] {
    const auto [body, prefix] = kParameters.bind(args, nargs, keywords);
    const ModuleState& state = state_of(module);
    const python::Utf8 utf8(body);
    if (const auto read = frontmatter::read_natively(state, utf8.view())) {
      if (!read->is_mapping) return Ref::steal(PyDict_New());
      frontmatter::Fields<Ref> values;
      std::transform(read->values.begin(), read->values.end(), values.begin(), frontmatter::to_object);
      if (std::all_of(values.begin(), values.end(), [](const Ref& value) { return bool(value); }))
        return to_dict(values);
    }
    const auto loaded = frontmatter::load_fields(state, utf8.view(), prefix);
    return loaded ? to_dict(*loaded) : Ref::steal(PyDict_New());
  });
}

constexpr char kYamlFields[] = R"(_yaml_fields($module, /, body, prefix)
--

The fields of YAML front matter, as yaml.safe_load reads them.

body: a str, the lines between the delimiters.
prefix: the file's FQN prefix, for log records only.

Returns a new dict with the value of each field, None for a field that is missing. The dict is
empty when the body is no mapping, and when it cannot be read, which makes a debug record.)";

PyObject* toml_fields(PyObject*, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<1> kParameters = {"_toml_fields", {"body"}};
  return python::guarded([&] {
    const auto [body] = kParameters.bind(args, nargs, keywords);
    const python::Utf8 utf8(body);
    Ref fields = Ref::steal(PyDict_New());
    frontmatter::for_each_toml_field(utf8.view(), [&](const frontmatter::TomlField& found) {
      const Ref value = python::to_str(frontmatter::toml_string(found.literal));
      checked(PyDict_SetItemString(fields.get(), frontmatter::kKeys[found.field], value.get()));
    });
    return fields;
  });
}

constexpr char kTomlFields[] = R"(_toml_fields($module, /, body)
--

The fields of TOML front matter: strings on one line in its top table.

body: a str, the lines between the delimiters.

Returns a new dict with the fields that are there, as str.)";

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

Returns a str: the text between the quotes. In a basic string JSON's escapes are decoded; when
one does not decode, none is. An escape of a lone surrogate gives that surrogate.)";

// A list of _Heading, as apply_front_matter uses it. Putting a heading first makes a new list.
struct RecordList {
  const ModuleState& state;
  Ref records;

  std::size_t size() const { return static_cast<std::size_t>(checked(PySequence_Size(records.get()))); }
  Ref at(std::size_t i) const { return Ref::steal(PySequence_GetItem(records.get(), static_cast<Py_ssize_t>(i))); }
  std::int64_t level(std::size_t i) const {
    return blocks::to_row(Ref::steal(PyObject_GetAttr(at(i).get(), state.names.level)).get());
  }
  void describe(std::size_t i, const std::string& summary) {
    const Ref described = with_summary(state, at(i).get(), python::to_str(summary).get());
    checked(PySequence_SetItem(records.get(), static_cast<Py_ssize_t>(i), described.get()));
  }
  void put_first(const outline::Heading& heading) {
    Ref list = Ref::steal(PySequence_List(records.get()));
    checked(PyList_Insert(list.get(), 0, to_record(state, heading).get()));
    records = std::move(list);
  }
};

PyObject* with_front_matter(PyObject* module, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<3> kParameters = {"_with_front_matter", {"headings", "front", "following"}};
  return python::guarded([&] {
    const auto [headings, front, following] = kParameters.bind(args, nargs, keywords);
    const ModuleState& state = state_of(module);
    frontmatter::FrontMatter fields;
    for (std::size_t i = 0; i < fields.size(); ++i) {
      const Ref text = Ref::steal(PyObject_GetAttrString(front, frontmatter::kKeys[i]));
      if (checked(PyObject_IsTrue(text.get())) == 1) fields[i] = python::Utf8(text.get()).view();
    }
    RecordList list{state, Ref::share(headings)};
    outline::apply_front_matter(list, std::move(fields), [&, after = following]() -> std::optional<std::string> {
      if (after == Py_None) return std::nullopt;
      const blocks::NodeReader nodes(state);
      inlines::PlainText plain_text;
      return outline::read_summary(nodes, plain_text, {Ref::share(after), nodes.kind(after)});
    });
    return std::move(list.records);
  });
}

constexpr char kWithFrontMatter[] = R"(_with_front_matter($module, /, headings, front, following)
--

The headings of a document, with its front matter applied.

headings: a list of _Heading in document order.
front: the document's _FrontMatter.
following: the block after the front matter, or None.

Returns a new list that begins with the title as a heading, when there is a title and no H1.
Otherwise returns headings itself; when there are a description and an H1, the first H1 is
replaced in place by one with the description as its summary.)";

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
