#pragma once

// Small dataset files for tests.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "common/test_run.h"
#include "dataset/hyfs.h"

namespace dfl::test {

using Values = std::vector<float>;

// A file under construction, closed at the end of the scope. Every call has to succeed.
class DatasetFile {
 public:
  explicit DatasetFile(const std::string& path, const std::string& start_date = "") {
    HyfsFileInfo head;
    head.start_date = start_date;
    EXPECT_EQ(hfcreatefile_f(path, true, head, file), 0);
  }
  ~DatasetFile() { EXPECT_EQ(hfclosefile_f(file), 0); }
  DatasetFile(const DatasetFile&) = delete;

  void scalar(const std::string& path, const std::vector<double>& times,
              const std::vector<Values>& steps) {
    HyfsHandle set = 0;
    EXPECT_EQ(hfcreatescalardataset_f(file, path, info, set), 0);
    for (std::size_t k = 0; k < times.size(); ++k) {
      EXPECT_EQ(hfwritescalartimestep_f(set, times[k], steps[k].data(),
                                        static_cast<std::int64_t>(steps[k].size())),
                0);
    }
    finish(set);
  }
  // pairs: x, y of each value.
  void vector(const std::string& path, const std::vector<double>& times,
              const std::vector<Values>& pairs) {
    HyfsHandle set = 0;
    EXPECT_EQ(hfcreatevectordataset_f(file, path, info, set), 0);
    for (std::size_t k = 0; k < times.size(); ++k) {
      EXPECT_EQ(hfwritevectortimestep_f(set, times[k], pairs[k].data(),
                                        static_cast<std::int64_t>(pairs[k].size() / 2)),
                0);
    }
    finish(set);
  }

  HyfsHandle file = -1;
  HyfsDatasetInfo info;         // of the datasets to come
  double reference_day = -1.0;  // Julian day; not written if negative

 private:
  void finish(HyfsHandle set) const {
    if (reference_day >= 0.0) {
      EXPECT_EQ(hfwritereftime_f(set, reference_day), 0);
    }
    EXPECT_EQ(hfclosegroup_f(set), 0);
  }
};

inline bool command_runs(const std::string& command) {
  return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

// A NetCDF-4 file from its text form; false where the tools are absent.
inline bool make_netcdf(const TemporaryFolder& folder, const std::string& name,
                        const std::string& cdl) {
  if (!command_runs("command -v ncgen")) return false;
  const std::string text = folder.write(name + ".cdl", cdl);
  return command_runs("ncgen -k nc4 -o '" + folder.path(name) + "' '" + text + "'");
}

}  // namespace dfl::test
