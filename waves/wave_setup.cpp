#include "waves/wave_setup.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "control/ensim_header.h"
#include "control/text_reader.h"
#include "control/text_tools.h"
#include "waves/swan_input.h"
#include "waves/wave_files.h"

namespace dfl {

namespace {

constexpr int most_cells = 32767;  // cells of a side are 2-byte numbers

std::string place_of(const TextReader& in) {
  return in.path() + ":" + std::to_string(in.line());
}

// `place`: where the numbers were found.
void check_size(const RunState& run, const WaveGrid& grid, const std::string& place) {
  if (grid.NI < 1 || grid.NJ < 1 || grid.NI > most_cells || grid.NJ > most_cells) {
    fatal_error(run.messages, place + ": expected a wave grid of 1 to 32767 cells a side, found " +
                                  std::to_string(grid.NI) + " by " + std::to_string(grid.NJ));
  }
}

void check_cells(const RunState& run, const WaveGrid& grid, const std::string& place) {
  const auto positive = [](const Array<float>& sizes) {
    return std::all_of(sizes.begin(), sizes.end(), [](float size) { return size > 0.0f; });
  };
  if (!positive(grid.DX) || !positive(grid.DY)) {
    fatal_error(run.messages, place + ": expected wave cells of positive size");
  }
}

// The next `count` names behind the card wave_files.
std::vector<std::string> take_names(const RunState& run, std::size_t& taken, int count) {
  const std::vector<std::string>& names = run.settings.wave_file_names;
  const std::size_t needed = taken + static_cast<std::size_t>(count);
  if (names.size() < needed) {
    fatal_error(run.messages, "Expected " + std::to_string(needed) +
                                  " file names behind :wave_files, found " +
                                  std::to_string(names.size()));
  }
  const std::vector<std::string> result(names.begin() + static_cast<std::ptrdiff_t>(taken),
                                        names.begin() + static_cast<std::ptrdiff_t>(needed));
  taken = needed;
  return result;
}

// "lagoon": grid files with a header of keys.

constexpr std::array<const char*, 6> lagoon_keys = {":xorigin", ":yorigin", ":xcount",
                                                    ":ycount",  ":xdelta",  ":ydelta"};

// Takes the value of a key; false if it cannot be read. Other keys have no use.
bool take_lagoon_value(const std::string& key, const std::string& value, WaveGrid& grid) {
  if (key == ":xorigin") return read_key_value(value, grid.x_origin);
  if (key == ":yorigin") return read_key_value(value, grid.y_origin);
  if (key == ":angle") return read_key_value(value, grid.angle);
  if (key == ":xcount") return read_key_value(value, grid.NI);
  if (key == ":ycount") return read_key_value(value, grid.NJ);
  if (key == ":xdelta") return read_key_value(value, grid.DX(1));
  if (key == ":ydelta") return read_key_value(value, grid.DY(1));
  return true;
}

// Reads the header up to its end into `grid`. Returns the keys found.
std::set<std::string> read_lagoon_header(const RunState& run, TextReader& in, WaveGrid& grid) {
  grid.DX.allocate(1);
  grid.DY.allocate(1);
  std::set<std::string> found;
  const TakeKey take = [&](const std::string& key, const std::string& value) {
    found.insert(key);
    return take_lagoon_value(key, value, grid);
  };
  const HeaderWords words = {"expected a header line of a wave grid",
                             "expected a header line of a wave grid", "expected \":endheader\""};
  std::string fault;
  if (!read_ensim_header(run.messages, in, take, fault, words)) fatal_error(run.messages, fault);
  return found;
}

void READ_LAGOON_HEADER(RunState& run) {
  WaveState& waves = run.waves;
  std::size_t taken = 0;
  const std::vector<std::string> names = take_names(run, taken, run.settings.wave_breaking ? 3 : 2);
  WaveGrid& grid = waves.grid[0];
  // Height, the two components of the direction, breaking.
  constexpr std::array<WaveField, 3> fields = {wave_height_field, wave_direction_field,
                                               wave_breaking_field};
  for (std::size_t k = 0; k < names.size(); ++k) {
    auto& file = waves.swan_file[fields[k]];
    file = std::make_unique<TextReader>(run.messages, names[k]);
    WaveGrid head;
    const std::set<std::string> found = read_lagoon_header(run, *file, k == 0 ? grid : head);
    if (k == 0) {
      for (const char* key : lagoon_keys) {
        if (found.count(key) == 0) file->stop(std::string("expected \"") + key + "\" before it");
      }
      check_size(run, grid, place_of(*file));
      check_cells(run, grid, place_of(*file));
    } else if ((found.count(":xcount") != 0 && head.NI != grid.NI) ||
               (found.count(":ycount") != 0 && head.NJ != grid.NJ)) {
      file->stop("expected a grid of " + std::to_string(grid.NI) + " by " +
                 std::to_string(grid.NJ) + " as in \"" + names[0] + "\", found " +
                 std::to_string(head.NI) + " by " + std::to_string(head.NJ));
    }
  }
  waves.wave_frames = waves.wave_files = waves.NUMwaveframes = 1;
  waves.wave_step = 0.0f;
}

// "swan".

void open_swan(RunState& run) {
  READ_SWAN_INPUT(run);
  WaveState& waves = run.waves;
  std::size_t taken = 0;
  const std::vector<std::string> names = take_names(run, taken, run.settings.wave_breaking ? 4 : 3);
  for (std::size_t k = 0; k < names.size(); ++k) {
    waves.swan_file[k] = std::make_unique<TextReader>(run.messages, names[k]);
  }
  if (waves.swan_on_mesh) READ_SWAN_MESH(run);
}

// "oswell" in text form.

// Depth of the wave grid gives its size; a third size of 999 or more marks sizes by column and row.
void read_depth_file(RunState& run, const std::string& path, const char* parent, WaveGrid& grid) {
  TextReader in(run.messages, path);
  float DX = 0.0f, DY = 0.0f;
  in.read(grid.NI, grid.NJ, DX, DY);
  check_size(run, grid, place_of(in));
  constexpr float variable_mark = 999.0f;
  grid.variable = DY >= variable_mark;
  if (!grid.variable) {
    grid.DX.allocate(1, DX);
    grid.DY.allocate(1, DY <= 0.0f ? DX : DY);
    check_cells(run, grid, place_of(in));
    return;
  }
  const std::string failure =
      std::string("Variable ") + parent + " wave grid detected, but data not in depth file";
  const auto read_run = [&](int count, Array<float>* values) {
    in.begin_record();
    for (int i = 1; i <= count; ++i) {
      float value = 0.0f;
      if (!in.try_item(value)) fatal_error(run.messages, failure + " (" + in.fault() + ")");
      if (values != nullptr) (*values)(i) = value;
    }
    in.end_record();
  };
  for (int j = 1; j <= grid.NJ; ++j) read_run(grid.NI, nullptr);
  grid.DX.allocate(grid.NI);
  grid.DY.allocate(grid.NJ);
  read_run(grid.NI, &grid.DX);
  read_run(grid.NJ, &grid.DY);
  check_cells(run, grid, place_of(in));
}

// The folder in front of a path with its joint, and whether a path stands for itself.
std::string folder_of(const std::string& path) {
  const std::size_t place = path.find_last_of("/\\");
  return place == std::string::npos ? "" : path.substr(0, place + 1);
}

void read_simulation_file(RunState& run, const std::string& path, const char* parent,
                          const char* nested_mark, WaveGrid& grid) {
  TextReader in(run.messages, path);
  std::string title;
  in.read(title, grid.x_origin, grid.y_origin, grid.angle);
  std::string line, depth_file;
  while (depth_file.empty() && in.read_line(line)) {
    int count = 0;
    std::string first, rest;
    CARD_SPLIT(line, ' ', count, first, rest);
    if (lower_case(first) == "dep") depth_file = trim(rest);
  }
  if (depth_file.empty()) {
    fatal_error(run.messages,
                std::string("Depth file name not found in simulation file") + nested_mark);
  }
  if (depth_file.find_first_of("/\\") == std::string::npos) {
    depth_file = folder_of(path) + depth_file;
  }
  read_depth_file(run, depth_file, parent, grid);
}

// The wave cell of each node of a variable grid; then the sizes become sums from the origin.
void place_nodes(const RunState& run, WaveGrid& grid) {
  for (Array<float>* sizes : {&grid.DX, &grid.DY}) {
    for (int i = 2; i <= sizes->size(); ++i) (*sizes)(i) = (*sizes)(i - 1) + (*sizes)(i);
  }
  grid.cellI.allocate(run.mesh.NUMnode);
  grid.cellJ.allocate(run.mesh.NUMnode);
  const auto cell = [](const Array<float>& ends, double at) {
    if (at < 0.0) return 0;  // left of or below the grid
    for (int i = 1; i <= ends.size(); ++i) {
      if (static_cast<double>(ends(i)) > at) return i;
    }
    return 0;
  };
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    const GridPlace at = grid_place(run, grid, n);
    grid.cellI(n) = static_cast<std::int16_t>(cell(grid.DX, at.x));
    grid.cellJ(n) = static_cast<std::int16_t>(cell(grid.DY, at.y));
  }
}

void first_line_geometry(RunState& run, const std::string& path, WaveGrid& grid) {
  TextReader in(run.messages, path);
  float D = 0.0f;
  in.read(grid.NI, grid.NJ, D);
  check_size(run, grid, place_of(in));
  grid.DX.allocate(1, D);
  grid.DY.allocate(1, D);
  check_cells(run, grid, place_of(in));
}

void OPEN_OSWELL_TEXT(RunState& run) {
  const Settings& s = run.settings;
  WaveState& waves = run.waves;
  waves.wave_files = s.wave_files;
  waves.wave_frames = s.wave_frames;
  if (s.wave_frames < 1) {
    fatal_error(run.messages, "Expected the card :wave_frames with a number of 1 or more");
  }
  const std::int64_t frames = static_cast<std::int64_t>(s.wave_frames) * s.wave_files;
  constexpr std::int64_t most = 10000000;
  if (frames > most) fatal_error(run.messages, "More than 10000000 wave frames");
  waves.NUMwaveframes = static_cast<int>(frames);
  waves.wave_step = s.wave_step;
  std::size_t taken = 0;
  for (std::size_t g = 0; g < static_cast<std::size_t>(waves.grids); ++g) {
    waves.oswell_names[g] = take_names(run, taken, s.wave_files);
    if (s.wave_breaking) waves.oswell_breaking_names[g] = take_names(run, taken, s.wave_files);
  }
  for (std::size_t g = 0; g < static_cast<std::size_t>(waves.grids); ++g) {
    WaveGrid& grid = waves.grid[g];
    if (s.wave_sim_required) {
      read_simulation_file(run, g == 0 ? s.wave_sim_file : s.wave_sim_file_2,
                           g == 0 ? "parent" : "nested", g == 0 ? "" : " (nested)", grid);
    } else {
      grid.x_origin = g == 0 ? s.wave_x_origin : s.wave_x_origin_2;
      grid.y_origin = g == 0 ? s.wave_y_origin : s.wave_y_origin_2;
      grid.angle = g == 0 ? s.wave_grid_angle : s.wave_grid_angle_2;
      first_line_geometry(run, waves.oswell_names[g][0], grid);
    }
    if (grid.variable) place_nodes(run, grid);
  }
}

// "hyfs".

void check_wave_status(const RunState& run, int status, const std::string& text) {
  if (status < 0) REPORT_CODE(run.messages, true, text, status);
}

struct WaveDatasets {
  int times = 0;
  std::vector<double> step_times;  // of the heights, s
};

WaveDatasets OSWELL_HYFS_CHECK(RunState& run, const std::string& path, const char* label,
                               WaveGrid& grid) {
  const Settings& s = run.settings;
  HyfsHandle file = 0;
  check_wave_status(run, hfopenfile_f(path, true, file),
                    std::string("HF_OPEN_FILE(") + label + ") error");
  const auto read_int = [&](const char* name, int& value) {
    std::vector<int> values;
    const int status = hfreadpropertyint_f(file, name, values);
    check_wave_status(run, status, std::string("HF_READ_PROPERTY_INT(") + name + ") error");
    value = values.empty() ? 0 : values[0];
  };
  const auto read_float = [&](const char* name) {
    std::vector<float> values;
    const int status = hfreadpropertyfloat_f(file, name, values);
    check_wave_status(run, status, std::string("HF_READ_PROPERTY_FLOAT(") + name + ") error");
    return values.empty() ? 0.0f : values[0];
  };
  read_int("NX", grid.NI);
  read_int("NY", grid.NJ);
  check_size(run, grid, path);
  const float Del = read_float("Del");
  grid.DX.allocate(1, Del);
  grid.DY.allocate(1, Del);
  grid.angle = read_float("Angle");
  grid.x_origin = static_cast<double>(read_float("X_org"));
  grid.y_origin = static_cast<double>(read_float("Y_org"));
  check_cells(run, grid, path);
  if (!std::isfinite(grid.angle) || !std::isfinite(grid.x_origin) ||
      !std::isfinite(grid.y_origin)) {
    fatal_error(run.messages, path + ": expected a finite origin and angle");
  }

  WaveDatasets result;
  const std::vector<std::string> paths = wave_dataset_paths(s);
  constexpr std::array<const char*, wave_field_count> letters = {"H", "T", "Q", "B"};
  for (std::size_t k = 0; k < paths.size(); ++k) {
    const std::string name = std::string("(OSWELL-") + letters[k] + ") error";
    HyfsHandle group = 0;
    int times = 0, values = 0;
    check_wave_status(run, hfopengroup_f(file, paths[k], group), "HF_OPEN_GROUP" + name);
    check_wave_status(run, hfgetdatasetnumtimes_f(group, times), "HF_GET_DATASET_NUM_TIMES" + name);
    check_wave_status(run, hfgetdatasetnumvals_f(group, values), "HF_GET_DATASET_NUMVALS" + name);
    if (values != grid.NI * grid.NJ) {
      fatal_error(run.messages,
                  "*** The number of nodes in the OSWELL HYFS file does not match the header data "
                  "***");
    }
    if (k == 0) {
      result.times = times;
      check_wave_status(run, hfgetdatasettimes_f(group, result.step_times),
                        "HF_GET_DATASET_TIMES" + name);
    } else if (times != result.times) {
      fatal_error(run.messages, std::string("*** The number of time steps in the H and ") +
                                    letters[k] + " parts of the OSWELL HYFS file do not match***");
    }
    hfclosegroup_f(group);
  }
  check_wave_status(run, hfclosefile_f(file), std::string("HF_CLOSE_FILE(") + label + ") error");
  return result;
}

float step_of(const WaveDatasets& datasets) {
  return datasets.step_times.size() < 2
             ? 0.0f
             : static_cast<float>(datasets.step_times[1] - datasets.step_times[0]);
}

void OPEN_OSWELL_HYFS(RunState& run) {
  const Settings& s = run.settings;
  WaveState& waves = run.waves;
  waves.hyfs_path = {s.wave_file_hyfs, s.wave_file_2_hyfs};
  const WaveDatasets parent = OSWELL_HYFS_CHECK(run, s.wave_file_hyfs, "OSWELL", waves.grid[0]);
  waves.NUMwaveframes = waves.wave_frames = parent.times;
  waves.wave_files = 1;
  waves.wave_step = step_of(parent);
  waves.hyfs_times = parent.step_times;
  if (!s.nested) return;
  const WaveDatasets nested = OSWELL_HYFS_CHECK(run, s.wave_file_2_hyfs, "OSWELL2", waves.grid[1]);
  if (nested.times != parent.times) {
    fatal_error(run.messages,
                "*** Number of frames in parent and nested OSWELL HYFS files do not match ***");
  }
  constexpr float step_tolerance = 0.01f;  // s
  if (std::abs(step_of(nested) - waves.wave_step) > step_tolerance) {
    fatal_error(run.messages,
                "*** Time steps in the nested and parent OSWELL HYFS files do not match ***");
  }
}

// The frames at the nodes; those on a grid take their room when the first frame has been read.
void allocate_frames(RunState& run) {
  WaveState& waves = run.waves;
  const std::size_t fields = run.settings.wave_breaking ? 4 : 3;
  for (std::size_t k = 0; k < fields; ++k) {
    waves.last[k].allocate(run.mesh.NUMnode);
    waves.next[k].allocate(run.mesh.NUMnode);
    if (waves.swan_on_mesh) waves.swan_field[k].allocate(waves.swan_mesh.NUMnode);
  }
}

void echo_summary(const RunState& run) {
  const WaveState& waves = run.waves;
  const MessageState& m = run.messages;
  echo(m, "Waves File\n");
  echo(m, "  Frames:   %s\n", columns(waves.NUMwaveframes, 8).c_str());
  echo(m, "  dTime:    %s sec\n", columns(static_cast<double>(waves.wave_step), 11, 1).c_str());
  if (waves.swan_on_mesh) {
    echo(m, "  Nodes:    %s\n", columns(waves.swan_mesh.NUMnode, 8).c_str());
    echo(m, "  Elements: %s\n\n", columns(waves.swan_mesh.NUMelem, 8).c_str());
    return;
  }
  const WaveGrid& grid = waves.grid[0];
  echo(m, "  NI:       %s\n", columns(grid.NI, 8).c_str());
  echo(m, "  NJ:       %s\n", columns(grid.NJ, 8).c_str());
  if (grid.variable) {
    echo(m, "  VARIABLE: T\n\n");
    return;
  }
  echo(m, "  dX:       %s\n", columns(static_cast<double>(grid.DX(1)), 11, 2).c_str());
  echo(m, "  dY:       %s\n\n", columns(static_cast<double>(grid.DY(1)), 11, 2).c_str());
}

}  // namespace

GridPlace grid_place(const RunState& run, const WaveGrid& grid, int n) {
  const float turn = grid.angle * 3.14159f / -180.0f;
  const double s = static_cast<double>(std::sin(turn)), c = static_cast<double>(std::cos(turn));
  const double dX = run.mesh.Xnode(n) - grid.x_origin, dY = run.mesh.Ynode(n) - grid.y_origin;
  return {c * dX - s * dY, s * dX + c * dY};
}

std::vector<std::string> wave_dataset_paths(const Settings& s) {
  std::vector<std::string> paths = {s.hyfs_h_path, s.hyfs_t_path, s.hyfs_q_path};
  if (s.wave_breaking) paths.push_back(s.hyfs_b_path);
  return paths;
}

void OPEN_WAVES(RunState& run) {
  console(run.messages, "Opening wave data files...\n");
  run.waves.start_waves = run.settings.start_waves;
  run.waves.grids = run.settings.nested ? 2 : 1;
  switch (run.settings.method.wave) {
    case WaveFormat::lagoon:
      run.waves.grids = 1;
      READ_LAGOON_HEADER(run);
      break;
    case WaveFormat::swan:
      run.waves.grids = 1;
      open_swan(run);
      break;
    case WaveFormat::oswell_hyfs:
      OPEN_OSWELL_HYFS(run);
      break;
    case WaveFormat::oswell:
      OPEN_OSWELL_TEXT(run);
      break;
    case WaveFormat::unknown:
      fatal_error(run.messages, "WAVE_FILE type not supported");
  }
  allocate_frames(run);
  echo_summary(run);
}

}  // namespace dfl
