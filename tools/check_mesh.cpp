// Check of mesh files, and the sizes that a mesh gives to all else.

#include <algorithm>
#include <cmath>
#include <memory>

#include "control/text_reader.h"
#include "control/text_tools.h"
#include "mesh/grid_cards.h"
#include "tools/check_parts.h"
#include "tools/hyfs_words.h"

namespace dfl {

namespace {

// The head of a text mesh: a title, the numbers of elements and nodes.
void text_mesh_size(FileCheck& check, const std::string& name, MeshSize& size) {
  const std::string path = resolved(check, name);
  if (!file_exists(path) || is_directory(path)) {
    note(check, "the mesh file, " + name + ", is not there");
    return;
  }
  TextReader in(check.run.messages, path);
  std::string title;
  int elements = 0, nodes = 0;
  if (in.read_line(title) && in.try_read(elements, nodes) && nodes > 0) size.nodes = nodes;
}

// Nodes at the corners of the active cells, as the mesh of a grid has them.
std::int64_t count_corners(const std::vector<int>& types, std::int64_t I, std::int64_t J) {
  std::vector<char> corner(static_cast<std::size_t>((I + 1) * (J + 1)));
  std::int64_t count = 0;
  for (std::int64_t cell = 0; cell < I * J; ++cell) {
    if ((types[static_cast<std::size_t>(cell)] & 1) == 0) continue;
    const std::int64_t lower_left = cell / I * (I + 1) + cell % I;
    for (const std::int64_t node :
         {lower_left, lower_left + 1, lower_left + I + 1, lower_left + I + 2}) {
      char& seen = corner[static_cast<std::size_t>(node)];
      if (seen == 0) ++count;
      seen = 1;
    }
  }
  return count;
}

// The paths of a grid stand in its card file.
void card_file_size(FileCheck& check, MeshSize& size) {
  const Settings& s = check.run.settings;
  const std::string cards = resolved(check, s.mesh_file);
  if (!file_exists(cards) || is_directory(cards)) {
    finding(check, "the card file of the grid, " + s.mesh_file + ", is not there");
    return;
  }
  const auto other = std::make_unique<RunState>();
  other->messages = check.run.messages;
  other->settings = s;
  other->settings.mesh_file = cards;
  READ_RVCARDS(*other);
  size.cellstring_file = other->grid.cellstring_file;
  size.cellstrings = other->grid.CELLstrings;
  if (other->settings.rvs_mesh) return;  // the grid is a text file
  size.grid_file = other->settings.mesh_file;
  size.grid_path = other->settings.hyfs_grid_path;
  size.depth_path = other->settings.hyfs_dep_path;
  HyfsHandle file = 0, group = 0;
  int I = 0, J = 0;
  if (hfopenfile_f(size.grid_file, true, file) < 0) return;
  if (hfopengroup_f(file, size.grid_path, group) >= 0 && hfgetnumbercellsini_f(group, I) >= 0 &&
      hfgetnumbercellsinj_f(group, J) >= 0) {
    size.cells = std::int64_t{I} * J;
    std::vector<int> types;
    HyfsHandle properties = 0;
    if (hfopengroup_f(file, size.grid_path + "/PROPERTIES", properties) >= 0 &&
        hfreadpropertyint_f(properties, "CellTypes", types) >= 0 &&
        static_cast<std::int64_t>(types.size()) == size.cells) {
      size.nodes = count_corners(types, I, J);
    }
  }
  hfclosefile_f(file);
}

// A lattice of nodes in layers, in a dataset file.
void lattice_size(FileCheck& check, MeshSize& size) {
  const Settings& s = check.run.settings;
  HyfsHandle file = 0, group = 0;
  if (hfopenfile_f(resolved(check, s.mesh_file), true, file) < 0) return;
  int I = 0, J = 0, K = 0;
  bool known = false;
  if (s.method.mesh == MeshFormat::n3d) {
    known = hfopengroup_f(file, s.hyfs_n3d_path, group) >= 0 &&
            hfgetnumbercellsini_f(group, I) >= 0 && hfgetnumbercellsinj_f(group, J) >= 0 &&
            hfgetnumbercellsink_f(group, K) >= 0;
  } else {
    const auto read = [&](const char* name, int& value) {
      std::vector<int> values;
      if (hfreadpropertyint_f(file, name, values) < 0 || values.size() != 1) return false;
      value = values[0];
      return true;
    };
    known = read("NumI", I) && read("NumJ", J) && read("NumK", K);
  }
  hfclosefile_f(file);
  if (!known || I < 2 || J < 2 || K < 1) return;
  size.nodes = std::int64_t{I} * J;
  size.active = (std::int64_t{I} - 1) * (J - 1);
  size.layers = K;
}

// ---- the file as a mesh ----

// Far sides of the columns, rows or layers, as 4-byte reals.
void check_far_sides(FileCheck& check, const std::string& what,
                     const std::vector<double>& coordinates) {
  float before = 0.0f;
  for (std::size_t i = 0; i < coordinates.size(); ++i) {
    const float far_side = static_cast<float>(coordinates[i]);
    if (std::isfinite(far_side) && far_side > before) {
      before = far_side;
      continue;
    }
    finding(check, what + ": expected numbers that grow from 0 on, found " +
                       number_words(coordinates[i]) + " behind " +
                       number_words(static_cast<double>(before)));
    return;
  }
}

// Places of nodes of which the first spacing counts for all.
void check_spacing(FileCheck& check, const std::string& what,
                   const std::vector<double>& coordinates) {
  if (coordinates.size() < 2) return;
  const double spacing = coordinates[1] - coordinates[0];
  if (!std::isfinite(static_cast<float>(spacing)) || spacing <= 0.0) {
    finding(check, what + ": expected numbers that grow, found " + number_words(coordinates[0]) +
                       ", " + number_words(coordinates[1]));
    return;
  }
  for (std::size_t i = 2; i < coordinates.size(); ++i) {
    const double next = coordinates[i] - coordinates[i - 1];
    if (std::abs(next - spacing) <= 1.0e-3 * spacing) continue;
    note(check,
         what + ": the spacing of the first two, " + number_words(spacing) + ", is taken for all");
    return;
  }
}

// A grid with its sizes and axes; false if there is none.
bool check_grid(FileCheck& check, const std::string& path, bool layers, HyfsHandle& group) {
  const std::string name = "grid \"" + path + "\": ";
  const auto good = [&](int status, const char* what) {
    if (status >= 0) return true;
    finding(check, name + what + ": " + hyfs_reason(status));
    return false;
  };
  if (!good(hfopengroup_f(check.file, path, group), "the group")) return false;
  int I = 0, J = 0, K = 0;
  double x = 0.0, y = 0.0, z = 0.0, bearing = 0.0;
  if (!good(hfgetnumbercellsini_f(group, I), "dimensions") ||
      !good(hfgetnumbercellsinj_f(group, J), "dimensions")) {
    return false;
  }
  if (I < 2 || J < 2) {
    finding(check, name + "expected 2 by 2 or more, found " + std::to_string(I) + " by " +
                       std::to_string(J));
  }
  if (layers) good(hfgetnumbercellsink_f(group, K), "dimensions");
  if (good(hfgetorigin_f(group, x, y, z), "origin") && !(std::isfinite(x) && std::isfinite(y))) {
    finding(check, name + "the origin is not finite");
  }
  if (good(hfgetbearing_f(group, bearing), "bearing") && !std::isfinite(bearing)) {
    finding(check, name + "the bearing is not finite");
  }
  std::vector<double> coordinates;
  const auto check_axis = layers ? check_spacing : check_far_sides;
  if (good(hfgetgridcoordsi_f(group, coordinates), "coords_i")) {
    check_axis(check, name + "coords_i", coordinates);
  }
  if (good(hfgetgridcoordsj_f(group, coordinates), "coords_j")) {
    check_axis(check, name + "coords_j", coordinates);
  }
  if (layers) good(hfgetgridcoordsk_f(group, coordinates), "coords_k");
  return true;
}

void check_cell_types(FileCheck& check) {
  const std::string path = check.mesh.grid_path + "/PROPERTIES";
  HyfsHandle properties = 0;
  if (const int status = hfopengroup_f(check.file, path, properties); status < 0) {
    finding(check, "group \"" + path + "\": " + hyfs_reason(status));
    return;
  }
  std::vector<double> types;
  if (check_property(check, properties, "CellTypes", check.mesh.cells, NumberKind::whole, types) &&
      std::none_of(types.begin(), types.end(),
                   [](double type) { return (static_cast<int>(type) & 1) != 0; })) {
    finding(check, "property \"CellTypes\": no cell is active, which has an odd number");
  }
  hfclosegroup_f(properties);
}

void check_cell_grid(FileCheck& check) {
  const MeshSize& size = check.mesh;
  role(check, "grid of the mesh (mesh_format n2d)");
  HyfsHandle group = 0, depth = 0;
  if (!check_grid(check, size.grid_path, false, group)) return;
  hfclosegroup_f(group);
  check_cell_types(check);
  const Expected expected{.card = "bathymetry_dataset",
                          .path = size.depth_path,
                          .values = size.cells,
                          .values_of = "cells of the grid",
                          .quantity = "m",
                          .wanted = Wanted::not_infinite};
  if (!check_dataset(check, check.file, expected, depth)) return;
  int location = 0;
  if (hfgetscalardatalocation_f(depth, location) < 0 || location != 0) {
    finding(check,
            place(expected) + "expected values at cell centres, found " + location_words(location));
  }
  hfclosegroup_f(depth);
}

// Strings of cells along the open boundaries. They are looked for once, when the boundary file is
// made; a run goes on without them, closed all around.
void check_cellstrings(FileCheck& check) {
  const MeshSize& size = check.mesh;
  role(check, "cellstrings of the mesh");
  const bool made = file_exists(resolved(check, check.run.settings.bc_file));
  for (const std::string& path : size.cellstrings) {
    HyfsHandle group = 0;
    std::vector<int> cells;
    int status = hfopengroup_f(check.file, path, group);
    if (status >= 0) {
      status = hfreadpropertyint_f(group, "Cells", cells);
      hfclosegroup_f(group);
    }
    const std::string text = "cellstring \"" + path + "\"";
    if (status < 0 && made) note(check, text + ", its cells: " + hyfs_reason(status));
    if (status < 0 && !made) {
      finding(check, text + ", its cells: " + hyfs_reason(status) +
                         "; the mesh would have no open boundary");
    }
    const std::int64_t outside = std::count_if(
        cells.begin(), cells.end(), [&](int cell) { return cell < 1 || cell > size.cells; });
    if (outside > 0 && size.cells > 0) {
      note(check, text + ": " + std::to_string(outside) + " of " + std::to_string(cells.size()) +
                      " numbers are no cells of the grid");
    }
  }
}

void check_uniform_grid(FileCheck& check) {
  const Settings& s = check.run.settings;
  role(check, "mesh (mesh_format n3d)");
  HyfsHandle group = 0, depth = 0;
  if (!check_grid(check, s.hyfs_n3d_path, true, group)) return;
  const Expected expected{.card = "hyfs_dep_path",
                          .path = s.hyfs_dep_path,
                          .values = (check.mesh.layers + 1) * check.mesh.nodes,
                          .values_of = "nodes by layers and one",
                          .quantity = "m",
                          .wanted = Wanted::finite,
                          .wanted_values = check.mesh.nodes};
  if (check_dataset(check, group, expected, depth)) {
    int times = 0;
    if (hfgetdatasetnumtimes_f(depth, times) >= 0 && times != 1) {
      finding(check, place(expected) + "expected 1 time step, found " + std::to_string(times));
    }
    hfclosegroup_f(depth);
  }
  hfclosegroup_f(group);
}

void check_lattice(FileCheck& check) {
  role(check, "mesh (mesh_format gr3d)");
  std::vector<double> values;
  bool counts = true;
  for (const char* name : {"NumI", "NumJ", "NumK"}) {
    counts = check_property(check, check.file, name, 1, NumberKind::whole, values) && counts;
  }
  if (counts && check.mesh.nodes == 0) {
    finding(check, "NumI, NumJ, NumK: expected 2 by 2 nodes and 1 level or more");
  }
  for (const char* name : {"X", "Y", "Depth"}) {
    const bool depth = std::string("Depth") == name;
    const NumberKind kind = depth ? NumberKind::single : NumberKind::wide;
    if (!check_property(check, check.file, name, check.mesh.nodes, kind, values)) continue;
    // Positions are taken as 4-byte reals.
    for (double& value : values) value = static_cast<double>(static_cast<float>(value));
    check_numbers(check, std::string("property \"") + name + "\"", values, Wanted::finite);
  }
}

}  // namespace

MeshSize mesh_size(FileCheck& check) {
  MeshSize size;
  const Settings& s = check.run.settings;
  switch (s.method.mesh) {
    case MeshFormat::adcirc:
      text_mesh_size(check, s.mesh_file, size);
      break;
    case MeshFormat::n2d:
      card_file_size(check, size);
      break;
    case MeshFormat::n3d:
    case MeshFormat::gr3d:
      lattice_size(check, size);
      break;
    default:
      break;
  }
  if (size.nodes == 0) {
    note(check, "the size of the mesh is not known: numbers of values are compared where they can");
  }
  return size;
}

void check_mesh_file(FileCheck& check) {
  const Settings& s = check.run.settings;
  if (names_file(check, check.mesh.grid_file)) check_cell_grid(check);
  if (!check.mesh.cellstrings.empty() && names_file(check, check.mesh.cellstring_file)) {
    check_cellstrings(check);
  }
  if (!names_file(check, s.mesh_file)) return;
  if (s.method.mesh == MeshFormat::n3d) {
    check_uniform_grid(check);
  } else if (s.method.mesh == MeshFormat::gr3d) {
    check_lattice(check);
  } else {
    role(check, "mesh");
    finding(check, "mesh_format " + s.mesh_format + " is none of dataset files");
  }
}

}  // namespace dfl
