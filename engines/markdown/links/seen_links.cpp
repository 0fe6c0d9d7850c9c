#include "links/seen_links.h"

#include <algorithm>

namespace markdown::links {
namespace {

using python::Ref;

constexpr std::size_t kFew = 8;

// The bytes that separate the parts of a key. None of them occurs in UTF-8.
constexpr char kQualifier = '\xFD';
constexpr char kWiki = '\xFE';
constexpr char kDocument = '\xFF';

}  // namespace

std::size_t SeenLinks::KeyedHash::operator()(const std::string& key) const {
  const Ref bytes = Ref::steal(PyBytes_FromStringAndSize(key.data(), static_cast<Py_ssize_t>(key.size())));
  return static_cast<std::size_t>(PyObject_Hash(bytes.get()));
}

// Only equal links have equal keys, because no part of a key contains a separator.
void SeenLinks::write_key(const LinkKey& key) {
  key_.clear();
  if (lines_ == Lines::kAnyOrder) key_.append(std::to_string(key.line));
  key_.push_back(key.kind == LinkKind::kWiki ? kWiki : kDocument);
  key_.append(key.name);
  if (!key.qualifier) return;
  key_.push_back(kQualifier);
  key_.append(*key.qualifier);
}

void SeenLinks::forget() {
  few_.clear();
  // A new set: clearing the old one would visit every bucket that the longest line so far has needed.
  if (!others_.empty()) others_ = KeySet();
}

bool SeenLinks::add(const LinkKey& key) {
  if (lines_ == Lines::kForward && key.line != line_) forget();
  line_ = key.line;
  write_key(key);
  if (std::find(few_.begin(), few_.end(), key_) != few_.end()) return false;
  if (few_.size() == kFew) return others_.insert(key_).second;
  few_.push_back(key_);
  return true;
}

}  // namespace markdown::links
