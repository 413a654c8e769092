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
#include <functional>
#include <map>
#include <source_location>
#include <string>
#include <utility>
#include <vector>

#include "common/test_run.h"
#include "dataset/file_calls.h"
#include "dataset/hyfs.h"

namespace dfl {
namespace {

using namespace test;

// ---- the writing run ----

// Maps and parcels, files reopened at each frame, as the output writers do; all values are known
// from their place.

constexpr int writer_nodes = 60;
constexpr int writer_columns = 10;
constexpr double writer_step = 600.0;

double writer_time(int frame) {
  return writer_step * frame;
}

float map_value(int field, int frame, int node) {
  return static_cast<float>(1000 * field + 10 * frame) + 0.01f * static_cast<float>(node);
}

// More parcels every third frame.
int parcels_of(int frame) {
  return 70 + 40 * (frame / 3);
}

double position_value(int axis, int frame, int parcel) {
  return 500000.0 + 1000.0 * axis + frame + parcel / 1024.0;
}

float parcel_value(int field, int frame, int parcel) {
  return static_cast<float>(100 * field + frame) + 0.5f * static_cast<float>(parcel);
}

constexpr const char* maps_name = "run_maps.h5";
constexpr const char* particles_name = "run_particles.h5";

// The line of a call and its status.
using WriterFailure = std::pair<unsigned, int>;

void require(int status, std::source_location where = std::source_location::current()) {
  if (status < 0) throw WriterFailure{where.line(), status};
}

// Is told each file and frame that is complete: "created_maps", "created_particles", "maps" and
// "particles" once a frame, "constants", "end".
using Tell = std::function<void(const std::string&)>;

constexpr const char* map_fields[] = {"shear stress", "bedforms", "wse"};
constexpr const char* parcel_fields[] = {"speed", "state"};

struct Run {
  std::string maps, particles;
  int frames = 0;
  const Tell& tell;
};

HyfsMesh make_mesh() {
  HyfsMesh mesh;
  for (int n = 0; n < writer_nodes; ++n) {
    mesh.x.push_back(100.0 * (n % writer_columns));
    mesh.y.push_back(100.0 * (n / writer_columns));
    mesh.bed.push_back(-5.0f);
  }
  for (int n = 1; n + writer_columns < writer_nodes; ++n) {
    if (n % writer_columns == 0) continue;
    mesh.faces.insert(mesh.faces.end(), {n, n + 1, n + writer_columns});
    mesh.faces.insert(mesh.faces.end(), {n + 1, n + writer_columns + 1, n + writer_columns});
  }
  return mesh;
}

void create_maps(const Run& run) {
  HyfsFileInfo info;
  info.kind = "maps";
  info.start_date = "2020-03-01 00:00:00";
  info.expected_frames = run.frames;
  info.expected_values = writer_nodes;
  HyfsHandle file = 0, set = 0;
  require(hfcreatefile_f(run.maps, true, info, file));
  require(hfwritemesh_f(file, make_mesh()));
  HyfsDatasetInfo data;
  data.compression = 1;
  data.values = writer_nodes;
  for (const char* name : map_fields) {
    require(hfcreatescalardataset_f(file, name, data, set));
    require(hfwritereftime_f(set, 2458909.5));
    require(hfclosegroup_f(set));
  }
  require(hfcreatevectordataset_f(file, "flow", data, set));
  require(hfclosegroup_f(set));
  require(hfclosefile_f(file));
  run.tell("created_maps");
}

void create_particles(const Run& run) {
  HyfsFileInfo info;
  info.kind = "particles";
  info.start_date = "2020-03-01 00:00:00";
  info.expected_frames = run.frames;
  info.expected_values = parcels_of(0);  // so that later frames need several chunks
  HyfsHandle file = 0, group = 0, set = 0;
  require(hfcreatefile_f(run.particles, true, info, file));
  require(hfcreategeometricpathgroup_f(file, "out/run_particles", "1-2-3", 1, group));
  require(hfwritereftime_f(group, 2458909.5));
  HyfsDatasetInfo data;
  data.compression = 1;
  for (const char* name : parcel_fields) {
    require(hfcreatescalardsetextndbl_f(group, name, data, set));
    require(hfclosegroup_f(set));
  }
  require(hfclosegroup_f(group));
  require(hfclosefile_f(file));
  run.tell("created_particles");
}

// A step of a field, which may have grown since the last one.
void write_field(HyfsHandle parent, const char* name, double time, int count, bool grown,
                 const std::function<float(int)>& value) {
  std::vector<float> values;
  for (int i = 0; i < count; ++i) values.push_back(value(i));
  HyfsHandle set = 0;
  require(hfopengroup_f(parent, name, set));
  if (grown) require(hfextendscalardataset_f(set, count));
  require(hfwritescalartimestep_f(set, time, values.data(), count));
  require(hfclosegroup_f(set));
}

void write_maps(const Run& run, int frame) {
  HyfsHandle file = 0, set = 0;
  require(hfopenfile_f(run.maps, false, file));
  for (int field = 0; field < 3; ++field) {
    write_field(file, map_fields[field], writer_time(frame), writer_nodes, false,
                [&](int n) { return map_value(field, frame, n); });
  }
  std::vector<float> pairs;
  for (int n = 0; n < writer_nodes; ++n) {
    pairs.insert(pairs.end(), {map_value(3, frame, n), map_value(4, frame, n)});
  }
  require(hfopengroup_f(file, "flow", set));
  require(hfwritevectortimestep_f(set, writer_time(frame), pairs.data(), writer_nodes));
  require(hfclosegroup_f(set));
  require(hfclosefile_f(file));
  run.tell("maps");
  require(hfwritemapsxmf_f(run.maps));
}

void write_particles(const Run& run, int frame) {
  HyfsHandle file = 0, group = 0;
  const int count = parcels_of(frame);
  std::vector<double> positions;
  for (int p = 0; p < count; ++p) {
    for (int axis = 0; axis < 3; ++axis) positions.push_back(position_value(axis, frame, p));
  }
  require(hfopenfile_f(run.particles, false, file));
  require(hfopengroup_f(file, "out/run_particles", group));
  require(hfwriteparticletimestep_f(group, writer_time(frame), count, positions.data()));
  const bool grown = frame > 0 && parcels_of(frame - 1) != count;
  for (int field = 0; field < 2; ++field) {
    write_field(group, parcel_fields[field], writer_time(frame), count, grown,
                [&](int p) { return parcel_value(field, frame, p); });
  }
  require(hfclosegroup_f(group));
  require(hfclosefile_f(file));
  run.tell("particles");
  require(hfwriteparticlesxmf_f(run.particles));
}

void write_constants(const Run& run) {
  HyfsHandle file = 0, group = 0, set = 0;
  require(hfopenfile_f(run.particles, false, file));
  require(hfopengroup_f(file, "out/run_particles", group));
  HyfsDatasetInfo data;
  data.location = "trajectory";
  data.compression = 1;
  constexpr const char* names[] = {"id", "source", "grain size", "density", "fall velocity"};
  for (int field = 0; field < 5; ++field) {
    require(hfcreatescalardataset_f(group, names[field], data, set));
    require(hfwritereftime_f(set, 2458909.5));
    require(hfclosegroup_f(set));
    write_field(group, names[field], 0.0, parcels_of(run.frames - 1), false,
                [&](int p) { return parcel_value(10 + field, 0, p); });
  }
  require(hfclosegroup_f(group));
  require(hfclosefile_f(file));
  run.tell("constants");
}

void write_run(const std::string& folder, int frames, const Tell& tell) {
  const Run run{folder + "/" + maps_name, folder + "/" + particles_name, frames, tell};
  require(hfpinitialize_f());
  create_maps(run);
  create_particles(run);
  for (int frame = 0; frame < frames; ++frame) {
    write_maps(run, frame);
    write_particles(run, frame);
  }
  write_constants(run);
  tell("end");
}

// ---- its ends ----

using Done = std::map<std::string, int>;  // how often each thing was told as complete

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
    write_run(folder, frames, [&](const std::string& what) {
      journal.done.resize(journal.watch.calls.size(), done);
      ++done[what];
    });
  } catch (const WriterFailure& failure) {
    ADD_FAILURE() << "line " << failure.first << ": status " << failure.second;
  }
  watch_files(nullptr);
  journal.done.resize(journal.watch.calls.size() + 1, done);
}

struct Outcome {
  Done done;
  std::string failure;   // as told
  int exit_status = -1;  // none after a signal
};

// A run in a process of its own, which leaves as after a fatal message: by std::exit.
Outcome fill_disk(const std::string& folder, int frames, long full_at) {
  Outcome outcome;
  int ends[2];
  std::fflush(nullptr);
  if (pipe(ends) != 0) return outcome;
  const pid_t child = fork();
  if (child == 0) {
    FileWatch watch;
    watch.full_at = full_at;
    watch_files(&watch);
    std::FILE* out = fdopen(ends[1], "w");
    int status = 0;
    try {
      write_run(folder, frames,
                [out](const std::string& what) { std::fprintf(out, "%s\n", what.c_str()); });
    } catch (const WriterFailure& failure) {
      std::fprintf(out, "failed in line %u: %d\n", failure.first, failure.second);
      status = 3;
    }
    std::fflush(nullptr);
    std::exit(status);
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
                               const std::function<float(int, int)>& expected) {
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

std::string check_particles(const std::string& path, int done, bool constants) {
  HyfsHandle file = 0, group = 0;
  int status = hfopenfile_f(path, true, file);
  if (status < 0) return fault("particles file", done, status);
  status = hfopengroup_f(file, "out/run_particles", group);
  if (status < 0) return fault("particles group", done, status);
  std::string found;
  constexpr const char* names[] = {"x", "y", "z", "speed", "state"};
  for (int i = 0; i < 5 && found.empty(); ++i) {
    found = check_parcel_field(group, names[i], done, [i](int k, int p) {
      return i < 3 ? static_cast<float>(position_value(i, k, p)) : parcel_value(i - 3, k, p);
    });
  }
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

std::string check_file(const std::string& folder, const std::string& name, Done done) {
  const std::string path = folder + "/" + name;
  if (name == maps_name) return done["created_maps"] == 0 ? "" : check_maps(path, done["maps"]);
  if (done["created_particles"] == 0) return "";
  return check_particles(path, done["particles"], done["constants"] > 0);
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
