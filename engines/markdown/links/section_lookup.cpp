#include "links/section_lookup.h"

namespace markdown::links {
namespace {

using python::ModuleState;
using python::Ref;

// A line number of the host's; one beyond what a row can be is behind, or before, every line.
std::int64_t read_line(PyObject* section, PyObject* name) {
  const Ref value = Ref::steal(PyObject_GetAttr(section, name));
  const Ref number = Ref::steal(PyNumber_Index(value.get()));
  int overflow = 0;
  const long long line = PyLong_AsLongLongAndOverflow(number.get(), &overflow);
  if (overflow != 0) return overflow > 0 ? INT64_MAX : INT64_MIN;
  if (line == -1 && PyErr_Occurred()) throw python::PythonError();
  return line;
}

}  // namespace

Ref SectionLookup::item(std::size_t index) const {
  return Ref::steal(PySequence_GetItem(sections_, static_cast<Py_ssize_t>(index)));
}

// Reads the start of the section behind the table unless that is known; false when there is no such section.
bool SectionLookup::read_start(const ModuleState& state) {
  if (has_next_) return true;
  if (static_cast<Py_ssize_t>(table_.size()) >= python::checked(PySequence_Size(sections_))) return false;
  next_start_ = read_line(item(table_.size()).get(), state.names.start_line);
  return has_next_ = true;
}

PyObject* SectionLookup::fqn_of(const ModuleState& state, std::size_t index) {
  if (!table_[index].fqn) {
    Ref fqn = Ref::steal(PyObject_GetAttr(item(index).get(), state.names.fqn));
    table_[index].fqn = std::move(fqn);
  }
  return table_[index].fqn.get();
}

Ref SectionLookup::holder_of(const ModuleState& state, std::int64_t line) {
  if (line < last_line_) return scan_table(state, line);
  last_line_ = line;
  while (read_start(state) && next_start_ <= line) {
    const std::int64_t end = read_line(item(table_.size()).get(), state.names.end_line);
    table_.push_back({next_start_, end, Ref()});
    has_next_ = false;
    if (end < line) continue;
    holders_.push_back(table_.size() - 1);
    fqn_of(state, holders_.back());
  }
  while (!holders_.empty() && table_[holders_.back()].end < line) holders_.pop_back();
  return holders_.empty() ? python::none() : Ref::share(fqn_of(state, holders_.back()));
}

// The table reaches at least to the first section that starts behind `line`, since it did so for a later line.
Ref SectionLookup::scan_table(const ModuleState& state, std::int64_t line) {
  Ref holder = python::none();
  for (std::size_t i = 0; i < table_.size() && table_[i].start <= line; ++i) {
    if (table_[i].end >= line) holder = Ref::share(fqn_of(state, i));
  }
  return holder;
}

}  // namespace markdown::links
