#include "frontmatter/yaml_loader.h"

#include "frontmatter/yaml_guard.h"
#include "python/text.h"

namespace markdown::frontmatter {
namespace {

using python::ModuleState;
using python::Ref;

// Clears the exception that is set and returns it; MemoryError and what is no Exception are thrown on. The loader
// raises more than its own errors, such as ValueError for 2024-13-45. Each of them means unreadable front matter.
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

Ref yaml_error(const ModuleState& state, const char* reason) {
  const Ref error_type = Ref::steal(PyObject_GetAttrString(state.yaml, "YAMLError"));
  return Ref::steal(PyObject_CallOneArg(error_type.get(), python::to_str(reason).get()));
}

// What the loader returns for the body; an empty Ref, after a debug record, when it could not be loaded.
Ref load(const ModuleState& state, std::string_view body, PyObject* prefix) {
  const Ref safe_load = Ref::steal(PyObject_GetAttr(state.yaml, state.names.safe_load));
  const Ref text = python::to_str(body);
  if (safe_load.get() == state.yaml_safe_load) {
    if (const char* reason = refusal_reason(state, text.get(), body)) {
      log_error(state, prefix, yaml_error(state, reason).get());
      return {};
    }
  }
  Ref loaded = Ref::steal_or_empty(PyObject_CallOneArg(safe_load.get(), text.get()));
  if (!loaded) log_error(state, prefix, take_error().get());
  return loaded;
}

}  // namespace

std::optional<YamlFields> read_natively(const ModuleState& state, std::string_view body) {
  const Ref safe_load = Ref::steal(PyObject_GetAttr(state.yaml, state.names.safe_load));
  if (safe_load.get() != state.yaml_safe_load) return std::nullopt;
  auto fields = recognise_yaml(body);
  // The loader raises for such a body. Only a debug record needs its error.
  if (fields && fields->is_unloadable && makes_debug_records(state)) return std::nullopt;
  return fields;
}

Ref to_object(const YamlValue& value) {
  if (value.kind == YamlKind::kNull) return python::none();
  if (value.kind == YamlKind::kText) return python::to_str(value.text);
  if (value.kind == YamlKind::kInteger) return Ref::steal(PyLong_FromString(value.text.c_str(), nullptr, 10));
  if (value.kind == YamlKind::kFloat) return Ref::steal(PyFloat_FromString(python::to_str(value.text).get()));
  return {};
}

std::optional<Fields<Ref>> load_fields(const ModuleState& state, std::string_view body, PyObject* prefix) {
  const Ref loaded = load(state, body, prefix);
  if (!loaded || !PyDict_Check(loaded.get())) return std::nullopt;
  Fields<Ref> fields;
  for (std::size_t i = 0; i < kFieldCount; ++i) {
    PyObject* value = PyDict_GetItemWithError(loaded.get(), python::to_str(kKeys[i]).get());
    if (!value && PyErr_Occurred()) throw python::PythonError();
    fields[i] = value ? Ref::share(value) : python::none();
  }
  return fields;
}

}  // namespace markdown::frontmatter
