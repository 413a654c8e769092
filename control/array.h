#pragma once

// 1-based arrays. Numbers of nodes, elements and parcels start at 1; 0 means none.

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace dfl {

// Flag kept in records and arrays: 0 false, -1 true; a test looks at the lowest bit.
using Logical = std::int32_t;
constexpr Logical logical_false = 0;
constexpr Logical logical_true = -1;
constexpr bool is_true(Logical flag) {
  return (flag & 1) != 0;
}

// a(1) to a(size()).
template <class T>
class Array {
 public:
  void allocate(int n, const T& value = T{}) {
    v.assign(static_cast<std::size_t>(n < 0 ? 0 : n), value);
  }
  void resize(int n, const T& value = T{}) {
    v.resize(static_cast<std::size_t>(n < 0 ? 0 : n), value);
  }
  void fill(const T& value) { v.assign(v.size(), value); }
  bool allocated() const { return !v.empty(); }
  int size() const { return static_cast<int>(v.size()); }
  T& operator()(int i) { return v[at(i)]; }
  const T& operator()(int i) const { return v[at(i)]; }
  T* data() { return v.data(); }              // element 1
  const T* data() const { return v.data(); }  // element 1
  auto begin() { return v.begin(); }
  auto end() { return v.end(); }
  auto begin() const { return v.begin(); }
  auto end() const { return v.end(); }
  void push_back(const T& value) { v.push_back(value); }
  void release() { std::vector<T>().swap(v); }

 private:
  std::size_t at(int i) const {
    assert(1 <= i && i <= size());
    return static_cast<std::size_t>(i) - 1;
  }
  std::vector<T> v;
};

// a(i, k) with rows 1 to rows() and columns first_column() to last_column(); one row's columns
// lie side by side. First column 0 for arrays with a depth average, else 1.
template <class T>
class Array2 {
 public:
  void allocate(int rows, int first_column, int last_column, const T& value = T{}) {
    n_rows = rows < 0 ? 0 : rows;
    first = first_column;
    n_columns = last_column < first_column ? 0 : last_column - first_column + 1;
    v.assign(static_cast<std::size_t>(n_rows) * static_cast<std::size_t>(n_columns), value);
  }
  void fill(const T& value) { v.assign(v.size(), value); }
  bool allocated() const { return !v.empty(); }
  int rows() const { return n_rows; }
  int first_column() const { return first; }
  int last_column() const { return first + n_columns - 1; }
  T& operator()(int i, int k) { return v[at(i, k)]; }
  const T& operator()(int i, int k) const { return v[at(i, k)]; }
  T* row(int i) { return v.data() + at(i, first); }  // address of the row's first column
  const T* row(int i) const { return v.data() + at(i, first); }
  T* data() { return v.data(); }
  const T* data() const { return v.data(); }
  std::size_t count() const { return v.size(); }

 private:
  std::size_t at(int i, int k) const {
    assert(1 <= i && i <= n_rows && first <= k && k <= last_column());
    return (static_cast<std::size_t>(i) - 1) * static_cast<std::size_t>(n_columns) +
           static_cast<std::size_t>(k - first);
  }
  int n_rows = 0;
  int n_columns = 0;
  int first = 1;
  std::vector<T> v;
};

}  // namespace dfl
