#include "links/section_lookup.h"

#include <utility>

namespace markdown::links {
namespace {

using python::ModuleState;
using python::Ref;

// A line number of the host's records. One that no 64-bit integer can hold is after, or before, every line.
std::int64_t read_line(PyObject* section, PyObject* name) {
  const Ref value = Ref::steal(PyObject_GetAttr(section, name));
  const Ref number = Ref::steal(PyNumber_Index(value.get()));
  int overflow = 0;
  const long long line = PyLong_AsLongLongAndOverflow(number.get(), &overflow);  // of an int: cannot fail
  if (overflow != 0) return overflow > 0 ? INT64_MAX : INT64_MIN;
  return line;
}

}  // namespace

// Reads the start of the section after the table unless it is known. Returns false when there is no such section.
bool SectionLookup::read_start(const ModuleState& state) {
  if (next_.record) return true;
  const auto index = static_cast<Py_ssize_t>(table_.size());
  if (index >= python::checked(PySequence_Size(sections_))) return false;
  Ref record = Ref::steal(PySequence_GetItem(sections_, index));
  next_.start = read_line(record.get(), state.names.start_line);
  next_.record = std::move(record);
  return true;
}

PyObject* SectionLookup::fqn_of(const ModuleState& state, Section& section) {
  if (!section.fqn) {
    section.fqn = Ref::steal(PyObject_GetAttr(section.record.get(), state.names.fqn));
    section.record = Ref();
  }
  return section.fqn.get();
}

Ref SectionLookup::enclosing_section(const ModuleState& state, std::int64_t line) {
  if (line < last_line_) return scan_table(state, line);
  last_line_ = line;
  while (read_start(state) && next_.start <= line) {
    next_.end = read_line(next_.record.get(), state.names.end_line);
    table_.push_back(std::exchange(next_, Section()));
    if (table_.back().end < line) continue;
    enclosing_.push_back(table_.size() - 1);
    fqn_of(state, table_.back());
  }
  while (!enclosing_.empty() && table_[enclosing_.back()].end < line) enclosing_.pop_back();
  return enclosing_.empty() ? python::none() : Ref::share(fqn_of(state, table_[enclosing_.back()]));
}

// A later line has been looked up before, so the table has every section that starts up to `line`.
Ref SectionLookup::scan_table(const ModuleState& state, std::int64_t line) {
  Ref innermost = python::none();
  for (Section& section : table_) {
    if (section.start > line) break;
    if (section.end >= line) innermost = Ref::share(fqn_of(state, section));
  }
  return innermost;
}

}  // namespace markdown::links
