#include "surface/records.h"

#include "blocks/node.h"
#include "python/sequence.h"
#include "python/text.h"

namespace markdown::surface {

using python::ModuleState;
using python::Ref;

Ref to_str_or_none(const std::optional<std::string>& text) { return text ? python::to_str(*text) : python::none(); }

Ref to_record(const ModuleState& state, const outline::Heading& heading) {
  const Ref name = python::to_str(heading.name);
  const Ref level = Ref::steal(PyLong_FromLongLong(heading.level));
  const Ref first_row = Ref::steal(PyLong_FromLongLong(heading.first_row));
  const Ref summary = to_str_or_none(heading.summary);
  PyObject* values[] = {name.get(), level.get(), first_row.get(), summary.get()};
  return Ref::steal(PyObject_Vectorcall(state.heading_type, values, 4, nullptr));
}

Ref with_summary(const ModuleState& state, PyObject* heading, PyObject* summary) {
  const Ref name = Ref::steal(PyObject_GetAttr(heading, state.names.name));
  const Ref level = Ref::steal(PyObject_GetAttr(heading, state.names.level));
  const Ref first_row = Ref::steal(PyObject_GetAttr(heading, state.names.first_row));
  PyObject* values[] = {name.get(), level.get(), first_row.get(), summary};
  return Ref::steal(PyObject_Vectorcall(state.heading_type, values, 4, nullptr));
}

std::vector<HeadingPlace> read_heading_places(const ModuleState& state, PyObject* headings) {
  std::vector<HeadingPlace> places;
  python::for_each_item(headings, [&](const Ref& heading) {
    const auto number = [&](PyObject* name) {
      return blocks::to_row(Ref::steal(PyObject_GetAttr(heading.get(), name)).get());
    };
    const std::int64_t level = number(state.names.level);
    places.push_back({level, number(state.names.first_row)});
  });
  return places;
}

}  // namespace markdown::surface
