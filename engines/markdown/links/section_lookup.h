// Section lookup: the innermost section that holds a line.
//
// Tested by tests/test_link_extraction.py.
#pragma once

#include "blocks/node.h"
// After the interpreter's header.
#include <cstdint>
#include <vector>

namespace markdown::links {

// Reads the records of the host as a scan for each line from the first record would, each field once, in order and no
// further than a line needs, into a table.
// Linear: lines that do not go backwards, as those of a document do, need each record once: a section that ended before
// one line holds no later one. A line that does go backwards scans the table.
class SectionLookup {
 public:
  explicit SectionLookup(PyObject* sections) : sections_(sections) {}

  // The FQN of the last section that holds `line` among those up to the first that starts behind it; None when none
  // does. Sections and lines are numbered alike, both ends of a section are inclusive.
  python::Ref holder_of(const python::ModuleState& state, std::int64_t line);

 private:
  struct Section {
    std::int64_t start = 0;
    std::int64_t end = 0;
    python::Ref record;  // fetched once; held until its FQN, which is read when the section first holds a line
    python::Ref fqn;
  };

  bool read_start(const python::ModuleState& state);
  PyObject* fqn_of(const python::ModuleState& state, Section& section);
  python::Ref scan_table(const python::ModuleState& state, std::int64_t line);

  PyObject* sections_;
  std::vector<Section> table_;
  Section next_;  // the one behind the table, of which the start has been read, or without a record
  std::int64_t last_line_ = INT64_MIN;
  std::vector<std::size_t> holders_;  // sections that held the line at which they were read, in order
};

}  // namespace markdown::links
