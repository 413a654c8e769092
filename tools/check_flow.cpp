// Check of flow and bottom flow.

#include <cmath>

#include "control/run_clock.h"
#include "control/text_tools.h"
#include "tools/check_parts.h"
#include "tools/hyfs_words.h"

namespace dfl {

namespace {

// Seconds of a unit of the times in a file; 0 for a fault that has been told.
double time_scale(FileCheck& check, HyfsHandle set, const Expected& expected) {
  const Settings& s = check.run.settings;
  const double card_scale = static_cast<double>(s.n2d_step);
  const std::string place = expected.card + " \"" + expected.path + "\": ";
  std::string units;
  const bool given = hfgetdatasettimeunits_f(set, units) >= 0;
  const std::string word = lower_case(units);
  switch (s.method.flow) {
    case FlowFormat::hyfs:
      if (given && !contains(word, "sec")) {
        finding(check, place + "its times are in \"" + units + "\", they are taken as seconds");
      }
      return 1.0;
    case FlowFormat::n2d:
      if (!given) break;
      return contains(word, "hours") ? 3600.0 : contains(word, "seconds") ? 1.0 : card_scale;
    case FlowFormat::n3d:
      if (units == "Hours") return 3600.0;
      if (units == "Seconds") return 1.0;
      break;
    default:
      return card_scale;
  }
  finding(check, place + (given ? "its times are in \"" + units + "\", expected Seconds or Hours"
                                : std::string("its times have no units")));
  return 0.0;
}

// When the times of the elevation count from, in run seconds; false if nothing tells it.
bool start_of_flow(FileCheck& check, HyfsHandle set, const Expected& expected, double& start) {
  const Settings& s = check.run.settings;
  start = s.start_flow;
  if (start >= 0.0) return true;
  double day = 0.0, reference_day = 0.0;
  if (hfreadreftime_f(set, day) < 0) {
    finding(check, expected.card + " \"" + expected.path +
                       "\": neither a reference time nor a card start_flow tells when it starts");
    return false;
  }
  hfcalendartojulian_f(1, REFyear, 1, 1, 0, 0, 0.0, reference_day);
  start = std::round((day - reference_day) * 86400000.0) / 1000.0;
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

// A path of an "n3d" grid counts from the grid where it leads somewhere from there.
void take_grid_path(const FileCheck& check, HyfsHandle file, Expected& expected) {
  const std::string below = check.run.settings.hyfs_n3d_path + "/" + expected.path;
  HyfsHandle set = 0;
  if (hfopengroup_f(file, below, set) < 0) return;
  hfclosegroup_f(set);
  expected.path = below;
}

void check_location(FileCheck& check, HyfsHandle set, const Expected& expected) {
  int x = 0, y = 0;
  const std::string place = expected.card + " \"" + expected.path + "\": ";
  if (expected.components == 1) {
    hfgetscalardatalocation_f(set, x);
    if (x != 0) {
      finding(check, place + "expected values at cell centres, found " + location_words(x));
    }
    return;
  }
  hfgetvector2ddatalocations_f(set, x, y);
  if ((x != 0 && x != 3) || (y != 0 && y != 4)) {
    finding(check, place + "expected x at cell centres or I-faces and y at cell centres or " +
                       "J-faces, found " + location_words(x) + " and " + location_words(y));
  }
}

struct Elevation {
  bool good = false;
  std::size_t steps = 0;
};

Elevation check_elevation(FileCheck& check, HyfsHandle file, Expected expected, bool told) {
  Elevation result;
  HyfsHandle set = 0;
  const int before = check.findings;
  std::FILE* const out = check.out;
  std::FILE* const nowhere = told ? nullptr : std::fopen("/dev/null", "w");
  if (nowhere != nullptr) check.out = nowhere;
  if (check_dataset(check, file, expected, set)) {
    std::vector<double> times = check_times(check, set, expected);
    result.steps = times.size();
    const double scale = time_scale(check, set, expected);
    double start = 0.0;
    if (scale > 0.0 && start_of_flow(check, set, expected, start)) {
      for (double& time : times) time = start + time * scale;
      check_cover(check, expected, times, true);
    }
    if (check.run.settings.method.flow == FlowFormat::n2d) check_location(check, set, expected);
    hfclosegroup_f(set);
    result.good = true;
  }
  check.out = out;
  if (nowhere != nullptr) {
    std::fclose(nowhere);
    check.findings = before;
  }
  return result;
}

void check_steps(FileCheck& check, HyfsHandle set, const Expected& expected, std::size_t steps,
                 bool more_allowed) {
  const std::size_t found = check_times(check, set, expected).size();
  if (steps == 0 || found == 0 || found == steps || (more_allowed && found > steps)) return;
  finding(check, expected.card + " \"" + expected.path + "\": expected " + std::to_string(steps) +
                     " time steps, as the elevation has, found " + std::to_string(found));
}

// The datasets of velocity and scalars, which stand in the file.
void check_velocity(FileCheck& check, const Layout& layout, std::size_t steps) {
  for (const std::vector<Expected>* list : {&layout.velocity, &layout.scalars}) {
    for (Expected expected : *list) {
      HyfsHandle set = 0;
      if (layout.layers) take_grid_path(check, check.file, expected);
      if (!check_dataset(check, check.file, expected, set)) continue;
      check_steps(check, set, expected, steps, list == &layout.scalars);
      if (check.run.settings.method.flow == FlowFormat::n2d) {
        check_location(check, set, expected);
      }
      hfclosegroup_f(set);
    }
  }
}

bool has_object(HyfsHandle file, const std::string& path) {
  HyfsHandle set = 0;
  if (hfopengroup_f(file, path, set) < 0) return false;
  hfclosegroup_f(set);
  return true;
}

// The file that the run takes the elevation from: its own one for n2d, that of the velocity for
// models in layers, and for hyfs that of the velocity unless it has none.
HyfsHandle elevation_file(FileCheck& check, const Expected& elevation, HyfsHandle& velocity_file,
                          HyfsHandle& own_file) {
  const Settings& s = check.run.settings;
  const bool of_velocity = s.method.flow == FlowFormat::gr3d || s.method.flow == FlowFormat::n3d;
  const bool own = s.flow_file_z != "none" && s.flow_file_z != s.flow_file_uv;
  if (of_velocity || !own) return velocity_file;
  if (s.method.flow == FlowFormat::hyfs && velocity_file > 0 &&
      has_object(velocity_file, elevation.path)) {
    return velocity_file;
  }
  return own_file;
}

}  // namespace

void check_flow_files(FileCheck& check) {
  const Settings& s = check.run.settings;
  const bool is_velocity = names_file(check, s.flow_file_uv);
  const bool is_elevation = names_file(check, s.flow_file_z);
  if (!is_velocity && !is_elevation) return;
  role(check, "flow (flow_format " + s.flow_format + ")");
  if (!s.currents) note(check, "without the card currents no flow is read");
  const bool in_layers = contains(s.velocity_method, "3d");
  const bool layered = s.method.flow == FlowFormat::gr3d || s.method.flow == FlowFormat::n3d;
  const bool flat = s.method.flow == FlowFormat::hyfs || s.method.flow == FlowFormat::n2d;
  if (!layered && !flat) {
    finding(check, "flow_format " + s.flow_format + " is none of dataset files");
    return;
  }
  if (in_layers != layered) {
    finding(check, "flow_format " + s.flow_format + " does not go with velocity_method " +
                       s.velocity_method);
  }
  Layout layout = layout_of(check);
  HyfsHandle other = 0;
  HyfsHandle velocity_file = check.file, own_file = check.file;
  if (is_velocity != is_elevation) {
    const std::string name = resolved(check, is_velocity ? s.flow_file_z : s.flow_file_uv);
    if (name != "none") hfopenfile_f(name, true, other);
    (is_velocity ? own_file : velocity_file) = other;
  }
  const HyfsHandle from = elevation_file(check, layout.elevation, velocity_file, own_file);
  Elevation elevation;
  if (from > 0) {
    if (layout.layers) take_grid_path(check, from, layout.elevation);
    elevation = check_elevation(check, from, layout.elevation, from == check.file);
  }
  if (is_velocity) check_velocity(check, layout, elevation.steps);
  if (!is_velocity && from != check.file) {
    note(check, "the elevation is taken from " + s.flow_file_uv);
  }
  if (other > 0) hfclosefile_f(other);
}

void check_bottom_flow(FileCheck& check) {
  const Settings& s = check.run.settings;
  if (!names_file(check, s.bottom_flow_file)) return;
  role(check, "bottom flow");
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
  for (double& time : times) time = s.bottom_start_flow + time * static_cast<double>(s.n2d_step);
  check_cover(check, expected, times, true);
  hfclosegroup_f(set);
}

}  // namespace dfl
