#include "frontmatter/yaml_loader.h"

#include "frontmatter/front_matter.h"
#include "frontmatter/yaml_guard.h"
#include "python/text.h"

namespace markdown::frontmatter {
namespace {

using python::ModuleState;
using python::Ref;

// Takes the exception that is set off the interpreter, if front matter may fail with it. The loader lets more slip than
// its own errors: ValueError for a date like 2024-13-45, KeyError, AttributeError, RecursionError.
Ref take_error() {
  python::require_ordinary_error();
  PyObject *type = nullptr, *value = nullptr, *traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  PyErr_NormalizeException(&type, &value, &traceback);
  const Ref type_ref = Ref::steal_or_empty(type);
  const Ref traceback_ref = Ref::steal_or_empty(traceback);
  return Ref::steal_or_empty(value);
}

void log_error(const ModuleState& state, PyObject* prefix, PyObject* error) {
  const Ref message = python::to_str("The front matter of %s is not YAML: %s");
  Ref::steal(PyObject_CallMethodObjArgs(state.logger, state.names.debug, message.get(), prefix, error, nullptr));
}

bool makes_debug_records(const ModuleState& state) {
  constexpr long kDebug = 10;  // logging.DEBUG
  const Ref level = Ref::steal(PyLong_FromLong(kDebug));
  const Ref answer = Ref::steal(PyObject_CallMethodOneArg(state.logger, state.names.isEnabledFor, level.get()));
  return python::checked(PyObject_IsTrue(answer.get())) == 1;
}

Ref refusal(const ModuleState& state, const char* reason) {
  const Ref error_type = Ref::steal(PyObject_GetAttrString(state.yaml, "YAMLError"));
  return Ref::steal(PyObject_CallOneArg(error_type.get(), python::to_str(reason).get()));
}

// An empty Ref stands for what could not be loaded.
Ref load(const ModuleState& state, std::string_view body, PyObject* prefix) {
  const Ref safe_load = Ref::steal(PyObject_GetAttr(state.yaml, state.names.safe_load));
  const Ref text = python::to_str(body);
  if (safe_load.get() == state.yaml_safe_load) {
    if (const char* reason = refuse_yaml(state, text.get(), body)) {
      log_error(state, prefix, refusal(state, reason).get());
      return {};
    }
  }
  Ref loaded = Ref::steal_or_empty(PyObject_CallOneArg(safe_load.get(), text.get()));
  if (!loaded) log_error(state, prefix, take_error().get());
  return loaded;
}

Ref value_in(PyObject* mapping, std::string_view key) {
  const Ref name = python::to_str(key);
  PyObject* value = PyDict_GetItemWithError(mapping, name.get());
  if (!value && PyErr_Occurred()) throw python::PythonError();
  return value ? Ref::share(value) : python::none();
}

}  // namespace

std::optional<YamlFields> read_natively(const ModuleState& state, std::string_view body) {
  const Ref safe_load = Ref::steal(PyObject_GetAttr(state.yaml, state.names.safe_load));
  if (safe_load.get() != state.yaml_safe_load) return std::nullopt;
  auto fields = recognise_yaml(body);
  // Only the loader can word the error, but nobody reads it when debug records are not made.
  if (fields && fields->unloadable && makes_debug_records(state)) return std::nullopt;
  return fields;
}

std::optional<LoadedFields> load_fields(const ModuleState& state, std::string_view body, PyObject* prefix) {
  const Ref loaded = load(state, body, prefix);
  if (!loaded || !PyDict_Check(loaded.get())) return std::nullopt;
  return LoadedFields{value_in(loaded.get(), kTitle), value_in(loaded.get(), kDescription)};
}

}  // namespace markdown::frontmatter
