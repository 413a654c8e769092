// Check of bed sediments and waves.

#include <cmath>

#include "tools/check_parts.h"
#include "tools/hyfs_words.h"
#include "waves/wave_files.h"

namespace dfl {

namespace {

void check_size_properties(FileCheck& check, const std::vector<Expected>& sizes,
                           std::int64_t count) {
  std::vector<double> values;
  if (check_property(check, "Nodes", 0, true, values) && count > 0 &&
      values[0] != static_cast<double>(count)) {
    finding(check, "property \"Nodes\": expected " + std::to_string(count) + ", found " +
                       number_words(values[0]));
  }
  for (const Expected& size : sizes) check_property(check, size.path, count, false, values);
}

void check_size_datasets(FileCheck& check, const std::vector<Expected>& sizes) {
  for (const Expected& size : sizes) {
    HyfsHandle set = 0;
    if (check_dataset(check, check.file, size, set)) hfclosegroup_f(set);
  }
}

// The step times of the wave heights; empty if they cannot be read.
std::vector<double> check_wave_datasets(FileCheck& check, std::int64_t points) {
  const Settings& s = check.run.settings;
  constexpr const char* cards[] = {"hyfs_h_path", "hyfs_t_path", "hyfs_q_path", "hyfs_b_path"};
  constexpr const char* quantities[] = {"m", "s", "", ""};
  const std::vector<std::string> paths = wave_dataset_paths(s);
  std::vector<double> heights;
  for (std::size_t k = 0; k < paths.size(); ++k) {
    const Expected expected{.card = cards[k],
                            .path = paths[k],
                            .values = points,
                            .values_of = "points of the wave grid",
                            .quantity = quantities[k]};
    HyfsHandle set = 0;
    if (!check_dataset(check, check.file, expected, set)) continue;
    std::vector<double> times = check_times(check, set, expected);
    if (k == 0) heights = times;
    if (!heights.empty() && !times.empty() && times.size() != heights.size()) {
      finding(check, expected.card + " \"" + expected.path + "\": expected " +
                         std::to_string(heights.size()) +
                         " time steps, as the wave height has, found " +
                         std::to_string(times.size()));
    }
    hfclosegroup_f(set);
  }
  return heights;
}

}  // namespace

void check_sediments(FileCheck& check) {
  const Settings& s = check.run.settings;
  if (!names_file(check, s.sediment_file)) return;
  role(check, "bed sediments (sediments_format " + s.sediments_format + ", " +
                  s.sediment_hyfs_layout + ")");
  const bool mapped = s.method.sediments == SedimentsFormat::hyfs_n2d;
  if (!mapped && s.method.sediments != SedimentsFormat::hyfs) {
    finding(check, "sediments_format " + s.sediments_format + " is none of dataset files");
    return;
  }
  const std::int64_t count = mapped ? check.mesh.cells : check.mesh.nodes;
  std::vector<Expected> sizes;
  for (const auto& [card, path] :
       {std::pair<const char*, const std::string&>{"hyfs_d35_path", s.hyfs_d35_path},
        {"hyfs_d50_path", s.hyfs_d50_path},
        {"hyfs_d90_path", s.hyfs_d90_path}}) {
    sizes.push_back({.card = card,
                     .path = path,
                     .values = count,
                     .values_of = mapped ? "cells of the grid" : "mesh nodes",
                     .quantity = "mm"});
  }
  if (s.sediment_hyfs_layout == "property") {
    check_size_properties(check, sizes, count);
  } else {
    check_size_datasets(check, sizes);
  }
}

void check_waves(FileCheck& check) {
  const Settings& s = check.run.settings;
  const bool parent = names_file(check, s.wave_file_hyfs);
  if (!parent && !names_file(check, s.wave_file_2_hyfs)) return;
  role(check, parent ? "waves" : "nested waves");
  if (!s.waves) note(check, "without the card waves no waves are read");
  if (s.method.wave != WaveFormat::oswell_hyfs) {
    finding(check, "wave_format " + s.wave_format + " is none of dataset files");
    return;
  }
  std::vector<double> NX, NY, values;
  std::int64_t points = 0;
  if (check_property(check, "NX", 0, true, NX) && check_property(check, "NY", 0, true, NY)) {
    if (NX[0] < 1.0 || NY[0] < 1.0) {
      finding(check, "NX, NY: expected 1 or more, found " + number_words(NX[0]) + ", " +
                         number_words(NY[0]));
    } else {
      points = static_cast<std::int64_t>(NX[0] * NY[0]);
    }
  }
  for (const char* name : {"Del", "Angle", "X_org", "Y_org"}) {
    if (check_property(check, name, 0, false, values) && !std::isfinite(values[0])) {
      finding(check, std::string("property \"") + name + "\": expected a finite number");
    }
  }
  std::vector<double> times = check_wave_datasets(check, points);
  for (double& time : times) time += s.start_waves;
  const Expected heights{.card = "hyfs_h_path", .path = s.hyfs_h_path};
  if (!s.exceed_waves) check_cover(check, heights, times, true);
}

}  // namespace dfl
