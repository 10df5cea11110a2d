// Global operator new and delete of the hardening tests: every block carries its size in
// a header, so that the bytes held can be counted exactly whatever delete is called.
#include "hardening/AllocationPeak.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t kHeader = alignof(std::max_align_t);
std::atomic<std::size_t> held{0};
std::atomic<std::size_t> peak{0};

void* Allocate(std::size_t size) {
  void* block = std::malloc(size + kHeader);
  if (block == nullptr) throw std::bad_alloc();
  *static_cast<std::size_t*>(block) = size;
  const std::size_t now = held.fetch_add(size) + size;
  std::size_t before = peak.load();
  while (now > before && !peak.compare_exchange_weak(before, now)) {
  }
  return static_cast<char*>(block) + kHeader;
}

void Release(void* p) noexcept {
  if (p == nullptr) return;
  void* block = static_cast<char*>(p) - kHeader;
  held.fetch_sub(*static_cast<std::size_t*>(block));
  std::free(block);
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return Allocate(size);
  } catch (...) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void operator delete(void* p) noexcept { Release(p); }
void operator delete[](void* p) noexcept { Release(p); }
void operator delete(void* p, std::size_t) noexcept { Release(p); }
void operator delete[](void* p, std::size_t) noexcept { Release(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { Release(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { Release(p); }

namespace tarnvik::testing {

std::size_t PeakHeapDuring(const std::function<void()>& body) {
  const std::size_t start = held.load();
  peak.store(start);
  body();
  return peak.load() - start;
}

}  // namespace tarnvik::testing
