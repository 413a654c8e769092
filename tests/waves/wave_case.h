#pragma once

// The tiny basin of 5 by 5 nodes, 100 m apart, 5 m deep, without a current, under waves of each
// form. The wave grid has 6 by 6 cells of 100 m from (-50, -50) on, so that the node in column i
// and row j, counted from 1, lies in the middle of cell (i, j). Waves travel to 60 degrees
// clockwise from north, so that an exchange of x and y or of from and to shows.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "control/control_file.h"
#include "control/open_inputs.h"
#include "dataset/hyfs.h"
#include "runs/tiny_run.h"
#include "waves/wave_frames.h"

namespace dfl::test {

constexpr int wave_cells = 6;          // a side
constexpr float wave_bearing = 60.0f;  // degrees clockwise from north, where the waves travel to
constexpr double hour = 3600.0;

// Height, period and dissipation of a cell in a frame; all distinct.
inline float height_in(int frame, int i, int j) {
  return static_cast<float>(frame) + 0.1f * static_cast<float>(i) + 0.01f * static_cast<float>(j);
}
inline float period_in(int frame, int i, int j) {
  return 4.0f + height_in(frame, i, j);
}
inline float breaking_in(int frame, int i, int j) {
  return 0.5f * height_in(frame, i, j);
}

using CellValue = std::function<float(int frame, int i, int j)>;
inline CellValue constant(float value) {
  return [value](int, int, int) { return value; };
}

struct WaveCase {
  TinyCase tiny;
  std::map<std::string, Lines> files;                         // by name in the folder
  std::function<void(const TemporaryFolder&)> write_dataset;  // "hyfs"
};

// Rows of values, six to a line, each row on lines of its own.
inline void append_rows(Lines& lines, int NI, int NJ, bool top_row_first, int frame,
                        const CellValue& value) {
  for (int row = 1; row <= NJ; ++row) {
    const int j = top_row_first ? NJ + 1 - row : row;
    std::ostringstream line;
    for (int i = 1; i <= NI; ++i) {
      line << ' ' << value(frame, i, j);
      if (i % 6 == 0 || i == NI) {
        lines.push_back(line.str());
        line.str("");
      }
    }
  }
}

inline WaveCase calm_case(const Lines& cards) {
  WaveCase c;
  c.tiny = tiny_case();
  c.tiny.velocity = frames(2, 600.0, 5, 25, 0.0f, 0.0f);
  add_cards(c.tiny, {":waves"});
  add_cards(c.tiny, cards);
  return c;
}

// A file of frames in "oswell" text form.
inline Lines oswell_file(int NI, int NJ, int first_frame, int frames, const CellValue& H,
                         const CellValue& T, const CellValue& Q) {
  Lines lines = {std::to_string(NI) + " " + std::to_string(NJ) + " 100."};
  for (int f = first_frame; f < first_frame + frames; ++f) {
    lines.push_back("frame " + std::to_string(f));
    append_rows(lines, NI, NJ, true, f, H);
    append_rows(lines, NI, NJ, true, f, T);
    append_rows(lines, NI, NJ, true, f, Q);
  }
  return lines;
}
inline Lines oswell_file(int frames) {
  // The direction counts from the x axis, anticlockwise.
  return oswell_file(wave_cells, wave_cells, 1, frames, height_in, period_in,
                     constant(90.0f - wave_bearing));
}

// Three frames an hour apart in one file; the grid by cards.
inline WaveCase oswell_case() {
  WaveCase c = calm_case({":wave_format oswell", ":wave_x_origin -50.", ":wave_y_origin -50.",
                          ":wave_grid_angle 0.", ":start_waves 2000 1 1 0 0 0", ":wave_step 3600.",
                          ":wave_frames 3", ":wave_files 1", "FOLDER/waves.dat"});
  c.files["waves.dat"] = oswell_file(3);
  return c;
}

// The same with the grid from a simulation and a depth file.
inline WaveCase simulation_case() {
  WaveCase c = calm_case({":wave_format rvs-wave", ":wave_sim_file FOLDER/waves.sim",
                          ":start_waves 2000 1 1 0 0 0", ":wave_step 3600.", ":wave_frames 3",
                          ":wave_files 1", "FOLDER/waves.dat"});
  c.files["waves.dat"] = oswell_file(3);
  c.files["waves.sim"] = {"grid -50. -50. 0.", "other words", "DEP waves.dep", "end"};
  c.files["waves.dep"] = {"6 6 100. 0."};
  return c;
}

// The values of a grid of three frames, in place of those that were there.
inline void set_swan_fields(WaveCase& c, bool top_row_first, const CellValue& H, const CellValue& T,
                            const CellValue& Q) {
  const std::pair<const char*, const CellValue*> fields[] = {
      {"hs.blk", &H}, {"per.blk", &T}, {"dir.blk", &Q}};
  for (const auto& [name, value] : fields) {
    Lines& lines = c.files[name];
    lines.clear();
    for (int f = 1; f <= 3; ++f) {
      append_rows(lines, wave_cells, wave_cells, top_row_first, f, *value);
    }
  }
}

// A grid of three frames six hours apart, rows from the bottom, nautical directions.
inline WaveCase swan_case() {
  WaveCase c = calm_case({":wave_format swan", ":wave_swan_file FOLDER/waves.swn", ":wave_files 1",
                          "FOLDER/hs.blk", "FOLDER/per.blk", "FOLDER/dir.blk"});
  c.files["waves.swn"] = {"$ waves of the basin",
                          "PROJECT 'basin' '01'",
                          "SET LEVEL=0.0 NAUTICAL",
                          "CGRID REG -50. -50. 0. 500. 500. 5 5 CIRCLE 36 0.05 0.8 24",
                          "BLOCK 'COMPGRID' NOHEADER 'hs.blk' LAYOUT 3 HSIGN",
                          "BLOCK 'COMPGRID' NOHEADER 'per.blk' LAYOUT 3 TPS",
                          "BLOCK 'COMPGRID' NOHEADER 'dir.blk' LAYOUT 3 DIR",
                          "COMPUTE STAT 20000101.000000",
                          "COMPUTE STAT 20000101.060000",
                          "COMPUTE STAT 20000101.120000",
                          "STOP"};
  set_swan_fields(c, false, height_in, period_in, constant(180.0f + wave_bearing));
  return c;
}

// Two frames on a wave mesh of four nodes, far corners of a square around the basin.
inline WaveCase swan_mesh_case() {
  WaveCase c = calm_case({":wave_format swan", ":wave_swan_file FOLDER/waves.swn", ":wave_files 1",
                          "FOLDER/hs.blk", "FOLDER/per.blk", "FOLDER/dir.blk"});
  c.files["waves.swn"] = {"CGRID UNSTRUCTURED CIRCLE 36 0.05 0.8 24",
                          "COMPUTE NONSTAT 20000101.000000 6 HR 20000101.060000", "STOP"};
  c.files["swan.14"] = {
      "wave mesh",       "2 4",       "1 -100. -100. 5.", "2 900. -100. 5.", "3 900. 900. 5.",
      "4 -100. 900. 5.", "1 3 1 2 3", "2 3 1 3 4"};
  // The height is linear in x and y: 1 m at the origin, 1 m more in 1000 m along x, 2 m along y.
  c.files["hs.blk"] = {"0.7 1.7 3.7 2.7", "1.7 2.7 4.7 3.7"};
  c.files["per.blk"] = {"6. 6. 6. 6.", "8. 8. 8. 8."};
  c.files["dir.blk"] = {"30. 30. 30. 30.", "30. 30. 30. 30."};
  return c;
}

inline WaveCase lagoon_case() {
  WaveCase c =
      calm_case({":wave_format lagoon", ":lagoon_wave_period 6.", ":start_waves 2000 1 1 0 0 0",
                 ":wave_files 1", "FOLDER/height.r2s", "FOLDER/direction.r2v"});
  const Lines head = {"# a grid",      ":Title \"waves\"", "",          ":xOrigin -50.",
                      ":yOrigin -50.", ":Angle 0.",        ":xCount 6", ":yCount 6",
                      ":xDelta 100.",  ":yDelta 100.",     ":EndHeader"};
  Lines& height = c.files["height.r2s"] = head;
  append_rows(height, wave_cells, wave_cells, false, 1, height_in);
  // The components point to where the waves come from.
  Lines& direction = c.files["direction.r2v"] = head;
  append_rows(direction, wave_cells, wave_cells, false, 1, constant(-0.8660254f));
  append_rows(direction, wave_cells, wave_cells, false, 1, constant(-0.5f));
  return c;
}

struct WaveDatasets {
  int NX = wave_cells, NY = wave_cells;
  float cell = 100.0f, angle = 0.0f, origin = -50.0f;
  int frames = 3, direction_frames = 3, values = wave_cells * wave_cells;
  double step = hour;
  CellValue H = height_in, Q = constant(90.0f - wave_bearing);
  std::string direction_path = "Datasets/Wave Direction";
  bool no_header = false;
};

inline void write_wave_datasets(const std::string& path, const WaveDatasets& d) {
  HyfsHandle file = 0;
  ASSERT_GE(hfpinitialize_f(), 0);
  ASSERT_GE(hfcreatefile_f(path, true, {}, file), 0);
  if (!d.no_header) {
    ASSERT_GE(hfwritepropertyint_f(file, "NX", {d.NX}), 0);
    ASSERT_GE(hfwritepropertyint_f(file, "NY", {d.NY}), 0);
    ASSERT_GE(hfwritepropertyfloat_f(file, "Del", {d.cell}), 0);
    ASSERT_GE(hfwritepropertyfloat_f(file, "Angle", {d.angle}), 0);
    ASSERT_GE(hfwritepropertyfloat_f(file, "X_org", {d.origin}), 0);
    ASSERT_GE(hfwritepropertyfloat_f(file, "Y_org", {d.origin}), 0);
  }
  const auto write = [&](const std::string& name, int frames, const CellValue& value) {
    HyfsHandle set = 0;
    ASSERT_GE(hfcreatescalardataset_f(file, name, {}, set), 0) << name;
    for (int f = 1; f <= frames; ++f) {
      std::vector<float> values;
      for (int k = 0; k < d.values; ++k) {
        values.push_back(value(f, k % wave_cells + 1, k / wave_cells + 1));
      }
      ASSERT_GE(hfwritescalartimestep_f(set, (f - 1) * d.step, values.data(), d.values), 0);
    }
    ASSERT_GE(hfclosegroup_f(set), 0);
  };
  write("Datasets/Wave Height", d.frames, d.H);
  write("Datasets/Wave Period", d.frames, period_in);
  write(d.direction_path, d.direction_frames, d.Q);
  ASSERT_GE(hfclosefile_f(file), 0);
}

inline WaveCase hyfs_case(const WaveDatasets& datasets = {}) {
  WaveCase c = calm_case(
      {":wave_format hyfs", ":wave_file_hyfs FOLDER/waves.h5", ":start_waves 2000 1 1 0 0 0"});
  c.write_dataset = [datasets](const TemporaryFolder& folder) {
    write_wave_datasets(folder.path("waves.h5"), datasets);
  };
  return c;
}

// A case opened in a folder of its own, which is the working folder meanwhile.
class WaveRun {
 public:
  explicit WaveRun(const WaveCase& c, bool to_stderr = false)
      : before(std::filesystem::current_path()) {
    for (const auto& [name, lines] : c.files) {
      std::string text = text_of(lines);
      for (std::size_t at = text.find("FOLDER"); at != std::string::npos;
           at = text.find("FOLDER")) {
        text.replace(at, 6, folder.path("."));
      }
      folder.write(name, text);
    }
    if (c.write_dataset) c.write_dataset(folder);
    control = write_case(c.tiny, folder);
    std::filesystem::current_path(folder.path("."));
    quiet(run, folder.path("early"), to_stderr);
  }
  // Opened, and at a time after 2000-01-01.
  WaveRun(const WaveCase& c, double seconds) : WaveRun(c) {
    open();
    at(seconds);
  }
  ~WaveRun() { std::filesystem::current_path(before); }

  // Up to the first frames.
  void open() {
    run.clock.CONTROLfile = control;
    ASSERT_GE(hfpinitialize_f(), 0);
    READ_CONTROL_FILE(run);
    OPEN_INPUTS(run);
    WAVES_START(run);
  }
  // The node arrays at a time after 2000-01-01.
  void at(double seconds) {
    constexpr double year_2000 = 1577836800.0;  // s after 1950
    run.clock.Tnow = year_2000 + seconds;
    WAVES_ADVANCE(run);
    WAVES_TO_NODES(run);
  }
  void whole_run() { RUN_DRIVER(run, {control}); }

  float height(int i, int j) const { return run.waves.WAVEheight(node(i, j)); }
  float period(int i, int j) const { return run.waves.WAVEperiod(node(i, j)); }
  static int node(int i, int j) { return (j - 1) * 5 + i; }

  TemporaryFolder folder;
  RunState run;
  std::string control;

 private:
  std::filesystem::path before;
};

// All nodes hold the frame mixed of frames a and b and travel to the given direction.
inline void expect_waves(const WaveRun& r, float a, float weight_of_b, float b, float bearing) {
  const float frame = (1.0f - weight_of_b) * a + weight_of_b * b;
  const float turn = bearing * 3.14159265f / 180.0f;
  for (int j = 1; j <= 5; ++j) {
    for (int i = 1; i <= 5; ++i) {
      const float H = frame + height_in(0, i, j);
      EXPECT_NEAR(r.height(i, j), H, 1e-5f) << i << ' ' << j;
      EXPECT_NEAR(r.period(i, j), 4.0f + H, 1e-5f) << i << ' ' << j;
      // 3.14159 for pi.
      EXPECT_NEAR(r.run.waves.WAVEdirx(WaveRun::node(i, j)), std::sin(turn), 2e-5f);
      EXPECT_NEAR(r.run.waves.WAVEdiry(WaveRun::node(i, j)), std::cos(turn), 2e-5f);
    }
  }
}

}  // namespace dfl::test
