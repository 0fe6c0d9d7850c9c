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
#include <unordered_set>
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
  explicit SeenLinks(Lines lines) : lines_(lines) {}

  bool goes_backwards(std::int64_t line) const noexcept { return lines_ == Lines::kForward && line < line_; }

  // Whether the link is new; it is remembered from then on. The line must not go backwards unless any order is
  // expected.
  bool add(const LinkKey& key);

 private:
  // The interpreter's hash, which is keyed: the author of a document cannot foresee which keys collide.
  struct KeyedHash {
    std::size_t operator()(const std::string& key) const;
  };
  using KeySet = std::unordered_set<std::string, KeyedHash>;

  void write_key(const LinkKey& key);
  void forget();

  Lines lines_;
  std::int64_t line_ = INT64_MIN;
  std::string key_;  // of the link at hand
  // The first few keys are compared one by one, which is cheaper than a hash: most lines have no more links.
  std::vector<std::string> few_;
  KeySet others_;
};

}  // namespace markdown::links
