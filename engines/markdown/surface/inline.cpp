#include "python/arguments.h"
#include "python/text.h"
// After the interpreter's header.
#include "inline/plain_text.h"
#include "surface/functions.h"

namespace markdown::surface {
namespace {

using python::Parameters;

PyObject* plain_text(PyObject*, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<1> kParameters = {"_plain_text", {"markdown"}};
  return python::guarded([&] {
    const auto [markdown] = kParameters.bind(args, nargs, keywords);
    const python::Utf8 utf8(markdown);
    return python::to_str(inlines::PlainText().of(utf8.view()));
  });
}

constexpr char kPlainText[] = R"(_plain_text($module, /, markdown)
--

The text that a reader sees of inline Markdown, on one line.

markdown: a str, of which the first MAX_INLINE_LENGTH characters are read.

Returns a str without markup: code spans keep their content, links and images keep their
text. Each run of white space becomes one space, and none is left at either end.)";

PyObject* unmarked(PyObject*, PyObject* const* args, Py_ssize_t nargs, PyObject* keywords) {
  static constexpr Parameters<1> kParameters = {"_unmarked", {"text"}};
  return python::guarded([&] {
    const auto [text] = kParameters.bind(args, nargs, keywords);
    const python::Utf8 utf8(text);
    return python::to_str(inlines::PlainText().unmarked(utf8.view()));
  });
}

constexpr char kUnmarked[] = R"(_unmarked($module, /, text)
--

Inline Markdown without its markup, white space untouched.

text: a str, a stretch of inline Markdown outside code spans, of any length.

Returns a str.)";

}  // namespace

PyMethodDef inline_functions[] = {
    python::method("_plain_text", plain_text, kPlainText),
    python::method("_unmarked", unmarked, kUnmarked),
    {},
};

}  // namespace markdown::surface
