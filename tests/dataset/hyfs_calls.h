#pragma once

// Short forms of dataset calls that have to succeed.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dataset/hyfs.h"

namespace dfl::test {

inline HyfsHandle create(const std::string& path, const std::string& kind = "data") {
  HyfsFileInfo info;
  info.kind = kind;
  info.start_date = "2020-03-01 12:00:00";
  HyfsHandle file = 0;
  EXPECT_EQ(hfcreatefile_f(path, true, info, file), 0);
  return file;
}

inline HyfsHandle open(const std::string& path, bool read_only = true) {
  HyfsHandle file = 0;
  EXPECT_EQ(hfopenfile_f(path, read_only, file), 0) << path;
  return file;
}

inline HyfsHandle group_at(HyfsHandle parent, const std::string& path) {
  HyfsHandle group = 0;
  EXPECT_EQ(hfopengroup_f(parent, path, group), 0) << path;
  return group;
}

inline HyfsHandle scalar(HyfsHandle parent, const std::string& path,
                         const HyfsDatasetInfo& info = {}) {
  HyfsHandle set = 0;
  EXPECT_EQ(hfcreatescalardataset_f(parent, path, info, set), 0) << path;
  return set;
}

inline HyfsHandle vector(HyfsHandle parent, const std::string& path,
                         const HyfsDatasetInfo& info = {}) {
  HyfsHandle set = 0;
  EXPECT_EQ(hfcreatevectordataset_f(parent, path, info, set), 0) << path;
  return set;
}

// Statuses of a step of values, and of pairs.
inline int write(HyfsHandle set, double time, const std::vector<float>& values) {
  return hfwritescalartimestep_f(set, time, values.data(),
                                 static_cast<std::int64_t>(values.size()));
}
inline int write_pairs(HyfsHandle set, double time, const std::vector<float>& pairs) {
  return hfwritevectortimestep_f(set, time, pairs.data(),
                                 static_cast<std::int64_t>(pairs.size() / 2));
}

inline std::vector<float> read(HyfsHandle set, int index) {
  std::vector<float> values;
  EXPECT_EQ(hfreadscalarvaluestimestep_f(set, index, values), 0);
  return values;
}
inline std::vector<float> read_pairs(HyfsHandle set, int index) {
  std::vector<float> pairs;
  EXPECT_EQ(hfreadvectorvaluestimestep_f(set, index, pairs), 0);
  return pairs;
}

// What a call with one answer gives.
template <class T>
T get(int (*call)(HyfsHandle, T&), HyfsHandle of) {
  T value{};
  EXPECT_EQ(call(of, value), 0);
  return value;
}
template <class T>
T get(int (*call)(HyfsHandle, const std::string&, T&), HyfsHandle of, const std::string& name) {
  T value{};
  EXPECT_EQ(call(of, name, value), 0) << name;
  return value;
}

}  // namespace dfl::test
