// A run that is killed or fills the disk keeps every frame that it had completed. For the first,
// all that a run does to its files is noted and done again call by call; what a run that ended
// there would have left is read.

#include <gtest/gtest.h>
#include <hdf5.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "common/test_run.h"
#include "dataset/file_calls.h"
#include "dataset/hyfs.h"
#include "dataset/writer_run.h"

namespace dfl {
namespace {

using namespace test;

using Done = std::map<std::string, int>;  // how often each thing was told as complete

// ---- the writing run ----

// A whole run with all that it did to files, and what was complete before each of these calls.
struct Journal {
  FileWatch watch;
  std::vector<Done> done;  // one more than calls: the last for the end
};

void note_run(const std::string& folder, int frames, Journal& journal) {
  Done done;
  journal.watch.note = true;
  watch_files(&journal.watch);
  try {
    write_run(folder, frames, 1, [&](const std::string& what) {
      journal.done.resize(journal.watch.calls.size(), done);
      ++done[what];
    });
  } catch (const WriterFailure& failure) {
    ADD_FAILURE() << failure.what << ": status " << failure.status;
  }
  watch_files(nullptr);
  journal.done.resize(journal.watch.calls.size() + 1, done);
}

struct Outcome {
  Done done;
  std::string failure;  // as told
  int exit_status = -1;
  bool signalled = false;
};

// In the child process. Leaves as after a fatal message: by std::exit.
[[noreturn]] void write_on_full_disk(const std::string& folder, int frames, long full_at,
                                     int report) {
  FileWatch watch;
  watch.full_at = full_at;
  watch_files(&watch);
  std::FILE* out = fdopen(report, "w");
  int status = 0;
  try {
    write_run(folder, frames, 1,
              [out](const std::string& what) { std::fprintf(out, "%s\n", what.c_str()); });
  } catch (const WriterFailure& failure) {
    std::fprintf(out, "failed %s %d\n", failure.what.c_str(), failure.status);
    status = 3;
  }
  std::fflush(nullptr);
  std::exit(status);
}

Outcome fill_disk(const std::string& folder, int frames, long full_at) {
  Outcome outcome;
  int ends[2];
  std::fflush(nullptr);
  if (pipe(ends) != 0) return outcome;
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    write_on_full_disk(folder, frames, full_at, ends[1]);
  }
  close(ends[1]);
  std::FILE* in = fdopen(ends[0], "r");
  char line[200];
  while (std::fgets(line, sizeof line, in) != nullptr) {
    const std::string text(line, std::strcspn(line, "\n"));
    if (text.rfind("failed", 0) == 0) {
      outcome.failure = text;
    } else {
      ++outcome.done[text];
    }
  }
  std::fclose(in);
  int status = 0;
  waitpid(child, &status, 0);
  outcome.signalled = WIFSIGNALED(status);
  outcome.exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return outcome;
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
    if (status < 0 && status != hyfs_group_type)
      return fault(("all of " + name).c_str(), k, status);
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
        hfreadscalarvaluestimestep_f(set, 1, values) < 0 || values.empty() ||
        values.back() != parcel_value(14, 0, static_cast<int>(values.size()) - 1)) {
      found = "constants";
    }
  }
  if (found.empty()) found = check_objects(file);
  hfclosefile_f(file);
  return found;
}

constexpr const char* maps_name = "run_maps.h5";
constexpr const char* particles_name = "run_particles.h5";

int times_told(const Done& done, const char* what) {
  const Done::const_iterator found = done.find(what);
  return found == done.end() ? 0 : found->second;
}

std::string check_file(const std::string& folder, const std::string& name, const Done& done) {
  const std::string path = folder + "/" + name;
  if (name == maps_name) {
    return times_told(done, "created_maps") == 0 ? "" : check_maps(path, times_told(done, "maps"));
  }
  if (times_told(done, "created_particles") == 0) return "";
  return check_particles(path, times_told(done, "particles"), times_told(done, "constants") > 0);
}

// The files of a run as they are before each call of its journal, one call after the other.
class Replay {
 public:
  Replay(const Journal& noted, std::string where) : journal(noted), folder(std::move(where)) {}

  // What is wrong if the run ends before call `n`, or in the middle of it; empty if nothing is.
  std::string ended_before(std::size_t n) {
    std::string found;
    for (const char* name : {maps_name, particles_name}) {
      // Only a file that was changed, or of which more is promised, needs to be read again.
      if (name == changed || (n > 0 && journal.done[n] != journal.done[n - 1])) {
        found += check_file(folder, name, journal.done[n]);
      }
    }
    changed.clear();
    return found;
  }
  std::string ended_within(std::size_t n) {
    const FileCall& call = journal.watch.calls[n];
    if (call.kind == FileCall::Kind::rename || call.bytes.size() < smallest_torn) return "";
    const std::string name = name_of(call);
    if (!repeat_call(call, folder + "/" + name, true)) return "cannot write";
    return check_file(folder, name, journal.done[n]);
  }
  std::string go_on(std::size_t n) {
    const FileCall& call = journal.watch.calls[n];
    if (call.kind == FileCall::Kind::rename) return check_sidecar(call);
    changed = name_of(call);
    return repeat_call(call, folder + "/" + changed, false) ? "" : "cannot write";
  }

 private:
  static constexpr std::size_t smallest_torn = 2 * 4096;  // shorter ones go in one piece

  static std::string name_of(const FileCall& call) {
    return call.path.substr(call.path.rfind('/') + 1);
  }
  // What takes the place of the former sidecar is whole.
  static std::string check_sidecar(const FileCall& call) {
    return call.target.ends_with(".xmf") && call.bytes.ends_with("</Xdmf>\n") ? "" : "sidecar";
  }

  const Journal& journal;
  std::string folder, changed;
};

TEST(HyfsCrash, ARunThatEndsAtAnyFileOperationKeepsItsCompleteFrames) {
  constexpr int frames = 12;
  const TemporaryFolder written, replayed;
  Journal journal;
  note_run(written.path(""), frames, journal);
  const std::size_t calls = journal.watch.calls.size();
  ASSERT_GT(calls, 20U * frames);
  ASSERT_EQ(journal.done.back()["end"], 1);
  Replay replay(journal, replayed.path(""));
  int lost = 0;
  for (std::size_t n = 0; n <= calls && lost < 5; ++n) {
    std::string found = replay.ended_before(n);
    EXPECT_EQ(found, "") << "ended before call " << n << " of " << calls << (++lost, "");
    if (n == calls) break;
    found = replay.ended_within(n);
    EXPECT_EQ(found, "") << "ended within call " << n << " of " << calls << (++lost, "");
    found = replay.go_on(n);
    EXPECT_EQ(found, "") << "call " << n << " of " << calls << (++lost, "");
  }
  ASSERT_LT(lost, 5);
  // All that the run did was seen: repeated, it gives the same files.
  for (const char* name : {maps_name, particles_name}) {
    const bool same = read_text(written.path(name)) == read_text(replayed.path(name));
    EXPECT_TRUE(same) << name;
  }
}

TEST(HyfsCrash, FullDiskGivesAStatusAtOnceAndKeepsEarlierFrames) {
  constexpr int frames = 5;
#ifdef DFL_SANITIZED
  constexpr long step = 11;  // a process of the sanitizers takes long to begin and to end
#else
  constexpr long step = 3;
#endif
  const TemporaryFolder folder;
  const std::string here = folder.path("");
  Journal journal;
  note_run(here, frames, journal);
  const long calls = journal.watch.count;
  ASSERT_GT(calls, 20 * frames);
  for (long n = 1; n <= calls; n += step) {
    const Outcome outcome = fill_disk(here, frames, n);
    ASSERT_FALSE(outcome.signalled) << "call " << n;
    ASSERT_EQ(outcome.exit_status, 3) << "call " << n;
    ASSERT_NE(outcome.failure, "") << "call " << n;
    for (const char* name : {maps_name, particles_name}) {
      ASSERT_EQ(check_file(here, name, outcome.done), "")
          << "full at call " << n << ", told " << outcome.failure;
    }
  }
}

}  // namespace
}  // namespace dfl
