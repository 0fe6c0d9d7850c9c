// A library to preload. It lets one `operator new` of a process fail, and counts the allocations that are not freed.
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {
std::atomic<long> left{0};  // allocations up to the one that fails, which is counted too; 0 when none is to fail
std::atomic<long> live{0};
}  // namespace

extern "C" {
void fail_new_at(long k) { left = k; }
long new_calls_left() { return left; }
long live_new_calls() { return live; }
}

void* operator new(std::size_t size) {
  if (left > 0 && --left == 0) throw std::bad_alloc();
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (!memory) throw std::bad_alloc();
  ++live;
  return memory;
}

void operator delete(void* memory) noexcept {
  if (memory) --live;
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }
