// Opening flow in datasets: measured and checked before anything is read.

#include <cmath>
#include <utility>

#include "control/run_clock.h"
#include "control/text_tools.h"
#include "dataset/dataset_status.h"
#include "flow/flow_dataset_parts.h"
#include "flow/flow_datasets.h"

namespace dfl {

namespace {

// A dataset of the flow, with what messages say of it.
struct Dataset {
  HyfsHandle file = -1;
  std::string file_name, path;
  std::string word, letter;  // of the model and the dataset, as "ADCIRC" and "Z"
  HyfsHandle set = -1;

  std::string place() const { return dataset_place(file_name, path); }
  std::string text(const char* operation) const {
    return std::string(operation) + "(" + word + "-" + letter + ") error";
  }
};

HyfsHandle open_file(const RunState& run, const std::string& name, const std::string& text) {
  HyfsHandle file = -1;
  check_dataset_file(run.messages, hfopenfile_f(name, true, file), name, text);
  return file;
}

// A path of a "n3d" grid counts from that of the grid unless it is part of it. Where that leads
// nowhere a full path is meant, or the part was one by chance.
int open_below_grid(const RunState& run, Dataset& data) {
  const std::string& grid = run.settings.hyfs_n3d_path;
  const std::string given = data.path, below = grid + "/" + given;
  const bool part = contains(grid, given);
  const std::string other = part ? below : given;
  data.path = part ? given : below;
  const int status = hfopengroup_f(data.file, data.path, data.set);
  if (status >= 0 || hfopengroup_f(data.file, other, data.set) < 0) return status;
  data.path = other;
  return 0;
}

void open_group(const RunState& run, Dataset& data) {
  const int status = data.word == "N3D" ? open_below_grid(run, data)
                                        : hfopengroup_f(data.file, data.path, data.set);
  check_dataset_status(run.messages, status, data.place(), data.text("HF_OPEN_GROUP"));
}

int count_times(const RunState& run, const Dataset& data) {
  int times = 0;
  check_dataset_status(run.messages, hfgetdatasetnumtimes_f(data.set, times), data.place(),
                       data.text("HF_GET_DATASET_NUM_TIMES"));
  return times;
}

void require_values(const RunState& run, const Dataset& data, std::int64_t expected,
                    const std::string& mismatch) {
  int values = 0;
  check_dataset_status(run.messages, hfgetdatasetnumvals_f(data.set, values), data.place(),
                       data.text("HF_GET_DATASET_NUMVALS"));
  if (values == expected) return;
  console(run.messages, "\n%s: %d values a step, expected %lld", data.place().c_str(), values,
          static_cast<long long>(expected));
  REPORT(run.messages, true, mismatch);
}

std::string node_mismatch(const std::string& word, const char* file) {
  return "*** The number of nodes in the " + word + " HYFS " + file +
         " does not match the mesh file ***";
}

// ---------------------------------------------------------------- times

std::string number(double value) {
  return trim_left(columns(value, 24, 3));
}

// Frames are looked for forward in time, so that their times must be numbers that grow.
void check_times(const RunState& run, const Dataset& data, const std::vector<double>& times) {
  constexpr double latest = 1.0e15;  // s; far behind any calendar
  for (std::size_t k = 0; k < times.size(); ++k) {
    const std::string step = std::to_string(k + 1);
    if (!(std::abs(times[k]) < latest)) {
      fatal_error(run.messages,
                  data.place() + ": expected a time at step " + step + ", found none");
    }
    if (k > 0 && !(times[k] > times[k - 1])) {
      fatal_error(run.messages, data.place() + ": expected times that grow, found " +
                                    number(times[k]) + " behind " + number(times[k - 1]) +
                                    " at step " + step);
    }
  }
}

std::vector<double> read_times(const RunState& run, const Dataset& data) {
  std::vector<double> times;
  check_dataset_status(run.messages, hfgetdatasettimes_f(data.set, times), data.place(),
                       data.text("HF_GET_DATASET_TIMES"));
  check_times(run, data, times);
  return times;
}

void scale_times(const RunState& run, const std::vector<double>& from, float scale,
                 Array<double>& to) {
  to.allocate(static_cast<int>(from.size()));
  for (int k = 1; k <= to.size(); ++k) {
    to(k) = from[static_cast<std::size_t>(k) - 1] * static_cast<double>(scale);
  }
  if (scale > 0.0f) return;
  fatal_error(run.messages, "expected a time scale above 0 on the card n2d_step");
}

float first_difference(const Array<double>& times) {
  return times.size() < 2 ? 0.0f : static_cast<float>(times(2) - times(1));
}

// The time of a Julian day in run seconds.
double seconds_of(const RunState& run, double julian_day, const std::string& place) {
  int era = 1;
  Date date{};
  double second = 0.0;
  check_dataset_status(
      run.messages,
      hfjuliantocalendar_f(julian_day, era, date[0], date[1], date[2], date[3], date[4], second),
      place, "HF_JULIAN_TO_CALENDAR error");
  const std::int64_t ms = std::llround(second * 1000.0);
  date[5] = static_cast<int>(ms / 1000);
  date[6] = static_cast<int>(ms % 1000);
  if (era == 1 && date[0] >= REFyear) return DATE_TO_SECONDS(REFyear, date);
  // Years before the reference year: its calendar has no leap days there.
  double reference_day = 0.0;
  hfcalendartojulian_f(1, REFyear, 1, 1, 0, 0, 0.0, reference_day);
  return std::round((julian_day - reference_day) * 86400000.0) / 1000.0;
}

// The reference time of the elevation says when the flow starts, unless a card does.
// Only "n2d" files need to have one.
void take_reference_time(RunState& run, const Dataset& data) {
  if (run.settings.start_flow >= 0.0) return;
  double julian_day = 0.0;
  const int status = hfreadreftime_f(data.set, julian_day);
  if (status < 0 && data.word != "RVS") return;
  check_dataset_status(run.messages, status, data.place(), "HF_READ_REFTIME error");
  run.settings.start_flow = seconds_of(run, julian_day, data.place());
  run.flow.start_from_file = true;
  const Date date = SECONDS_TO_DATE(REFyear, run.settings.start_flow);
  echo(run.messages, "Flow start, from the flow file:  %s @ %s\n", day_text(date).c_str(),
       time_text(date).c_str());
}

std::string time_units(const RunState& run, const Dataset& data, const std::string& text) {
  std::string units;
  check_dataset_status(run.messages, hfgetdatasettimeunits_f(data.set, units), data.place(), text);
  return units;
}

void warn(const RunState& run, const std::string& text) {
  echo_warning(run.messages, text);
  console(run.messages, "WARNING: %s\n", text.c_str());
}

// Where the unit word of the file is not followed, a time counts `scale` seconds.
void warn_of_units(const RunState& run, const Dataset& data, float scale) {
  constexpr std::pair<const char*, float> known[] = {
      {"sec", 1.0f}, {"min", 60.0f}, {"hour", 3600.0f}, {"day", 86400.0f}};
  std::string units;
  if (hfgetdatasettimeunits_f(data.set, units) < 0) return;
  const std::string word = lower_case(units);
  for (const auto& [name, seconds] : known) {
    if (contains(word, name) && scale == seconds) return;
  }
  warn(run, data.place() + " gives its times in \"" + units + "\": they are taken as " +
                (scale == 1.0f ? "seconds"
                               : "n2d_step, " + number(static_cast<double>(scale)) + " s each"));
}

// Structured 3-D models keep the first interval for all frames.
void warn_of_uneven_times(const RunState& run, const Dataset& data) {
  const FlowState& flow = run.flow;
  const double interval = static_cast<double>(flow.dTime);
  for (int k = 3; k <= flow.TIMESflow.size(); ++k) {
    const double difference = flow.TIMESflow(k) - flow.TIMESflow(k - 1);
    if (std::abs(difference - interval) <= 1.0e-3 * interval) continue;
    warn(run,
         data.place() + ": step " + std::to_string(k) +
             " does not follow at the interval of the first two steps, which is taken for all");
    return;
  }
}

// A velocity frame is taken for the elevation frame of its number.
void warn_of_other_times(const RunState& run, const Dataset& data, float scale) {
  std::vector<double> times;
  if (hfgetdatasettimes_f(data.set, times) < 0) return;
  const Array<double>& reference = run.flow.TIMESflow;
  for (int k = 1; k <= reference.size() && static_cast<std::size_t>(k) <= times.size(); ++k) {
    const double time = times[static_cast<std::size_t>(k) - 1] * static_cast<double>(scale);
    if (std::abs(time - reference(k)) <= 1.0e-3 + 1.0e-6 * std::abs(reference(k))) continue;
    warn(run, data.place() + ": the time of step " + std::to_string(k) +
                  " is not that of the elevation, which is taken");
    return;
  }
}

// ---------------------------------------------------------------- the common shape

// A dataset of the flow file. word, letter: of the model and the dataset in messages.
Dataset flow_dataset(const RunState& run, const std::string& path, const char* word,
                     const char* letter) {
  Dataset data;
  data.file = run.flow.datasets.flow_file;
  data.file_name = run.settings.flow_file_uv;
  data.path = path;
  data.word = word;
  data.letter = letter;
  return data;
}

// Flow models may keep the elevation in a file of its own; where the velocity file has none, that
// file is looked into.
void find_elevation(RunState& run, Dataset& elevation) {
  const Settings& s = run.settings;
  if (s.flow_file_z == "none" || s.flow_file_z == s.flow_file_uv) return;
  HyfsHandle set = -1, file = -1;
  if (hfopengroup_f(elevation.file, elevation.path, set) >= 0) {
    hfclosegroup_f(set);
    return;
  }
  if (const int status = hfopenfile_f(s.flow_file_z, true, file); status < 0) {
    console(run.messages, "\n%s: %s", s.flow_file_z.c_str(),
            hyfs_open_reason(s.flow_file_z, status).c_str());
    return;
  }
  run.flow.datasets.elevation_file = elevation.file = file;
  elevation.file_name = s.flow_file_z;
}

// The elevation says when the flow starts and has the times of the frames, which it returns as
// they stand in the file.
std::vector<double> open_elevation(RunState& run, Dataset& Z) {
  open_group(run, Z);
  take_reference_time(run, Z);
  run.flow.NUMframes = count_times(run, Z);
  run.flow.datasets.Zset = Z.set;
  return read_times(run, Z);
}

// Times of the elevation into the run, `scale` seconds each.
void take_times(RunState& run, const std::vector<double>& times, float scale) {
  scale_times(run, times, scale, run.flow.TIMESflow);
  run.flow.dTime = first_difference(run.flow.TIMESflow);
}

// The velocity, or one of its components, has the frames of the elevation.
void compare_frames(const RunState& run, const Dataset& elevation, const Dataset& velocity,
                    float scale) {
  if (count_times(run, velocity) != run.flow.NUMframes) {
    const std::string component = velocity.word == "N3D" ? velocity.letter : "U";
    const std::string word = velocity.word == "RVS" ? "ADCIRC" : velocity.word;
    REPORT(run.messages, true,
           "*** The number of time steps in the " + elevation.letter + " and " + component +
               " parts of the " + word + " HYFS file do not match***");
  }
  warn_of_other_times(run, velocity, scale);
}

// The velocity in one dataset, and the values of a step of both.
Dataset open_velocity(RunState& run, const Dataset& Z, std::int64_t Z_values, std::int64_t V_values,
                      float scale) {
  Dataset V = flow_dataset(run, run.settings.hyfs_vel_path, Z.word.c_str(), "V");
  open_group(run, V);
  compare_frames(run, Z, V, scale);
  const std::string mismatch = node_mismatch(Z.word, "file");
  require_values(run, Z, Z_values, mismatch);
  require_values(run, V, V_values, mismatch);
  run.flow.datasets.Vset = V.set;
  return V;
}

// A scalar of the flow file; it has the steps of the flow.
HyfsHandle open_scalar(const RunState& run, const std::string& path, const char* word,
                       const char* letter, std::int64_t values) {
  Dataset data = flow_dataset(run, path, word, letter);
  open_group(run, data);
  if (count_times(run, data) < run.flow.NUMframes) {
    fatal_error(run.messages, data.place() + ": expected " + std::to_string(run.flow.NUMframes) +
                                  " time steps, as the flow has");
  }
  require_values(run, data, values, node_mismatch(data.word, "file"));
  return data.set;
}

bool has_lattice(const RunState& run) {
  const GridState& grid = run.grid;
  return grid.NumI >= 2 && grid.NumJ >= 2 && run.flow.NUMlayers >= 1 &&
         static_cast<std::int64_t>(grid.NumI) * grid.NumJ == run.mesh.NUMnode;
}

}  // namespace

std::int64_t n3d_values(const RunState& run) {
  return (static_cast<std::int64_t>(run.flow.NUMlayers) + 1) * run.grid.NumI * run.grid.NumJ;
}

std::int64_t gr3d_values(const RunState& run) {
  return static_cast<std::int64_t>(run.grid.NUMactive) * run.flow.NUMlayers;
}

void OPEN_FLOW_HYFS(RunState& run) {
  const Settings& s = run.settings;
  console(run.messages, "Opening hydrodynamic data file...\n");
  run.flow.datasets.flow_file = open_file(run, s.flow_file_uv, "HF_OPEN_FILE(ADCIRC) error");
  Dataset Z = flow_dataset(run, s.hyfs_wse_path, "ADCIRC", "Z");
  find_elevation(run, Z);
  take_times(run, open_elevation(run, Z), 1.0f);
  warn_of_units(run, Z, 1.0f);
  open_velocity(run, Z, run.mesh.NUMnode, run.mesh.NUMnode, 1.0f);
}

void OPEN_FLOW_N2D(RunState& run) {
  Settings& s = run.settings;
  FlowDatasets& sets = run.flow.datasets;
  console(run.messages, "Opening hydrodynamic data file...\n");
  sets.elevation_file = open_file(run, s.flow_file_z, "HF_OPEN_FILE(RVS) [FNAMElevels] error");
  sets.flow_file = open_file(run, s.flow_file_uv, "HF_OPEN_FILE(RVS) [FNAMEflows] error");
  Dataset Z = flow_dataset(run, s.hyfs_wse_path, "RVS", "Z");
  Z.file = sets.elevation_file;
  Z.file_name = s.flow_file_z;
  const std::vector<double> times = open_elevation(run, Z);
  const std::string units = lower_case(time_units(run, Z, "HF_GET_DATASET_TIME_UNITS error"));
  if (contains(units, "hours")) {
    s.n2d_step = 3600.0f;
  } else if (contains(units, "seconds")) {
    s.n2d_step = 1.0f;
  }
  take_times(run, times, s.n2d_step);
  const int cells = run.grid.NUMcells;
  const Dataset V = open_velocity(run, Z, cells, cells, s.n2d_step);
  check_dataset_status(run.messages, hfgetscalardatalocation_f(Z.set, sets.ZLOC), Z.place(),
                       Z.text("HF_GET_SCALAR_DATA_LOC"));
  if (sets.ZLOC != 0) REPORT(run.messages, true, "GRID_LOC_CENTER(RVS-Z) error");
  check_dataset_status(run.messages, hfgetvector2ddatalocations_f(V.set, sets.ULOC, sets.VLOC),
                       V.place(), V.text("HF_GET_VECTOR_2D_DATA_LOCS"));
  if (sets.ULOC != 0 && sets.ULOC != 3) REPORT(run.messages, true, "GRID_LOC_FACE_I(RVS-V) error");
  if (sets.VLOC != 0 && sets.VLOC != 4) REPORT(run.messages, true, "GRID_LOC_FACE_J(RVS-V) error");
  run.grid.CELLvalues.allocate(cells);
}

void OPEN_FLOW_GR3D(RunState& run) {
  const Settings& s = run.settings;
  console(run.messages, "Opening GR3D hydrodynamic data file...\n");
  run.flow.datasets.flow_file = open_file(run, s.flow_file_uv, "HF_OPEN_FILE(GR3D) error");
  Dataset Z = flow_dataset(run, s.hyfs_wse_path, "GR3D", "Z");
  take_times(run, open_elevation(run, Z), s.n2d_step);
  warn_of_units(run, Z, s.n2d_step);
  warn_of_uneven_times(run, Z);
  open_velocity(run, Z, run.grid.NUMactive, gr3d_values(run), s.n2d_step);
  if (!has_lattice(run)) REPORT(run.messages, true, node_mismatch("GR3D", "file"));
}

void OPEN_FLOW_N3D(RunState& run) {
  Settings& s = run.settings;
  FlowDatasets& sets = run.flow.datasets;
  console(run.messages, "Opening N3D hydrodynamic data file...\n");
  sets.flow_file = open_file(run, s.flow_file_uv, "HF_OPEN_FILE(N3D) error");
  Dataset Z = flow_dataset(run, s.hyfs_wse_path, "N3D", "Z");
  const std::vector<double> times = open_elevation(run, Z);
  const std::string units = time_units(run, Z, "HF_GET_DATASET_TIME_UNITS(N3D-Z) error");
  if (units == "Seconds") {
    s.n2d_step = 1.0f;
  } else if (units == "Hours") {
    s.n2d_step = 3600.0f;
  } else {
    REPORT(run.messages, true, "Unexpected time units is N3D hydro file");
  }
  take_times(run, times, s.n2d_step);
  warn_of_uneven_times(run, Z);
  Dataset velocity[] = {flow_dataset(run, s.hyfs_u_path, "N3D", "U"),
                        flow_dataset(run, s.hyfs_v_path, "N3D", "V"),
                        flow_dataset(run, s.hyfs_w_path, "N3D", "W")};
  for (Dataset& component : velocity) open_group(run, component);
  const std::int64_t values = n3d_values(run);
  for (const Dataset& component : velocity) {
    compare_frames(run, Z, component, s.n2d_step);
    require_values(run, Z, values, node_mismatch("N3D", "Zfile"));
    require_values(run, component, values,
                   node_mismatch("N3D", (component.letter + "file").c_str()));
  }
  if (!has_lattice(run)) REPORT(run.messages, true, node_mismatch("N3D", "Zfile"));
  sets.Uset = velocity[0].set;
  sets.Vset = velocity[1].set;
  sets.Wset = velocity[2].set;
}

void OPEN_SCALARS_GR3D(RunState& run) {
  const Settings& s = run.settings;
  FlowState& flow = run.flow;
  flow.datasets.Sset = open_scalar(run, s.hyfs_sal_path, "GR3D", "S", gr3d_values(run));
  flow.datasets.Tset = open_scalar(run, s.hyfs_temp_path, "GR3D", "T", gr3d_values(run));
  // The file tells no heights: levels of equal thickness, each known at its middle.
  const float levels = static_cast<float>(flow.NUMlayers);
  for (int k = 1; k <= flow.NUMlayers; ++k) {
    flow.SIGMA(k) = (static_cast<float>(k) - 0.5f) / levels;
  }
}

void OPEN_SCALARS_N3D(RunState& run) {
  run.flow.datasets.Sset =
      open_scalar(run, run.settings.hyfs_sal_path, "N3D", "S", n3d_values(run));
}

void OPEN_BOTTOM_DATASET(RunState& run) {
  const Settings& s = run.settings;
  FlowDatasets& sets = run.flow.datasets;
  sets.bottom_file = open_file(run, s.bottom_flow_file, "HF_OPEN_FILE(BOTTOM) error");
  Dataset U;
  U.file = sets.bottom_file;
  U.file_name = s.bottom_flow_file;
  U.path = s.hyfs_bot_path;
  U.word = "BOTTOM";
  U.letter = "U";
  open_group(run, U);
  count_times(run, U);
  scale_times(run, read_times(run, U), s.n2d_step, sets.TIMESbottom);
  warn_of_units(run, U, s.n2d_step);
  sets.dTimebottom = first_difference(sets.TIMESbottom);
  require_values(run, U, run.mesh.NUMnode, node_mismatch("BOTTOM", "file"));
  sets.BOTset = U.set;
}

}  // namespace dfl
