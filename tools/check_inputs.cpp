// Check of bed sediments and waves.

#include <algorithm>
#include <cmath>

#include "tools/check_parts.h"
#include "tools/hyfs_words.h"
#include "waves/wave_files.h"

namespace dfl {

namespace {

// The sizes of one kind, mm. A node needs one that is not 0; a cell may have none.
void check_sizes(FileCheck& check, const std::string& what, const std::vector<double>& sizes,
                 bool mapped) {
  const auto is_zero = [](double size) {
    return std::abs(static_cast<float>(size) / 1000.0f) < 1.0e-9f;
  };
  if (mapped) {
    check_numbers(check, what, sizes, Wanted::not_infinite);
    const std::int64_t zeros = std::count_if(sizes.begin(), sizes.end(), is_zero);
    if (zeros == 0) return;
    const std::string text = what + ": " + std::to_string(zeros) + " of " +
                             std::to_string(sizes.size()) + " cells have a size of 0";
    if (zeros == static_cast<std::int64_t>(sizes.size())) {
      finding(check, text);
    } else {
      note(check, text + "; a run stops at a node with no other beside it");
    }
    return;
  }
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    const bool none = !std::isfinite(sizes[i]) || sizes[i] <= static_cast<double>(dry_mark);
    if (!none && !is_zero(sizes[i])) continue;
    finding(check, what + ": expected a grain size at node " + std::to_string(i + 1) + ", found " +
                       number_words(sizes[i]));
    return;
  }
}

void check_size_properties(FileCheck& check, const std::vector<Expected>& sizes, std::int64_t count,
                           bool mapped) {
  std::vector<double> values;
  if (check_property(check, check.file, "Nodes", 0, NumberKind::whole, values) && count > 0 &&
      values[0] != static_cast<double>(count)) {
    finding(check, "property \"Nodes\": expected " + std::to_string(count) + ", found " +
                       number_words(values[0]));
  }
  for (const Expected& size : sizes) {
    if (check_property(check, check.file, size.path, count, NumberKind::single, values)) {
      check_sizes(check, "property \"" + size.path + "\"", values, mapped);
    }
  }
}

void check_size_datasets(FileCheck& check, const std::vector<Expected>& sizes, bool mapped) {
  for (const Expected& size : sizes) {
    HyfsHandle set = 0;
    if (!check_dataset(check, check.file, size, set)) continue;
    std::vector<float> values;
    if (hfreadscalarvaluestimestep_f(set, 1, values) >= 0) {
      check_sizes(check, size.card + " \"" + size.path + "\"", {values.begin(), values.end()},
                  mapped);
    }
    hfclosegroup_f(set);
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
                            .quantity = quantities[k],
                            .wanted = Wanted::finite};
    HyfsHandle set = 0;
    if (!check_dataset(check, check.file, expected, set)) continue;
    int steps = 0;
    hfgetdatasetnumtimes_f(set, steps);
    if (k == 0) heights = check_times(check, set, expected);
    if (!heights.empty() && static_cast<std::size_t>(steps) != heights.size()) {
      finding(check, place(expected) + "expected " + std::to_string(heights.size()) +
                         " time steps, as the wave height has, found " + std::to_string(steps));
    }
    hfclosegroup_f(set);
  }
  return heights;
}

// Steps of the parent and the nested waves are taken together.
void check_other_waves(FileCheck& check, bool parent, const std::vector<double>& times) {
  const Settings& s = check.run.settings;
  if (names_file(check, parent ? s.wave_file_2_hyfs : s.wave_file_hyfs)) return;
  const HyfsHandle file =
      open_other_file(check, parent ? s.wave_file_2_hyfs : s.wave_file_hyfs, true);
  if (file == 0) return;
  HyfsHandle set = 0;
  std::vector<double> others;
  if (hfopengroup_f(file, s.hyfs_h_path, set) >= 0) hfgetdatasettimes_f(set, others);
  hfclosefile_f(file);
  if (times.empty() || others.empty()) return;
  const std::string what = std::string("waves of the ") + (parent ? "nested" : "parent") + " file";
  const auto step = [](const std::vector<double>& t) {
    return t.size() < 2 ? 0.0f : static_cast<float>(t[1] - t[0]);
  };
  constexpr float tolerance = 0.01f;  // s
  if (times.size() != others.size()) {
    finding(check, what + ": " + std::to_string(others.size()) + " time steps, in this file " +
                       std::to_string(times.size()));
  } else if (std::abs(step(times) - step(others)) > tolerance) {
    finding(check, what + ": a time step of " + number_words(static_cast<double>(step(others))) +
                       " s, in this file " + number_words(static_cast<double>(step(times))));
  }
}

void check_wave_grid(FileCheck& check, std::int64_t& points) {
  std::vector<double> NX, NY, values;
  constexpr double most = 32767.0;  // cells of a side
  if (check_property(check, check.file, "NX", 0, NumberKind::whole, NX) &&
      check_property(check, check.file, "NY", 0, NumberKind::whole, NY)) {
    if (NX[0] < 1.0 || NY[0] < 1.0 || NX[0] > most || NY[0] > most) {
      finding(check, "NX, NY: expected 1 to 32767, found " + number_words(NX[0]) + ", " +
                         number_words(NY[0]));
    } else {
      points = static_cast<std::int64_t>(NX[0] * NY[0]);
    }
  }
  for (const char* name : {"Del", "Angle", "X_org", "Y_org"}) {
    if (!check_property(check, check.file, name, 0, NumberKind::single, values)) continue;
    const std::string what = std::string("property \"") + name + "\"";
    check_numbers(check, what, {values[0]}, Wanted::finite);
    if (std::string("Del") == name && values[0] <= 0.0) {
      finding(check, what + ": expected a size above 0, found " + number_words(values[0]));
    }
  }
}

}  // namespace

void check_sediments(FileCheck& check) {
  const Settings& s = check.run.settings;
  if (!names_file(check, s.sediment_file)) return;
  role(check, "bed sediments (sediments_format " + s.sediments_format + ", " +
                  s.sediment_hyfs_layout + ")");
  if (s.method.sediments == SedimentsFormat::uniform) {
    note(check, "with uniform sediments no file is read");
    return;
  }
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
    check_size_properties(check, sizes, count, mapped);
  } else {
    check_size_datasets(check, sizes, mapped);
  }
}

void check_waves(FileCheck& check) {
  const Settings& s = check.run.settings;
  const bool parent = names_file(check, s.wave_file_hyfs);
  if (!parent && !names_file(check, s.wave_file_2_hyfs)) return;
  role(check, parent ? "waves" : "nested waves");
  if (!s.waves || (!parent && !s.nested)) {
    note(check, std::string("without the card ") + (s.waves ? "nested" : "waves") +
                    " no such waves are read");
    return;
  }
  if (s.method.wave != WaveFormat::oswell_hyfs) {
    finding(check, "wave_format " + s.wave_format + " is none of dataset files");
    return;
  }
  std::int64_t points = 0;
  check_wave_grid(check, points);
  std::vector<double> times = check_wave_datasets(check, points);
  if (s.nested) check_other_waves(check, parent, times);
  if (times.empty()) return;
  // The first step counts at the card start_waves, whatever time it has.
  const double first = times.front();
  for (double& time : times) time = s.start_waves + (time - first);
  const Expected heights{.card = "hyfs_h_path", .path = s.hyfs_h_path};
  check_cover(check, heights, times, {.even = true, .after = s.exceed_waves ? -1.0 : 0.0});
}

}  // namespace dfl
