#include "links/seen_links.h"

#include <algorithm>
#include <new>
#include <utility>

namespace markdown::links {
namespace {

using python::Ref;

// None of these bytes stands in UTF-8.
constexpr char kEnd = '\xFC';
constexpr char kQualifier = '\xFD';
constexpr char kWiki = '\xFE';
constexpr char kDocument = '\xFF';

constexpr std::size_t kFew = 8;
constexpr std::size_t kFirstSlots = 64;

constexpr std::size_t offset_of(std::uint64_t slot) noexcept { return (slot & UINT32_MAX) - 1; }

}  // namespace

// Appends the key to the others. Equal for equal links only, and none is the start of another, since each has its end.
std::string_view SeenLinks::append(const LinkKey& key) {
  const std::size_t begin = keys_.size();
  if (lines_ == Lines::kAnyOrder) keys_.append(std::to_string(key.line));
  keys_.push_back(key.kind == LinkKind::kWiki ? kWiki : kDocument);
  keys_.append(key.name);
  if (key.qualifier) {
    keys_.push_back(kQualifier);
    keys_.append(*key.qualifier);
  }
  keys_.push_back(kEnd);
  if (keys_.size() >= UINT32_MAX) throw std::bad_alloc();  // a slot has no room for an offset behind this
  return std::string_view(keys_).substr(begin);
}

bool SeenLinks::is_among_few(std::string_view key) const noexcept {
  const std::string_view before = std::string_view(keys_).substr(0, keys_.size() - key.size());
  for (std::size_t pos = 0; pos < before.size(); pos = before.find(kEnd, pos) + 1) {
    if (before.substr(pos, key.size()) == key) return true;
  }
  return false;
}

SeenLinks::Slot SeenLinks::slot_of(std::string_view key) const {
  const Ref bytes = Ref::steal(PyBytes_FromStringAndSize(key.data(), static_cast<Py_ssize_t>(key.size())));
  const auto hash = static_cast<std::uint32_t>(PyObject_Hash(bytes.get()));
  return std::uint64_t{hash} << 32 | static_cast<std::uint64_t>(key.data() - keys_.data() + 1);
}

void SeenLinks::insert(Slot slot) noexcept {
  std::size_t at = slot >> 32;
  while (slots_[at &= slots_.size() - 1] != 0) ++at;
  slots_[at] = slot;
}

void SeenLinks::grow() {
  std::vector<Slot> old = std::exchange(slots_, std::vector<Slot>(std::max(kFirstSlots, slots_.size() * 2)));
  for (const Slot slot : old) {
    if (slot != 0) insert(slot);
  }
  if (!old.empty()) return;
  const std::string_view keys = keys_;  // the few, and behind them the one that is being looked for
  for (std::size_t pos = 0, left = count_; left > 0; --left) {
    const std::size_t end = keys.find(kEnd, pos) + 1;
    insert(slot_of(keys.substr(pos, end - pos)));
    pos = end;
  }
}

bool SeenLinks::is_in_table(std::string_view key) {
  if (8 * (count_ + 1) > 7 * slots_.size()) grow();
  const Slot slot = slot_of(key);
  for (std::size_t at = slot >> 32;; ++at) {
    const Slot other = slots_[at &= slots_.size() - 1];
    if (other == 0) break;
    if (other >> 32 == slot >> 32 && keys_.compare(offset_of(other), key.size(), key) == 0) return true;
  }
  insert(slot);
  return false;
}

bool SeenLinks::add(const LinkKey& key) {
  if (lines_ == Lines::kForward && key.line != line_) {
    keys_.clear();
    count_ = 0;
    slots_.clear();
  }
  line_ = key.line;
  const std::string_view added = append(key);
  if (slots_.empty() && count_ < kFew ? is_among_few(added) : is_in_table(added)) {
    keys_.resize(keys_.size() - added.size());
    return false;
  }
  ++count_;
  return true;
}

}  // namespace markdown::links
