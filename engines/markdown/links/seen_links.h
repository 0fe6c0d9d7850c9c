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
  void encode(const LinkKey& key, std::string& out) const;

  Lines lines_;
  std::int64_t line_ = INT64_MIN;
  // A few keys are compared one by one. More than that go into a set of the interpreter's, whose hashes an author of
  // documents cannot foresee.
  std::vector<std::string> few_;
  std::size_t few_used_ = 0;
  python::Ref many_;
  std::string encoded_;
};

}  // namespace markdown::links
