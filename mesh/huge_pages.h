#pragma once

// Memory for big arrays that are looked up at random: in pages of 2 MB where the system has them,
// so that a look-up costs one miss of the cache, not one more for the address of its page.

#include <sys/mman.h>

#include <cstddef>
#include <new>
#include <vector>

namespace dfl {

template <class T>
struct HugePageAllocator {
  using value_type = T;
  static constexpr std::size_t page_bytes = std::size_t{1} << 21;

  HugePageAllocator() = default;
  template <class Other>
  HugePageAllocator(const HugePageAllocator<Other>&) {}

  static std::align_val_t alignment(std::size_t count) {
    return std::align_val_t{count * sizeof(T) >= page_bytes ? page_bytes : alignof(T)};
  }
  T* allocate(std::size_t count) {
    const std::size_t bytes = count * sizeof(T);
    void* memory = ::operator new(bytes, alignment(count));
    // A request only: where it is refused the small pages serve.
    if (bytes >= page_bytes) madvise(memory, bytes, MADV_HUGEPAGE);
    return static_cast<T*>(memory);
  }
  void deallocate(T* memory, std::size_t count) { ::operator delete(memory, alignment(count)); }
  friend bool operator==(const HugePageAllocator&, const HugePageAllocator&) { return true; }
};

template <class T>
using HugePageVector = std::vector<T, HugePageAllocator<T>>;

}  // namespace dfl
