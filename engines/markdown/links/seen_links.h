// The links already reported: a link written twice on one line is reported once.
//
// Tested by tests/test_link_extraction.py.
#pragma once

#include "python/api.h"
// After the interpreter's header.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "links/inline_targets.h"

namespace markdown::links {

struct LinkKey {
  LinkKind kind;
  std::string_view name;
  std::optional<std::string_view> qualifier;
  std::int64_t line;
};

// Repeats share their line, so while lines do not go backwards, and those of a parsed document do not, only the links
// of one line are remembered. Lines that do go backwards need every link remembered, from the first one on.
class SeenLinks {
 public:
  enum class Lines { kForward, kAnyOrder };
  explicit SeenLinks(Lines lines) noexcept : lines_(lines) {}

  bool goes_backwards(std::int64_t line) const noexcept { return lines_ == Lines::kForward && line < line_; }

  // Whether the link is new; it is remembered from then on. The line must not go backwards unless any order is
  // expected.
  bool add(const LinkKey& key);

 private:
  // The hash of a key and where it stands among the keys, packed; 0 for a free slot.
  using Slot = std::uint64_t;

  std::string_view append(const LinkKey& key);
  bool is_among_few(std::string_view key) const noexcept;
  bool is_in_table(std::string_view key);
  void insert(Slot slot) noexcept;
  void grow();
  Slot slot_of(std::string_view key) const;

  Lines lines_;
  std::int64_t line_ = INT64_MIN;
  std::string keys_;  // one after the other, each with an end that stands in no other place
  std::size_t count_ = 0;
  // A few keys are compared one by one. More than that are found through a table, a power of two of slots, by the
  // interpreter's hashes, which an author of documents cannot foresee.
  std::vector<Slot> slots_;
};

}  // namespace markdown::links
