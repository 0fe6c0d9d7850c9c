// Section lookup: the innermost section that encloses a line.
//
// Tested by tests/test_link_extraction.py.
#pragma once

#include "blocks/node.h"
// After the interpreter's header.
#include <cstdint>
#include <vector>

namespace markdown::links {

// Gives the answers that a scan from the first record would give for each line, but reads each field of the host's
// records once, in order, and no further than the lines so far need.
// Linear: the lines of a document never decrease, and a section that ended before one line encloses no later line. So
// the stack of enclosing sections takes each record once and drops it once. For a line that does decrease, the records
// read so far are scanned.
class SectionLookup {
 public:
  explicit SectionLookup(PyObject* sections) : sections_(sections) {}

  // The FQN of the last section that encloses `line`, among the sections up to the first that starts after it; None
  // when there is none. Sections and lines are numbered alike, and both ends of a section are inclusive.
  python::Ref enclosing_section(const python::ModuleState& state, std::int64_t line);

 private:
  struct Section {
    std::int64_t start = 0;
    std::int64_t end = 0;
    python::Ref record;  // kept until its FQN is read, which is when the section first encloses a line
    python::Ref fqn;
  };

  bool read_start(const python::ModuleState& state);
  PyObject* fqn_of(const python::ModuleState& state, Section& section);
  python::Ref scan_table(const python::ModuleState& state, std::int64_t line);

  PyObject* sections_;
  std::vector<Section> table_;
  Section next_;  // the section after the table once its start has been read; else without a record
  std::int64_t last_line_ = INT64_MIN;
  std::vector<std::size_t> enclosing_;  // indexes of the sections that enclosed the line for which they were read
};

}  // namespace markdown::links
