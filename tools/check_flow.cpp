// Check of flow and bottom flow.

#include <algorithm>
#include <cmath>

#include "control/run_clock.h"
#include "control/text_tools.h"
#include "tools/check_parts.h"
#include "tools/hyfs_words.h"

namespace dfl {

namespace {

// Seconds of a unit of the times by the card; 0 for a fault that has been told.
double card_scale(FileCheck& check, HyfsHandle set, const Expected& expected) {
  const double scale = static_cast<double>(check.run.settings.n2d_step);
  if (!(scale > 0.0)) {
    finding(check, "expected a time scale above 0 on the card n2d_step");
    return 0.0;
  }
  std::string units;
  hfgetdatasettimeunits_f(set, units);
  for (const auto& [word, seconds] : {std::pair<const char*, double>{"Seconds", 1.0},
                                      {"Minutes", 60.0},
                                      {"Hours", 3600.0},
                                      {"Days", 86400.0}}) {
    if (units != word || seconds == scale) continue;
    finding(check, place(expected) + "its times are in \"" + units + "\", a unit is taken as " +
                       number_words(scale) + " s (card n2d_step)");
  }
  return scale;
}

// Seconds of a unit of the times in a file; 0 for a fault that has been told.
double time_scale(FileCheck& check, HyfsHandle set, const Expected& expected) {
  std::string units;
  const bool given = hfgetdatasettimeunits_f(set, units) >= 0;
  const std::string word = lower_case(units);
  switch (check.run.settings.method.flow) {
    case FlowFormat::hyfs:
      if (given && !contains(word, "sec")) {
        finding(check,
                place(expected) + "its times are in \"" + units + "\", they are taken as seconds");
      }
      return 1.0;
    case FlowFormat::n2d:
      if (!given) break;
      return contains(word, "hours")     ? 3600.0
             : contains(word, "seconds") ? 1.0
                                         : card_scale(check, set, expected);
    case FlowFormat::n3d:
      if (units == "Hours") return 3600.0;
      if (units == "Seconds") return 1.0;
      break;
    default:
      return card_scale(check, set, expected);
  }
  finding(check,
          place(expected) + (given ? "its times are in \"" + units + "\", expected Seconds or Hours"
                                   : std::string("its times have no units")));
  return 0.0;
}

// When the times of the elevation count from, in run seconds; false if the run stops at that.
bool start_of_flow(FileCheck& check, HyfsHandle set, const Expected& expected, std::size_t steps,
                   double& start) {
  const Settings& s = check.run.settings;
  start = s.start_flow;
  if (start >= 0.0) return true;
  double day = 0.0, reference_day = 0.0;
  if (hfreadreftime_f(set, day) >= 0) {
    hfcalendartojulian_f(1, REFyear, 1, 1, 0, 0, 0.0, reference_day);
    start = std::round((day - reference_day) * 86400000.0) / 1000.0;
    return true;
  }
  const std::string text =
      place(expected) + "neither a reference time nor a card start_flow tells when it starts";
  start = 0.0;
  if (s.method.flow == FlowFormat::n2d) {
    finding(check, text);
    return false;
  }
  if (steps > 1) note(check, text + ": from 1 January " + std::to_string(REFyear));
  return true;
}

struct Layout {
  bool layers = false;
  std::vector<Expected> velocity, scalars;
  Expected elevation;
};

// What each format reads.
Layout layout_of(const FileCheck& check) {
  const Settings& s = check.run.settings;
  const MeshSize& mesh = check.mesh;
  Layout layout;
  layout.elevation = {.card = "hyfs_wse_path", .path = s.hyfs_wse_path, .quantity = "m"};
  Expected velocity{
      .card = "hyfs_vel_path", .path = s.hyfs_vel_path, .components = 2, .quantity = "m/s"};
  const auto scalar = [](const char* card, const std::string& path, const char* quantity) {
    return Expected{.card = card, .path = path, .quantity = quantity};
  };
  switch (s.method.flow) {
    case FlowFormat::n2d:
      layout.elevation.values = velocity.values = mesh.cells;
      layout.elevation.values_of = velocity.values_of = "cells of the grid";
      layout.velocity = {velocity};
      break;
    case FlowFormat::gr3d:
      layout.elevation.values = mesh.active;
      layout.elevation.values_of = "cells of the lattice";
      velocity.components = 3;
      velocity.values = mesh.active * mesh.layers;
      velocity.values_of = "cells of the lattice by levels";
      layout.velocity = {velocity};
      layout.scalars = {scalar("hyfs_sal_path", s.hyfs_sal_path, ""),
                        scalar("hyfs_temp_path", s.hyfs_temp_path, "")};
      for (Expected& e : layout.scalars) {
        e.values = velocity.values;
        e.values_of = velocity.values_of;
      }
      break;
    case FlowFormat::n3d:
      layout.layers = true;
      layout.elevation.values = (mesh.layers + 1) * mesh.nodes;
      layout.elevation.values_of = "nodes by layers and one";
      layout.velocity = {scalar("hyfs_u_path", s.hyfs_u_path, "m/s"),
                         scalar("hyfs_v_path", s.hyfs_v_path, "m/s"),
                         scalar("hyfs_w_path", s.hyfs_w_path, "m/s")};
      layout.scalars = {scalar("hyfs_sal_path", s.hyfs_sal_path, "")};
      for (std::vector<Expected>* list : {&layout.velocity, &layout.scalars}) {
        for (Expected& e : *list) {
          e.values = layout.elevation.values;
          e.values_of = layout.elevation.values_of;
        }
      }
      break;
    default:
      layout.elevation.values = velocity.values = mesh.nodes;
      layout.velocity = {velocity};
  }
  return layout;
}

bool has_object(HyfsHandle file, const std::string& path) {
  HyfsHandle set = 0;
  if (hfopengroup_f(file, path, set) < 0) return false;
  hfclosegroup_f(set);
  return true;
}

// A path of an "n3d" grid counts from the grid unless it is part of the path of that; where that
// leads nowhere, the other way.
void take_grid_path(const FileCheck& check, HyfsHandle file, Expected& expected) {
  const std::string& grid = check.run.settings.hyfs_n3d_path;
  const std::string given = expected.path, below = grid + "/" + given;
  const bool part = contains(grid, given);
  for (const std::string& path : {part ? given : below, part ? below : given}) {
    if (!has_object(file, path)) continue;
    expected.path = path;
    return;
  }
}

void check_location(FileCheck& check, HyfsHandle set, const Expected& expected) {
  int x = 0, y = 0;
  if (expected.components == 1) {
    hfgetscalardatalocation_f(set, x);
    if (x != 0) {
      finding(check,
              place(expected) + "expected values at cell centres, found " + location_words(x));
    }
    return;
  }
  hfgetvector2ddatalocations_f(set, x, y);
  if ((x != 0 && x != 3) || (y != 0 && y != 4)) {
    finding(check, place(expected) +
                       "expected x at cell centres or I-faces and y at cell centres or " +
                       "J-faces, found " + location_words(x) + " and " + location_words(y));
  }
}

struct ElevationTimes {
  double scale = 1.0;           // seconds of a unit of the times in the file
  std::vector<double> seconds;  // of its steps, from when they count
};

// `told`: findings are about the file that is checked.
ElevationTimes check_elevation(FileCheck& check, HyfsHandle file, const Expected& expected,
                               bool told) {
  ElevationTimes result;
  HyfsHandle set = 0;
  const int before = check.findings;
  std::FILE* const out = check.out;
  std::FILE* const nowhere = told ? nullptr : std::fopen("/dev/null", "w");
  if (nowhere != nullptr) check.out = nowhere;
  if (check_dataset(check, file, expected, set)) {
    result.seconds = check_times(check, set, expected);
    const double scale = time_scale(check, set, expected);
    double start = 0.0;
    if (scale > 0.0) {
      result.scale = scale;
      for (double& time : result.seconds) time *= scale;
      if (start_of_flow(check, set, expected, result.seconds.size(), start)) {
        std::vector<double> times = result.seconds;
        for (double& time : times) time += start;
        const FlowFormat format = check.run.settings.method.flow;
        check_cover(check, expected, times,
                    {.even = format == FlowFormat::gr3d || format == FlowFormat::n3d});
      }
    }
    if (check.run.settings.method.flow == FlowFormat::n2d) check_location(check, set, expected);
    hfclosegroup_f(set);
  }
  check.out = out;
  if (nowhere != nullptr) {
    std::fclose(nowhere);
    check.findings = before;
  }
  return result;
}

// A run takes the times of the elevation, and its unit, for all.
void check_steps(FileCheck& check, HyfsHandle set, const Expected& expected,
                 const ElevationTimes& elevation, bool more_allowed) {
  const std::vector<double> times = check_times(check, set, expected);
  const std::size_t steps = elevation.seconds.size(), found = times.size();
  if (steps == 0 || found == 0) return;
  if (found != steps && !(more_allowed && found > steps)) {
    finding(check, place(expected) + "expected " + std::to_string(steps) +
                       (steps == 1 ? " time step" : " time steps") +
                       ", as the elevation has, found " + std::to_string(found));
  }
  if (more_allowed) return;
  for (std::size_t k = 0; k < std::min(steps, found); ++k) {
    const double expected_time = elevation.seconds[k];
    const double difference = std::abs(times[k] * elevation.scale - expected_time);
    if (difference <= 1.0e-3 + 1.0e-6 * std::abs(expected_time)) continue;
    note(check, place(expected) + "the time of step " + std::to_string(k + 1) +
                    " is not that of the elevation, which is taken");
    return;
  }
}

// The datasets of velocity and scalars, which stand in the file.
void check_velocity(FileCheck& check, const Layout& layout, const ElevationTimes& elevation) {
  for (const std::vector<Expected>* list : {&layout.velocity, &layout.scalars}) {
    for (Expected expected : *list) {
      HyfsHandle set = 0;
      if (layout.layers) take_grid_path(check, check.file, expected);
      if (!check_dataset(check, check.file, expected, set)) continue;
      check_steps(check, set, expected, elevation, list == &layout.scalars);
      if (check.run.settings.method.flow == FlowFormat::n2d) {
        check_location(check, set, expected);
      }
      hfclosegroup_f(set);
    }
  }
}

// The file that the run takes the elevation from: its own one for n2d, that of the velocity for
// models in layers, and for hyfs that of the velocity unless it has none.
HyfsHandle elevation_file(const FileCheck& check, const Expected& elevation,
                          HyfsHandle velocity_file, HyfsHandle own_file) {
  switch (check.run.settings.method.flow) {
    case FlowFormat::n2d:
      return own_file;
    case FlowFormat::hyfs:
      return own_file > 0 && !(velocity_file > 0 && has_object(velocity_file, elevation.path))
                 ? own_file
                 : velocity_file;
    default:
      return velocity_file;
  }
}

// Whether the words of the cards go together.
bool check_flow_words(FileCheck& check) {
  const Settings& s = check.run.settings;
  const bool in_layers = contains(s.velocity_method, "3d");
  const bool layered = s.method.flow == FlowFormat::gr3d || s.method.flow == FlowFormat::n3d;
  const bool flat = s.method.flow == FlowFormat::hyfs || s.method.flow == FlowFormat::n2d;
  if (!layered && !flat) {
    finding(check, "flow_format " + s.flow_format + " is none of dataset files");
    return false;
  }
  const int before = check.findings;
  const std::string format = "flow_format " + s.flow_format + " does not go with ";
  if (in_layers != layered) finding(check, format + "velocity_method " + s.velocity_method);
  const MeshFormat mesh = s.method.mesh;
  const bool lattice = mesh == MeshFormat::gr3d || mesh == MeshFormat::n3d;
  if ((layered && !lattice) || (s.method.flow == FlowFormat::n2d && mesh != MeshFormat::n2d)) {
    finding(check, format + "mesh_format " + s.mesh_format);
  }
  return check.findings == before;
}

}  // namespace

void check_flow_files(FileCheck& check) {
  const Settings& s = check.run.settings;
  const bool is_velocity = names_file(check, s.flow_file_uv);
  const bool is_elevation = names_file(check, s.flow_file_z);
  if (!is_velocity && !is_elevation) return;
  role(check, "flow (flow_format " + s.flow_format + ")");
  if (!s.currents) {
    note(check, "without the card currents no flow is read");
    return;
  }
  if (!check_flow_words(check)) return;
  Layout layout = layout_of(check);
  HyfsHandle velocity_file = check.file, own_file = check.file;
  if (!is_velocity) velocity_file = open_other_file(check, s.flow_file_uv, true);
  if (!is_elevation) {
    own_file = open_other_file(check, s.flow_file_z, s.method.flow == FlowFormat::n2d);
  }
  const HyfsHandle from = elevation_file(check, layout.elevation, velocity_file, own_file);
  ElevationTimes elevation;
  if (from > 0) {
    if (layout.layers) take_grid_path(check, from, layout.elevation);
    elevation = check_elevation(check, from, layout.elevation, from == check.file);
  }
  if (is_velocity) check_velocity(check, layout, elevation);
  if (!is_velocity && from > 0 && from != check.file) {
    note(check, "the elevation is taken from " + s.flow_file_uv);
  }
  for (const HyfsHandle file : {velocity_file, own_file}) {
    if (file > 0 && file != check.file) hfclosefile_f(file);
  }
}

void check_bottom_flow(FileCheck& check) {
  const Settings& s = check.run.settings;
  if (!names_file(check, s.bottom_flow_file)) return;
  role(check, "bottom flow");
  if (s.method.velocity != VelocityMethod::two_point) {
    finding(check, "bottom flow does not go with velocity_method " + s.velocity_method);
    return;
  }
  if (s.method.bottom_flow != FlowFormat::hyfs) {
    finding(check, "bottom_flow_format " + s.bottom_flow_format + " is none of dataset files");
    return;
  }
  const Expected expected{.card = "hyfs_bot_path",
                          .path = s.hyfs_bot_path,
                          .components = 2,
                          .values = check.mesh.nodes,
                          .quantity = "m/s"};
  HyfsHandle set = 0;
  if (!check_dataset(check, check.file, expected, set)) return;
  std::vector<double> times = check_times(check, set, expected);
  const double scale = card_scale(check, set, expected);
  for (double& time : times) time = s.bottom_start_flow + time * scale;
  if (scale > 0.0) check_cover(check, expected, times, {.begin = false, .after = 1.0e-3});
  hfclosegroup_f(set);
}

}  // namespace dfl
