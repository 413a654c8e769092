// A run that is killed or fills the disk keeps every frame that it had completed: a writing process
// is ended before each of its file operations in turn, and what it left is read.

#include <gtest/gtest.h>
#include <hdf5.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "common/test_run.h"
#include "dataset/hyfs.h"
#include "dataset/writer_run.h"

namespace dfl {
namespace {

using namespace test;

constexpr int frames = 20;

struct Outcome {
  std::map<std::string, int> done;  // how often each thing was told as complete
  std::string failure;              // "failed ..." as told
  std::string last;                 // last complete thing
  int exit_status = -1;
  bool signalled = false;
};

Outcome run_writer(const std::string& folder, const std::string& environment, int compression) {
  const std::string command = environment + " '" HYFS_WRITER "' '" + folder + "' " +
                              std::to_string(frames) + " " + std::to_string(compression);
  Outcome outcome;
  std::FILE* pipe = popen(("exec env " + command).c_str(), "r");
  if (pipe == nullptr) return outcome;
  char line[200];
  while (std::fgets(line, sizeof line, pipe) != nullptr) {
    std::istringstream in(line);
    std::string what;
    in >> what;
    if (what == "failed") {
      outcome.failure = line;
    } else {
      ++outcome.done[what];
      outcome.last = line;
    }
  }
  const int status = pclose(pipe);
  outcome.signalled = WIFSIGNALED(status);
  outcome.exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return outcome;
}

std::string faults(const std::string& kind, long at) {
  return "LD_PRELOAD='" HYFS_FAULTS "' HYFS_FAULT_KIND=" + kind +
         " HYFS_FAULT_AT=" + std::to_string(at);
}

long count_calls(const std::string& folder, int compression) {
  const std::string path = folder + "/count";
  run_writer(folder, "LD_PRELOAD='" HYFS_FAULTS "' HYFS_FAULT_COUNT='" + path + "'", compression);
  return std::atol(read_text(path).c_str());
}

// ---- what must be there; an empty text if it is ----

std::string fault(const char* what, int frame, int status) {
  return std::string(what) + " of frame " + std::to_string(frame) + ": status " +
         std::to_string(status);
}

// A frame that was cut short is missing or filled up, so that what reads all frames at once does
// not stumble over it.
std::string check_all_steps(HyfsHandle set, const std::string& name) {
  int steps = 0;
  std::vector<float> values;
  hfgetdatasetnumtimes_f(set, steps);
  for (int k = 1; k <= steps; ++k) {
    const int status = hfreadscalarvaluestimestep_f(set, k, values);
    if (status < 0 && status != hyfs_group_type) return fault(("all of " + name).c_str(), k, status);
  }
  return "";
}

// Everything that has a name is there.
std::string check_objects(HyfsHandle file) {
  const auto look = [](hid_t group, const char* name, const H5L_info_t*, void* found) -> herr_t {
    const hid_t object = H5Oopen(group, name, H5P_DEFAULT);
    if (object < 0) {
      *static_cast<std::string*>(found) = std::string("cannot open ") + name;
      return 1;
    }
    if (H5Iget_type(object) == H5I_DATASET && H5Aexists(object, "hyfs_type") > 0) {
      *static_cast<std::string*>(found) = check_all_steps(object, name);
    }
    return H5Oclose(object) < 0 || !static_cast<std::string*>(found)->empty() ? 1 : 0;
  };
  std::string found;
  H5Lvisit(file, H5_INDEX_NAME, H5_ITER_INC, look, &found);
  return found;
}

std::string check_map_field(HyfsHandle file, const char* name, int field, int done) {
  HyfsHandle set = 0;
  int status = hfopengroup_f(file, name, set);
  if (status < 0) return fault(name, -1, status);
  std::vector<double> times;
  status = hfgetdatasettimes_f(set, times);
  if (done > 0 && (status < 0 || times.size() < static_cast<std::size_t>(done))) {
    return fault("times", done, status);
  }
  const bool vector = field == 3;
  std::vector<float> values;
  for (int k = 0; k < done; ++k) {
    status = vector ? hfreadvectorvaluestimestep_f(set, k + 1, values)
                    : hfreadscalarvaluestimestep_f(set, k + 1, values);
    if (status < 0) return fault(name, k, status);
    const std::size_t width = vector ? 2 : 1;
    if (values.size() != width * writer_nodes) return fault("size", k, 0);
    if (times[static_cast<std::size_t>(k)] != writer_time(k)) return fault("time", k, 0);
    for (std::size_t i = 0; i < values.size(); ++i) {
      const int component = field + static_cast<int>(i % width);
      if (values[i] != map_value(component, k, static_cast<int>(i / width))) {
        return fault("value", k, 0);
      }
    }
  }
  hfclosegroup_f(set);
  return "";
}

std::string check_maps(const std::string& path, int done) {
  HyfsHandle file = 0;
  const int status = hfopenfile_f(path, true, file);
  if (status < 0) return fault("maps file", done, status);
  constexpr const char* names[] = {"shear stress", "bedforms", "wse", "flow"};
  for (int field = 0; field < 4; ++field) {
    const std::string found = check_map_field(file, names[field], field, done);
    if (!found.empty()) return found;
  }
  const std::string found = check_objects(file);
  hfclosefile_f(file);
  return found;
}

std::string check_parcel_field(HyfsHandle group, const std::string& name, int done,
                               float (*expected)(int, int)) {
  HyfsHandle set = 0;
  int status = hfopengroup_f(group, name, set);
  if (status < 0) return fault(name.c_str(), -1, status);
  std::vector<float> values;
  for (int k = 0; k < done; ++k) {
    status = hfreadscalarvaluestimestep_f(set, k + 1, values);
    if (status < 0) return fault(name.c_str(), k, status);
    if (values.size() < static_cast<std::size_t>(parcels_of(k))) return fault("size", k, 0);
    for (int p = 0; p < parcels_of(k); ++p) {
      if (values[static_cast<std::size_t>(p)] != expected(k, p)) return fault(name.c_str(), k, 0);
    }
  }
  hfclosegroup_f(set);
  return "";
}

template <int axis>
float expected_position(int frame, int parcel) {
  return static_cast<float>(position_value(axis, frame, parcel));
}
template <int field>
float expected_value(int frame, int parcel) {
  return parcel_value(field, frame, parcel);
}

std::string check_particles(const std::string& path, int done, bool constants) {
  HyfsHandle file = 0, group = 0;
  int status = hfopenfile_f(path, true, file);
  if (status < 0) return fault("particles file", done, status);
  status = hfopengroup_f(file, "out/run_particles", group);
  if (status < 0) return fault("particles group", done, status);
  std::string found = check_parcel_field(group, "x", done, expected_position<0>);
  if (found.empty()) found = check_parcel_field(group, "y", done, expected_position<1>);
  if (found.empty()) found = check_parcel_field(group, "z", done, expected_position<2>);
  if (found.empty()) found = check_parcel_field(group, "speed", done, expected_value<0>);
  if (found.empty()) found = check_parcel_field(group, "state", done, expected_value<1>);
  if (constants) {
    HyfsHandle set = 0;
    std::vector<float> values;
    if (hfopengroup_f(group, "fall velocity", set) < 0 ||
        hfreadscalarvaluestimestep_f(set, 1, values) < 0 ||
        values.back() != parcel_value(14, 0, parcels_of(frames - 1) - 1)) {
      found = "constants";
    }
  }
  if (found.empty()) found = check_objects(file);
  hfclosefile_f(file);
  return found;
}

std::string check(const std::string& folder, Outcome& outcome) {
  std::string found;
  if (outcome.done["created_maps"] > 0) {
    found = check_maps(folder + "/run_maps.h5", outcome.done["maps"]);
  }
  if (found.empty() && outcome.done["created_particles"] > 0) {
    found = check_particles(folder + "/run_particles.h5", outcome.done["particles"],
                            outcome.done["constants"] > 0);
  }
  return found;
}

// Every call from `first` in steps; a sweep is parted so that its parts can run side by side.
struct Sweep {
  const char* kind;
  long first, step;
};

class Interrupted : public testing::Test {
 protected:
  void SetUp() override {
#ifdef DFL_SANITIZED
    GTEST_SKIP() << "a preloaded library does not go with the sanitizers";
#endif
  }
  TemporaryFolder folder;
};

class Crash : public Interrupted, public testing::WithParamInterface<Sweep> {};
using FullDisk = Interrupted;

TEST_P(Crash, KilledBeforeAnyFileOperationKeepsCompleteFrames) {
  const Sweep sweep = GetParam();
  const std::string here = folder.path("");
  const long calls = count_calls(here, 1);
  ASSERT_GT(calls, 20 * frames);
  for (long n = sweep.first; n <= calls; n += sweep.step) {
    Outcome outcome = run_writer(here, faults(sweep.kind, n), 1);
    ASSERT_EQ(outcome.exit_status, 77) << "call " << n << " of " << calls;
    ASSERT_EQ(check(here, outcome), "") << "ended at call " << n << " of " << calls << " after "
                                        << outcome.last;
  }
}

INSTANTIATE_TEST_SUITE_P(Ends, Crash, testing::Values(Sweep{"kill", 1, 3}, Sweep{"kill", 2, 3},
                                                      Sweep{"kill", 3, 3}, Sweep{"tear", 1, 4}));

TEST_F(FullDisk, GivesAStatusAtOnceAndKeepsEarlierFrames) {
  const std::string here = folder.path("");
  const long calls = count_calls(here, 1);
  for (long n = 1; n <= calls; n += 3) {
    Outcome outcome = run_writer(here, faults("full", n), 1);
    // Leaves as after a fatal message: by std::exit, with no crash on the way.
    ASSERT_FALSE(outcome.signalled) << "call " << n;
    ASSERT_EQ(outcome.exit_status, 3) << "call " << n << " after " << outcome.last;
    ASSERT_NE(outcome.failure, "") << "call " << n;
    ASSERT_EQ(check(here, outcome), "") << "full at call " << n << " after " << outcome.last
                                        << ", told " << outcome.failure;
  }
}

}  // namespace
}  // namespace dfl
