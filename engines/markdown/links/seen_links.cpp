#include "links/seen_links.h"

#include <algorithm>

namespace markdown::links {
namespace {

using python::checked;
using python::Ref;

constexpr std::size_t kFew = 8;

Ref to_bytes(const std::string& key) {
  return Ref::steal(PyBytes_FromStringAndSize(key.data(), static_cast<Py_ssize_t>(key.size())));
}

}  // namespace

// Equal for equal keys only: 0xFF stands in no UTF-8, so what is before it ends there.
void SeenLinks::encode(const LinkKey& key, std::string& out) const {
  out.clear();
  if (lines_ == Lines::kAnyOrder) out.append(std::to_string(key.line));
  out.push_back(key.kind == LinkKind::kWiki ? '\xFE' : '\xFF');
  out.append(key.name);
  if (!key.qualifier) return;
  out.push_back('\xFF');
  out.append(*key.qualifier);
}

bool SeenLinks::add(const LinkKey& key) {
  if (lines_ == Lines::kForward && key.line != line_) {
    few_used_ = 0;
    many_ = Ref();
  }
  line_ = key.line;
  encode(key, encoded_);
  if (!many_) {
    const auto used = few_.begin() + static_cast<std::ptrdiff_t>(few_used_);
    if (std::find(few_.begin(), used, encoded_) != used) return false;
    if (few_used_ < kFew) {
      if (few_used_ == few_.size()) few_.emplace_back();
      few_[few_used_++] = encoded_;
      return true;
    }
    Ref set = Ref::steal(PySet_New(nullptr));
    for (const std::string& few : few_) checked(PySet_Add(set.get(), to_bytes(few).get()));
    many_ = std::move(set);
  }
  const Ref bytes = to_bytes(encoded_);
  if (checked(PySet_Contains(many_.get(), bytes.get())) == 1) return false;
  checked(PySet_Add(many_.get(), bytes.get()));
  return true;
}

}  // namespace markdown::links
