// The links that were reported already: a link that is written twice on one line is reported once.
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

// The set of links that were seen. Only a link on the same line can be a repeat. The lines of a parsed document never
// go backwards, so the links of one line are all that is remembered: kForward. The lines of a host's own tree may go
// backwards; then every link is remembered, from the first one on: kAnyOrder.
class SeenLinks {
 public:
  enum class Lines { kForward, kAnyOrder };
  explicit SeenLinks(Lines lines) : lines_(lines) {}

  bool goes_backwards(std::int64_t line) const noexcept { return lines_ == Lines::kForward && line < line_; }

  // Remembers the link and returns whether it is new. With kForward, its line must not be before that of the last link.
  bool add(const LinkKey& key);

 private:
  // The interpreter's hash function has a secret key, so the author of a document cannot make keys collide.
  struct KeyedHash {
    std::size_t operator()(const std::string& key) const;
  };
  using KeySet = std::unordered_set<std::string, KeyedHash>;

  void write_key(const LinkKey& key);
  void forget();

  Lines lines_;
  std::int64_t line_ = INT64_MIN;
  std::string key_;  // of the link that is being added
  // The first few keys of a line are compared one by one, which is cheaper than hashing. Most lines have no more links.
  std::vector<std::string> few_;
  KeySet others_;  // all further keys
};

}  // namespace markdown::links
