// Structured grids: a dataset file with cell coordinates, cell types and depths.

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "dataset/dataset_status.h"
#include "dataset/hyfs.h"
#include "mesh/adcirc_mesh.h"
#include "mesh/grid_mesh.h"
#include "mesh/quadtree_map.h"

namespace dfl {

namespace {

void require(const RunState& run, int status, const std::string& object, const std::string& text) {
  check_dataset_status(run.messages, status, dataset_place(run.settings.mesh_file, object), text);
}

// Coordinates along one axis of the grid, and the sizes between them.
struct Axis {
  Array<float> x;        // as in the file: the far side of a cell, from the origin
  Array<float> spacing;  // from the coordinate before; entry 1 is not set
  Array<float> middle;   // of the cells
};

Axis axis_of(const RunState& run, const std::vector<double>& coordinates, const char* message) {
  const int cells = static_cast<int>(coordinates.size());
  Axis axis;
  axis.x.allocate(cells);
  axis.spacing.allocate(cells);
  axis.middle.allocate(cells);
  for (int i = 1; i <= cells; ++i) {
    axis.x(i) = static_cast<float>(coordinates[static_cast<std::size_t>(i) - 1]);
    if (!std::isfinite(axis.x(i))) {
      require(run, hyfs_dataset_invalid, run.settings.hyfs_grid_path, message);
    }
    if (i > 1) axis.spacing(i) = axis.x(i) - axis.x(i - 1);
  }
  // Half a cell further on than the middle; the first coordinate takes it off again.
  axis.middle(1) = axis.x(1);
  axis.middle(2) = axis.x(2);
  for (int i = 3; i <= cells; ++i) {
    axis.middle(i) = axis.middle(i - 1) + (axis.spacing(i) + axis.spacing(i - 1)) / 2.0f;
  }
  return axis;
}

struct Turn {
  float s, c;
};

Turn turn_of(const GridState& grid) {
  const float angle = static_cast<float>(grid.GRIDangle) * 3.14159f / 180.0f;
  return {std::sin(angle), std::cos(angle)};
}

struct Structure {
  Axis i, j;
  Array<char> active;
};

void read_head(RunState& run, HyfsHandle group) {
  GridState& grid = run.grid;
  double z = 0.0, bearing = 0.0;
  const auto check = [&](int status, const char* text) {
    require(run, status, run.settings.hyfs_grid_path, text);
  };
  check(hfgetnumbercellsini_f(group, grid.NumI), "HF_GET_NUMBER_CELLS_IN_I(NumI) error");
  check(hfgetnumbercellsinj_f(group, grid.NumJ), "HF_GET_NUMBER_CELLS_IN_J(NumJ) error");
  check(hfgetorigin_f(group, grid.GRIDx0, grid.GRIDy0, z), "HF_GET_ORIGIN error");
  check(hfgetbearing_f(group, bearing), "HF_GET_BEARING(Layers) error");
  if (!std::isfinite(grid.GRIDx0) || !std::isfinite(grid.GRIDy0)) {
    check(hyfs_dataset_invalid, "HF_GET_ORIGIN error");
  }
  if (!std::isfinite(bearing)) check(hyfs_dataset_invalid, "HF_GET_BEARING(Layers) error");
  grid.GRIDangle = static_cast<double>(static_cast<float>(360.0 - bearing));
  if (grid.NumI < 2 || grid.NumJ < 2) {
    // The sizes of the first column and row are those of the second.
    fatal_error(run.messages, "A grid needs two columns and two rows or more, this one has " +
                                  std::to_string(grid.NumI) + " by " + std::to_string(grid.NumJ));
  }
  if (std::int64_t{grid.NumI} * grid.NumJ > most_cells) {
    fatal_error(run.messages, "A grid of " + std::to_string(grid.NumI) + " by " +
                                  std::to_string(grid.NumJ) + " cells is too large");
  }
  grid.NUMcells = grid.NumI * grid.NumJ;
}

Structure read_structure(RunState& run, HyfsHandle file) {
  const std::string& path = run.settings.hyfs_grid_path;
  const std::string properties_path = path + "/PROPERTIES";
  HyfsHandle group = 0, properties = 0;
  require(run, hfopengroup_f(file, path, group), path, "HF_OPEN_GROUP error");
  read_head(run, group);

  std::vector<int> types;
  require(run, hfopengroup_f(file, properties_path, properties), properties_path,
          "HF_OPEN_GROUP error");
  const char* const types_message = "HF_READ_PROPERTY_FLOAT(CellTypes) error";
  int status = hfreadpropertyint_f(properties, "CellTypes", types);
  if (status >= 0 && types.size() != static_cast<std::size_t>(run.grid.NUMcells)) {
    status = hyfs_size_incorrect;
  }
  require(run, status, properties_path + "/CellTypes", types_message);
  hfclosegroup_f(properties);

  std::vector<double> along_i, along_j;
  const char* const i_message = "HF_GET_GRID_COORDS_I error";
  const char* const j_message = "HF_GET_GRID_COORDS_J error";
  require(run, hfgetgridcoordsi_f(group, along_i), path, i_message);
  require(run, hfgetgridcoordsj_f(group, along_j), path, j_message);
  hfclosegroup_f(group);

  Structure structure{axis_of(run, along_i, i_message), axis_of(run, along_j, j_message), {}};
  structure.active.allocate(run.grid.NUMcells);
  for (int cell = 1; cell <= run.grid.NUMcells; ++cell) {
    structure.active(cell) = (types[static_cast<std::size_t>(cell) - 1] & 1) != 0;
  }
  return structure;
}

void set_cells(GridState& grid, const Structure& structure) {
  const auto& [I, J, active] = structure;
  const auto [s, c] = turn_of(grid);
  grid.CELLS.allocate(grid.NUMcells);
  for (int j = 1, number = 1; j <= grid.NumJ; ++j) {
    const float b = J.middle(j) - J.x(1) / 2.0f;
    for (int i = 1; i <= grid.NumI; ++i, ++number) {
      const float a = I.middle(i) - I.x(1) / 2.0f;
      Cell& cell = grid.CELLS(number);
      cell.X = grid.GRIDx0 + static_cast<double>(c * a) + static_cast<double>(s * b);
      cell.Y = grid.GRIDy0 - static_cast<double>(s * a) + static_cast<double>(c * b);
      cell.DX = static_cast<double>(I.spacing(i == 1 ? 2 : i));
      cell.DY = static_cast<double>(J.spacing(j == 1 ? 2 : j));
    }
  }
}

// Corners as points of the lattice between the cells, then numbered anew.
void set_corners(RunState& run, const Array<char>& active) {
  GridState& grid = run.grid;
  const int row = grid.NumI + 1;
  grid.CELLnodes.allocate(grid.NUMcells, 1, 4);
  for (int j = 1, cell = 1; j <= grid.NumJ; ++j) {
    for (int i = 1; i <= grid.NumI; ++i, ++cell) {
      const int lower_left = (j - 1) * row + i;
      grid.CELLnodes(cell, 1) = lower_left;
      grid.CELLnodes(cell, 2) = lower_left + 1;
      grid.CELLnodes(cell, 3) = lower_left + row;
      grid.CELLnodes(cell, 4) = lower_left + row + 1;
    }
  }
  run.mesh.CELLcorners = {};
  number_nodes(run, row * (grid.NumJ + 1), active);
}

// A node between cells of different size takes the place that the last of them gives it.
void place_nodes(RunState& run, const Structure& structure) {
  const GridState& grid = run.grid;
  const auto& [I, J, active] = structure;
  const auto [s, c] = turn_of(grid);
  for (int j = 1, number = 1; j <= grid.NumJ; ++j) {
    const float h = j == 1 ? J.x(1) : J.spacing(j);
    for (int i = 1; i <= grid.NumI; ++i, ++number) {
      if (!active(number)) continue;
      const float w = i == 1 ? I.x(1) : I.spacing(i);
      const Cell& cell = grid.CELLS(number);
      for (int corner = 1; corner <= 4; ++corner) {
        const float p = corner == 2 || corner == 4 ? w / 2.0f : -w / 2.0f;
        const float q = corner > 2 ? h / 2.0f : -h / 2.0f;
        const int node = grid.CELLnodes(number, corner);
        run.mesh.Xnode(node) = cell.X + static_cast<double>(c * p) + static_cast<double>(s * q);
        run.mesh.Ynode(node) = cell.Y - static_cast<double>(s * p) + static_cast<double>(c * q);
      }
    }
  }
}

void read_depths(RunState& run, HyfsHandle file) {
  GridState& grid = run.grid;
  const std::string& path = run.settings.hyfs_dep_path;
  HyfsHandle dataset = 0;
  int location = 0;
  require(run, hfopengroup_f(file, path, dataset), path, "HF_OPEN_GROUP error (H)");
  require(run, hfgetscalardatalocation_f(dataset, location), path,
          "HF_GET_SCALAR_DATA_LOC(RVS-Z) error");
  if (location != 0) fatal_error(run.messages, "GRID_LOC_CENTER(RVS-Z) error");
  std::vector<float> depths;
  int status = hfreadscalarvaluestimestep_f(dataset, 1, depths);
  if (status >= 0 && depths.size() != static_cast<std::size_t>(grid.NUMcells)) {
    status = hyfs_size_incorrect;
  }
  require(run, status, path, "HF_READ_SCALAR_VALUES_TIMESTEP(H) error");
  hfclosegroup_f(dataset);
  grid.CELLvalues.allocate(grid.NUMcells);
  for (int cell = 1; cell <= grid.NUMcells; ++cell) {
    grid.CELLvalues(cell) = depths[static_cast<std::size_t>(cell) - 1];
    if (std::isinf(grid.CELLvalues(cell))) {
      fatal_error(run.messages, "The depth of cell " + std::to_string(cell) + " is infinite");
    }
  }
  MAP_GRID(run, grid.CELLvalues, location, run.mesh.DEPTHnode);
}

}  // namespace

void read_structured_grid(RunState& run) {
  const std::string& name = run.settings.mesh_file;
  console(run.messages, "Accessing grid file...\n");
  HyfsHandle file = 0;
  check_dataset_file(run.messages, hfopenfile_f(name, true, file), name,
                     "HF_OPEN_FILE error: " + name);
  const Structure structure = read_structure(run, file);
  set_cells(run.grid, structure);
  set_corners(run, structure.active);
  allocate_mesh_arrays(run);
  place_nodes(run, structure);
  read_depths(run, file);
  start_moving_bed(run);
  require(run, hfclosefile_f(file), "", "HF_CLOSE_FILE(grid) error");
  TRIANGULATE_GRID(run, run.grid.NumI, run.grid.NumJ, structure.active);
}

}  // namespace dfl
