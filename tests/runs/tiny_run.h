#pragma once

// A whole run on a tiny case: a basin of 4 by 4 cells of 100 m, 5 m deep, walls on three sides and an
// open boundary on the right; uniform flow; one point source and one instantaneous source.

#include <array>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "common/test_run.h"
#include "control/run_driver.h"

namespace dfl::test {

using Lines = std::vector<std::string>;

inline std::string text_of(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

struct TinyCase {
  Lines mesh, elevation, velocity, sources, sediments, control;
  float u = 0.1f, v = 0.0f;  // m/s
};

inline Lines frames(int values, double interval, int count, int nodes, float a, float b) {
  Lines lines = {"flow", std::to_string(count) + " " + std::to_string(nodes) + " " +
                             std::to_string(interval) + " 10 " + std::to_string(values)};
  for (int f = 0; f < count; ++f) {
    lines.push_back(std::to_string(f * interval) + " " + std::to_string(10 * f));
    for (int n = 1; n <= nodes; ++n) {
      std::ostringstream line;
      line << n << ' ' << a;
      if (values == 2) line << ' ' << b;
      lines.push_back(line.str());
    }
  }
  return lines;
}

inline TinyCase tiny_case() {
  TinyCase c;
  std::vector<TestNode> nodes;
  std::vector<TestElement> elements;
  rectangle_mesh(4, 4, 100.0, 5.0f, nodes, elements);
  c.mesh = lines_of(adcirc_text(nodes, elements, {{5, 10, 15, 20, 25}},
                                {{25, 24, 23, 22, 21, 16, 11, 6, 1, 2, 3, 4, 5}}));
  c.elevation = frames(1, 600.0, 5, 25, 0.0f, 0.0f);
  c.velocity = frames(2, 600.0, 5, 25, c.u, c.v);
  c.sediments = {"sizes", "0 25"};
  for (int n = 1; n <= 25; ++n) c.sediments.push_back(std::to_string(n) + " 0. 0. 0.1 0.2 0.5");
  c.sources = {"1",
               "1 1 'light'",
               "2000 1 1 0 0 10 120. 210. 2. 1. 0. 0. 5. 0.0001 0. 1000. 0. -1. -1.",
               "1",
               "2 2 'sand'",
               "2000 1 1 0 0 0 130. 180. 2. 1. 0. 0. 0.1 0.0002 0. 2650. -1. -1. -1.",
               "2000 1 1 1 0 0 130. 180. 2. 1. 0. 0. 0.1 0.0002 0. 2650. -1. -1. -1.",
               "0",
               "0"};
  c.control = {":mesh_file FOLDER/mesh.14",
               ":neighbor_file FOLDER/tiny.nei",
               ":currents",
               ":flow_files FOLDER/flow.63 FOLDER/flow.64",
               ":start_flow 2000 1 1 0 0 0",
               ":sediments_format adcirc",
               ":sediment_file FOLDER/bed.txt",
               ":source_file FOLDER/tiny.src",
               ":output_prefix FOLDER/tiny",
               ":tecplot_parcels",
               ":population_record",
               ":random_seed 12345 67890",
               ":no_hyfs_parcels",
               ":start_run 2000 1 1 0 0 0",
               ":stop_run 2000 1 1 0 20 0",
               ":time_step 10",
               ":output_inc 30",
               ":end_data"};
  return c;
}

// Adds cards in front of the end of the control file.
inline void add_cards(TinyCase& c, const Lines& cards) {
  c.control.insert(c.control.end() - 1, cards.begin(), cards.end());
}

inline std::string write_case(const TinyCase& c, const TemporaryFolder& folder) {
  folder.write("mesh.14", text_of(c.mesh));
  folder.write("flow.63", text_of(c.elevation));
  folder.write("flow.64", text_of(c.velocity));
  folder.write("bed.txt", text_of(c.sediments));
  folder.write("tiny.src", text_of(c.sources));
  std::string control = text_of(c.control);
  for (std::size_t place = control.find("FOLDER"); place != std::string::npos;
       place = control.find("FOLDER")) {
    control.replace(place, 6, folder.path("."));
  }
  return folder.write("tiny.pcf", control);
}

// Runs the case in this process; `run` holds the end state. The console goes to /dev/null.
inline void run_case(RunState& run, const TinyCase& c, const TemporaryFolder& folder) {
  const std::string control = write_case(c, folder);
  quiet(run, folder.path("early"));
  RUN_DRIVER(run, {control});
}

}  // namespace dfl::test
