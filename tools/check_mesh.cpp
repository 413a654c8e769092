// Check of mesh files, and the sizes that a mesh gives to all else.

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
  if (!file_exists(path) || is_directory(path)) return;
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
    note(check, "the card file of the grid, " + s.mesh_file + ", is not there");
    return;
  }
  const auto other = std::make_unique<RunState>();
  other->messages = check.run.messages;
  other->settings = s;
  other->settings.mesh_file = cards;
  READ_RVCARDS(*other);
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
    if (hfreadpropertyint_f(group, "CellTypes", types) >= 0 &&
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
  good(hfgetgridcoordsi_f(group, coordinates), "coords_i");
  good(hfgetgridcoordsj_f(group, coordinates), "coords_j");
  if (layers) good(hfgetgridcoordsk_f(group, coordinates), "coords_k");
  return true;
}

void check_cell_grid(FileCheck& check) {
  const MeshSize& size = check.mesh;
  role(check, "grid of the mesh (mesh_format n2d)");
  HyfsHandle group = 0, depth = 0;
  if (!check_grid(check, size.grid_path, false, group)) return;
  hfclosegroup_f(group);
  std::vector<double> types;
  check_property(check, size.grid_path + "/PROPERTIES/CellTypes", size.cells, true, types);
  const Expected expected{.card = "bathymetry_dataset",
                          .path = size.depth_path,
                          .values = size.cells,
                          .values_of = "cells of the grid",
                          .quantity = "m"};
  if (!check_dataset(check, check.file, expected, depth)) return;
  int location = 0;
  if (hfgetscalardatalocation_f(depth, location) < 0 || location != 0) {
    finding(check, "bathymetry_dataset \"" + size.depth_path +
                       "\": expected values at cell centres, found " + location_words(location));
  }
  hfclosegroup_f(depth);
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
                          .quantity = "m"};
  if (check_dataset(check, group, expected, depth)) {
    int times = 0;
    if (hfgetdatasetnumtimes_f(depth, times) >= 0 && times != 1) {
      finding(check, "hyfs_dep_path \"" + s.hyfs_dep_path + "\": expected 1 time step, found " +
                         std::to_string(times));
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
    counts = check_property(check, name, 1, true, values) && counts;
  }
  if (counts && check.mesh.nodes == 0) {
    finding(check, "NumI, NumJ, NumK: expected 2 by 2 nodes and 1 level or more");
  }
  for (const char* name : {"X", "Y", "Depth"}) {
    check_property(check, name, check.mesh.nodes, false, values);
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
