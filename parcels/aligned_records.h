#pragma once

// A 1-based array of records that start on cache lines, for random access over much memory: on
// pages as large as the system gives.

#include <sys/mman.h>

#include <cassert>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <type_traits>

namespace dfl {

// a(1) to a(size()).
template <class T>
class AlignedRecords {
 public:
  void allocate(int n) {
    static_assert(std::is_trivially_destructible_v<T>);
    constexpr std::size_t page = std::size_t{1} << 21;
    count = n < 0 ? 0 : n;
    const std::size_t bytes = static_cast<std::size_t>(count) * sizeof(T);
    const std::size_t alignment = bytes < page ? alignof(T) : page;
    const std::size_t rounded = (bytes + alignment) / alignment * alignment;
    storage.reset(static_cast<T*>(std::aligned_alloc(alignment, rounded)));
    if (storage == nullptr) throw std::bad_alloc();
    if (alignment == page) madvise(storage.get(), rounded, MADV_HUGEPAGE);
    std::uninitialized_value_construct_n(storage.get(), count);
  }
  int size() const { return count; }
  T& operator()(int i) { return storage.get()[at(i)]; }
  const T& operator()(int i) const { return storage.get()[at(i)]; }
  T* begin() { return storage.get(); }
  T* end() { return storage.get() + count; }
  const T* begin() const { return storage.get(); }
  const T* end() const { return storage.get() + count; }

 private:
  struct Free {
    void operator()(T* block) const { std::free(block); }
  };
  std::size_t at(int i) const {
    assert(1 <= i && i <= count);
    return static_cast<std::size_t>(i) - 1;
  }
  std::unique_ptr<T, Free> storage;
  int count = 0;
};

}  // namespace dfl
