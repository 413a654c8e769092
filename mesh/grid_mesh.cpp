#include "mesh/grid_mesh.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "control/text_tools.h"
#include "mesh/adcirc_mesh.h"
#include "mesh/boundaries.h"
#include "mesh/geometry.h"
#include "mesh/grid_boundary_file.h"
#include "mesh/grid_cards.h"
#include "mesh/neighbours.h"

namespace dfl {

namespace {

// The k-th active cell: lower-left triangle, then upper-right.
void triangulate(RunState& run, int cells, const Array<char>& active) {
  MeshState& mesh = run.mesh;
  mesh.ELcell.allocate(mesh.NUMelem);
  int e = 0;
  for (int cell = 1; cell <= cells; ++cell) {
    if (!active(cell)) continue;
    const int* const c = run.grid.CELLnodes.row(cell);
    ++e;
    mesh.ELnode1(e) = c[0];
    mesh.ELnode2(e) = c[1];
    mesh.ELnode3(e) = c[2];
    mesh.ELcell(e) = cell;
    ++e;
    mesh.ELnode1(e) = c[1];
    mesh.ELnode2(e) = c[3];
    mesh.ELnode3(e) = c[2];
    mesh.ELcell(e) = cell;
  }
}

}  // namespace

bool can_be_read(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(found_path(path), error)) return false;
  std::FILE* file = open_file(path, "r");
  if (file == nullptr) return false;
  std::fclose(file);
  return true;
}

void number_nodes(RunState& run, int nodes, const Array<char>& active) {
  GridState& grid = run.grid;
  Array<int> number;
  number.allocate(nodes);
  int used = 0, cells = 0;
  for (int cell = 1; cell <= grid.NUMcells; ++cell) {
    if (!active(cell)) continue;
    ++cells;
    for (int corner = 1; corner <= 4; ++corner) {
      int& node = number(grid.CELLnodes(cell, corner));
      if (node == 0) node = ++used;
    }
  }
  const auto renumber = [&](Array2<int>& corners) {
    for (int cell = 1; cell <= corners.rows(); ++cell) {
      for (int corner = 1; corner <= 4; ++corner) {
        int& node = corners(cell, corner);
        if (node > 0) node = number(node);
      }
    }
  };
  renumber(grid.CELLnodes);
  renumber(run.mesh.CELLcorners);
  if (cells == 0) fatal_error(run.messages, "The grid has no active cells");
  grid.NUMactive = cells;
  run.mesh.NUMnode = used;
  run.mesh.NUMelem = 2 * cells;
}

void TRIANGULATE_GRID(RunState& run, int NumI, int NumJ, const Array<char>& active) {
  triangulate(run, NumI * NumJ, active);
}

void TRIANGULATE_CELLS(RunState& run) {
  Array<char> active;
  active.allocate(run.grid.NUMcells);
  for (int cell = 1; cell <= run.grid.NUMcells; ++cell) {
    active(cell) = is_active(run.grid.CELLS(cell).DEPTH);
  }
  triangulate(run, run.grid.NUMcells, active);
}

void READ_GRID_MESH(RunState& run) {
  if (run.settings.method.mesh == MeshFormat::n2g) {
    fatal_error(run.messages, "DFL v2.1 does not support N2D v3.02");
  }
  run.grid.maps = {};
  READ_RVCARDS(run);
  if (run.settings.rvs_mesh) {
    read_telescoping_grid(run);
  } else {
    read_structured_grid(run);
  }
  MESH_GEOMETRY(run);
  MESH_NEIGHBOURS(run);
  CHECK_BOUNDARY_FILE(run);
  READ_GRID_BOUNDARIES(run);
  MESH_BOUNDARIES(run);
}

}  // namespace dfl
