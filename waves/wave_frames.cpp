#include "waves/wave_frames.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "control/run_clock.h"
#include "control/text_reader.h"
#include "control/text_tools.h"
#include "mesh/geometry.h"
#include "waves/wave_files.h"

namespace dfl {

namespace {

constexpr float half_turn = 180.0f, full_turn = 360.0f, short_pi = 3.14159f;
constexpr float land_direction = -998.0f;  // a direction at or below it marks land

std::size_t fields_of(const RunState& run) {
  return run.settings.wave_breaking ? 4 : 3;
}

// Fields of a grid or wave mesh as they are being read. They are taken over when the whole frame
// has been read, so that a frame that is cut off leaves the one before as it was.
using FrameFields = std::array<Array2<float>, wave_field_count>;

// One grid of values, row after row; each row begins a line. False at the end of the file; any
// other fault is fatal. The memory taken grows with what is read, whatever size a head claims.
bool read_grid(const RunState& run, TextReader& in, int NI, int NJ, bool top_row_first,
               Array2<float>& values) {
  std::vector<float> read;
  for (int row = 1; row <= NJ; ++row) {
    in.begin_record();
    for (int i = 1; i <= NI; ++i) {
      float value = 0.0f;
      const TextReader::Place place = in.place();
      if (!in.try_item(value)) {
        in.go_to(place);
        if (in.only_blanks_left()) return false;
        fatal_error(run.messages, in.fault());
      }
      read.push_back(value);
    }
    in.end_record();
  }
  values.allocate(NJ, 1, NI);
  std::size_t at = 0;
  for (int row = 1; row <= NJ; ++row) {
    const int j = top_row_first ? NJ + 1 - row : row;
    for (int i = 1; i <= NI; ++i) values(j, i) = read[at++];
  }
  return true;
}

// The end of a wave file: fatal, unless the run may go on with the frame that it has.
void end_of_file(RunState& run, const char* text) {
  const bool none_read = run.waves.WAVEframe == 0;
  if (none_read || !run.settings.exceed_waves) fatal_error(run.messages, text);
  run.waves.frames_ended = true;
}

// Direction of travel, degrees from +y clockwise.
float travel_direction(float Q, bool nautical, float grid_angle) {
  return nautical ? Q - half_turn : 90.0f - Q - grid_angle;
}

void turn_directions(Array2<float>& Q, bool nautical, float grid_angle) {
  for (int j = 1; j <= Q.rows(); ++j) {
    for (int i = 1; i <= Q.last_column(); ++i) {
      Q(j, i) = travel_direction(Q(j, i), nautical, grid_angle);
    }
  }
}

// Land and no-data marks of SWAN count as 0; its dissipation is positive where waves break.
float swan_value(const WaveState& waves, std::size_t field, float value) {
  if (field == wave_direction_field) {
    if (value <= land_direction) return 0.0f;
    return travel_direction(value, waves.WAVEnautical, 0.0f);  // the plane's axes, not the grid's
  }
  constexpr float no_breaking = -9.0f;
  if (field == wave_breaking_field) return value == no_breaking ? 0.0f : -std::abs(value);
  return value < 0.0f ? 0.0f : value;
}

void read_swan_frame(RunState& run) {
  WaveState& waves = run.waves;
  const bool on_mesh = waves.swan_on_mesh;
  if (!on_mesh && waves.SWANidla != 1 && waves.SWANidla != 3) {
    fatal_error(run.messages, "IDLA value not supported in SWAN input file");
  }
  const int NI = on_mesh ? waves.swan_mesh.NUMnode : waves.grid[0].NI;
  const int NJ = on_mesh ? 1 : waves.grid[0].NJ;
  const bool top_row_first = !on_mesh && waves.SWANidla == 1;
  FrameFields fields;
  for (std::size_t k = 0; k < fields_of(run); ++k) {
    if (!read_grid(run, *waves.swan_file[k], NI, NJ, top_row_first, fields[k])) {
      end_of_file(run, k == wave_breaking_field ? "End-of-file SWAN (breaking)"
                                                : "End-of-file SWAN (waves)");
      return;
    }
  }
  for (std::size_t k = 0; k < fields_of(run); ++k) {
    for (int j = 1; j <= NJ; ++j) {
      for (int i = 1; i <= NI; ++i) fields[k](j, i) = swan_value(waves, k, fields[k](j, i));
    }
    if (on_mesh) {
      for (int i = 1; i <= NI; ++i) waves.swan_field[k](i) = fields[k](1, i);
    } else {
      waves.grid[0].field[k] = std::move(fields[k]);
    }
  }
}

void read_lagoon_frame(RunState& run) {
  WaveState& waves = run.waves;
  WaveGrid& grid = waves.grid[0];
  const auto read = [&](WaveField file, Array2<float>& values, const char* text) {
    if (!read_grid(run, *waves.swan_file[file], grid.NI, grid.NJ, false, values)) {
      end_of_file(run, text);
    }
  };
  Array2<float> first, second;
  constexpr const char* waves_end = "End-of-file Lagoon (waves)";
  read(wave_height_field, grid.field[wave_height_field], waves_end);
  read(wave_direction_field, first, waves_end);
  read(wave_direction_field, second, waves_end);
  if (run.settings.wave_breaking) {
    read(wave_breaking_field, grid.field[wave_breaking_field], "End-of-file Lagoon (breaking)");
  }
  // The two components point to where the waves come from.
  Array2<float>& Q = grid.field[wave_direction_field];
  Q.allocate(grid.NJ, 1, grid.NI);
  grid.field[wave_period_field].allocate(grid.NJ, 1, grid.NI, run.settings.lagoon_wave_period);
  for (int j = 1; j <= grid.NJ; ++j) {
    for (int i = 1; i <= grid.NI; ++i) {
      Q(j, i) =
          std::atan2(first(j, i), second(j, i)) * half_turn / short_pi - half_turn - grid.angle;
      if (Q(j, i) < 0.0f) Q(j, i) = Q(j, i) + full_turn;
    }
  }
}

// "oswell" text.

// The head of a file: NI, NJ and a value; compared with the grid where there are several files.
void open_oswell_file(const RunState& run, const std::string& path, const WaveGrid& grid,
                      std::unique_ptr<TextReader>& file) {
  file = std::make_unique<TextReader>(run.messages, path);
  int NI = 0, NJ = 0;
  Ignored value;
  file->read(NI, NJ, value);
  if (run.waves.wave_files > 1 && (NI != grid.NI || NJ != grid.NJ)) {
    fatal_error(run.messages, " *** DIMENSION ERROR IN OSWELL FILE " + path + " *** ");
  }
}

// Makes sure that the file of the next frame is open: with several files each holds wave_frames
// frames. False if there is none.
bool next_oswell_files(RunState& run) {
  WaveState& waves = run.waves;
  const std::size_t files_open = static_cast<std::size_t>(waves.oswell_files_open);
  const bool file_done =
      files_open == 0 || (waves.wave_files > 1 && waves.oswell_frames_taken >= waves.wave_frames);
  if (!file_done) return true;
  if (files_open >= waves.oswell_names[0].size()) return false;
  for (std::size_t g = 0; g < static_cast<std::size_t>(waves.grids); ++g) {
    open_oswell_file(run, waves.oswell_names[g][files_open], waves.grid[g], waves.oswell_file[g]);
    if (run.settings.wave_breaking) {
      open_oswell_file(run, waves.oswell_breaking_names[g][files_open], waves.grid[g],
                       waves.oswell_breaking_file[g]);
    }
  }
  ++waves.oswell_files_open;
  waves.oswell_frames_taken = 0;
  return true;
}

// A marker line, then the fields, each with the last row first.
bool read_oswell_fields(const RunState& run, TextReader& in, const WaveGrid& grid,
                        std::size_t first, std::size_t last, FrameFields& fields) {
  if (in.only_blanks_left()) return false;
  in.skip_line();
  for (std::size_t k = first; k <= last; ++k) {
    if (!read_grid(run, in, grid.NI, grid.NJ, true, fields[k])) return false;
  }
  return true;
}

void read_oswell_frame(RunState& run) {
  WaveState& waves = run.waves;
  if (!next_oswell_files(run)) {
    end_of_file(run, "End-of-file (waves)");
    return;
  }
  const std::size_t grids = static_cast<std::size_t>(waves.grids);
  std::array<FrameFields, 2> fields;
  for (std::size_t g = 0; g < grids; ++g) {
    const WaveGrid& grid = waves.grid[g];
    if (!read_oswell_fields(run, *waves.oswell_file[g], grid, wave_height_field,
                            wave_direction_field, fields[g])) {
      end_of_file(run, g == 0 ? "End-of-file (waves)" : "End-of-file (nested waves)");
      return;
    }
    turn_directions(fields[g][wave_direction_field], waves.WAVEnautical, grid.angle);
    if (run.settings.wave_breaking &&
        !read_oswell_fields(run, *waves.oswell_breaking_file[g], grid, wave_breaking_field,
                            wave_breaking_field, fields[g])) {
      end_of_file(run, g == 0 ? "End-of-file (breaking)" : "End-of-file (nested breaking)");
      return;
    }
  }
  for (std::size_t g = 0; g < grids; ++g) waves.grid[g].field = std::move(fields[g]);
  ++waves.oswell_frames_taken;
}

// "hyfs".

// The values of a dataset's frame, NI a row from row 1 on.
void lay_out(const RunState& run, const std::string& dataset, int frame, const WaveGrid& grid,
             const std::vector<float>& values, Array2<float>& field) {
  const std::size_t needed = static_cast<std::size_t>(grid.NI) * static_cast<std::size_t>(grid.NJ);
  const bool finite =
      std::all_of(values.begin(), values.end(), [](float value) { return std::isfinite(value); });
  if (values.size() != needed || !finite) {
    fatal_error(run.messages, "Wave dataset \"" + dataset + "\", frame " + std::to_string(frame) +
                                  ": expected " + std::to_string(needed) + " finite numbers");
  }
  field.allocate(grid.NJ, 1, grid.NI);
  std::copy(values.begin(), values.end(), field.data());
}

void read_hyfs_frame(RunState& run, int frame) {
  const auto check = [&](int status, const char* text) {
    if (status < 0) REPORT_CODE(run.messages, true, text, status);
  };
  WaveState& waves = run.waves;
  const std::vector<std::string> paths = wave_dataset_paths(run.settings);
  for (std::size_t g = 0; g < static_cast<std::size_t>(waves.grids); ++g) {
    WaveGrid& grid = waves.grid[g];
    HyfsHandle file = 0;
    check(hfopenfile_f(waves.hyfs_path[g], true, file),
          g == 0 ? "HF_OPEN_FILE(OSWELL) error" : "HF_OPEN_FILE(OSWELL2) error");
    for (std::size_t k = 0; k < paths.size(); ++k) {
      HyfsHandle group = 0;
      std::vector<float> values;
      check(hfopengroup_f(file, paths[k], group), "HF_OPEN_GROUP(OSWELL) error");
      check(hfreadscalarvaluestimestep_f(group, frame, values),
            "HF_READ_SCALAR_VALUES_TIMESTEP(OSWELL) error");
      hfclosegroup_f(group);
      lay_out(run, paths[k], frame, grid, values, grid.field[k]);
    }
    hfclosefile_f(file);
    turn_directions(grid.field[wave_direction_field], waves.WAVEnautical, grid.angle);
  }
}

// Grid or wave mesh to nodes.

// The cell of a node: 1 <= I < NI, 1 <= J < NJ, else outside.
bool cell_of(const RunState& run, const WaveGrid& grid, int n, int& I, int& J) {
  if (grid.variable) {
    I = grid.cellI(n);
    J = grid.cellJ(n);
  } else {
    const GridPlace at = grid_place(run, grid, n);
    const double i = at.x / static_cast<double>(grid.DX(1)) + 1.0;
    const double j = at.y / static_cast<double>(grid.DY(1)) + 1.0;
    if (!(i >= 1.0 && i < grid.NI && j >= 1.0 && j < grid.NJ)) return false;
    I = static_cast<int>(i);
    J = static_cast<int>(j);
  }
  return I >= 1 && I < grid.NI && J >= 1 && J < grid.NJ;
}

void map_grids(RunState& run) {
  WaveState& waves = run.waves;
  for (std::size_t g = 0; g < static_cast<std::size_t>(waves.grids); ++g) {
    const WaveGrid& grid = waves.grid[g];
    for (int n = 1; n <= run.mesh.NUMnode; ++n) {
      int I = 0, J = 0;
      const bool inside = cell_of(run, grid, n, I, J);
      if (!inside && g > 0) continue;  // the parent's value stays
      for (std::size_t k = 0; k < fields_of(run); ++k) {
        waves.next[k](n) = inside ? grid.field[k](J, I) : 0.0f;
      }
    }
  }
}

void map_swan_mesh(RunState& run) {
  WaveState& waves = run.waves;
  const MeshState& mesh = waves.swan_mesh;
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    const int e = waves.swan_element(n);
    const std::array<float, 3>& w = waves.swan_weights[static_cast<std::size_t>(n) - 1];
    for (std::size_t k = 0; k < fields_of(run); ++k) {
      waves.next[k](n) = e == 0
                             ? 0.0f
                             : NODE_INTERP(Weights{w[0], w[1], w[2]}, mesh.ELnode1(e),
                                           mesh.ELnode2(e), mesh.ELnode3(e), waves.swan_field[k]);
    }
  }
}

// Reads the frame with this number and maps it to the next frame at the nodes.
void read_frame(RunState& run, int frame) {
  switch (run.settings.method.wave) {
    case WaveFormat::swan:
      read_swan_frame(run);
      break;
    case WaveFormat::lagoon:
      read_lagoon_frame(run);
      break;
    case WaveFormat::oswell:
      read_oswell_frame(run);
      break;
    case WaveFormat::oswell_hyfs:
      read_hyfs_frame(run, frame);
      break;
    case WaveFormat::unknown:
      break;
  }
  if (run.waves.swan_on_mesh) {
    map_swan_mesh(run);
  } else {
    map_grids(run);
  }
}

double frame_time(const WaveState& waves, int frames_after_first) {
  const float offset = static_cast<float>(frames_after_first) * waves.wave_step;
  return static_cast<double>(offset) + waves.TWAVEfirst;
}

bool by_datasets(const RunState& run) {
  return run.settings.method.wave == WaveFormat::oswell_hyfs;
}

void tell_frame(const RunState& run) {
  if (run.messages.HOSTEDmode) return;
  const Date date = SECONDS_TO_DATE(REFyear, run.waves.TWAVEnext);
  console(run.messages, "\rAdvancing wave file... %s  %s     ", day_text(date).c_str(),
          time_text(date).c_str());
}

// The next dataset frame. Past the last one, that one stays.
void advance_dataset(RunState& run) {
  WaveState& waves = run.waves;
  waves.last = waves.next;
  if (waves.WAVEframe >= waves.NUMwaveframes) {
    if (!run.settings.exceed_waves) fatal_error(run.messages, "HYFS-OSWELL file exceeded");
    waves.frames_ended = true;
    return;
  }
  ++waves.WAVEframe;
  read_frame(run, waves.WAVEframe);
  waves.TWAVEnext =
      waves.start_waves + waves.hyfs_times[static_cast<std::size_t>(waves.WAVEframe) - 1];
}

void advance_text(RunState& run) {
  WaveState& waves = run.waves;
  waves.last = waves.next;
  read_frame(run, waves.WAVEframe + 1);
  if (waves.frames_ended) return;
  waves.TWAVEnext = frame_time(waves, waves.WAVEframe);
  ++waves.WAVEframe;
}

void set_fraction(RunState& run) {
  WaveState& waves = run.waves;
  const double now = run.clock.Tnow;
  if (waves.wave_step <= 0.0f) {
    waves.WAVEfraction = 0.0f;
  } else if (now < waves.TWAVEfloor) {
    fatal_error(run.messages, "Run starts before waves start");
  } else if (now <= waves.TWAVEfirst) {
    waves.WAVEfraction = 0.0f;
  } else if (now <= waves.TWAVElast) {
    if (waves.frames_ended) return;  // both frames are the last one
    const double step = static_cast<double>(waves.wave_step);
    waves.WAVEfraction = static_cast<float>((now - waves.TWAVEnext + step) / step);
  } else if (!run.settings.exceed_waves) {
    fatal_error(run.messages, "Run finishes after waves finish");
  }
}

}  // namespace

void WAVES_START(RunState& run) {
  WaveState& waves = run.waves;
  if (waves.NUMwaveframes < 1) fatal_error(run.messages, "No wave frames");
  waves.TWAVEfirst = waves.start_waves;
  waves.TWAVEfloor = waves.TWAVEfirst - static_cast<double>(waves.wave_step);
  waves.TWAVElast = frame_time(waves, waves.NUMwaveframes - 1);
  waves.TWAVEnext = waves.start_waves;
  waves.WAVEfraction = 0.0f;
  waves.WAVEframe = 0;
  waves.frames_ended = false;
  read_frame(run, 1);
  waves.last = waves.next;
  waves.WAVEframe = 1;
  const bool goes_on = waves.NUMwaveframes > 1 && waves.wave_step > 0.0f && !by_datasets(run);
  if (!goes_on) return;
  read_frame(run, 2);
  if (waves.frames_ended) return;
  waves.WAVEframe = 2;
  waves.TWAVEnext = waves.start_waves + static_cast<double>(waves.wave_step);
}

void WAVES_ADVANCE(RunState& run) {
  WaveState& waves = run.waves;
  const bool several = waves.NUMwaveframes > 1 && waves.wave_step > 0.0f;
  while (several && !waves.frames_ended && waves.TWAVEnext < run.clock.Tnow) {
    if (by_datasets(run)) {
      advance_dataset(run);
    } else {
      // Nothing is read past the last frame unless the run may go on with it.
      if (waves.WAVEframe >= waves.NUMwaveframes && run.clock.Tnow > waves.TWAVElast &&
          !run.settings.exceed_waves) {
        break;
      }
      advance_text(run);
    }
    if (!waves.frames_ended) tell_frame(run);
  }
  set_fraction(run);
}

void WAVES_TO_NODES(RunState& run) {
  WaveState& waves = run.waves;
  const float f = waves.WAVEfraction, rest = 1.0f - f;
  const auto blend = [&](std::size_t k, int n) {
    return f * waves.next[k](n) + rest * waves.last[k](n);
  };
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    waves.WAVEheight(n) = blend(wave_height_field, n);
    const float Q = blend(wave_direction_field, n);
    waves.WAVEdirx(n) = std::sin(Q * short_pi / half_turn);
    waves.WAVEdiry(n) = std::cos(Q * short_pi / half_turn);
    if (run.settings.wave_breaking) waves.WAVEbreak(n) = blend(wave_breaking_field, n);
    const float T = blend(wave_period_field, n);
    waves.WAVEperiod(n) = waves.WAVEheight(n) > 0.0f && T > 0.0f ? T : 1.0f;
  }
}

}  // namespace dfl
