// Telescoping grids: a text file of cells that name up to two neighbours on each side.
//
//   record   items                                                            repeats
//   title    any                                                              1
//   head     bearing (degrees), x0, y0, count                                 1
//   cell     n; X, Y, DX, DY; N1, N2, E1, E2, S1, S2, W1, W2; DEPTH           count
//
// Of two neighbours the second is the one clockwise behind the first: N1 west of N2, E1 north of
// E2, S1 east of S2, W1 south of W2. 0: none.

#include <algorithm>
#include <cmath>
#include <string>

#include "control/text_reader.h"
#include "control/text_tools.h"
#include "mesh/adcirc_mesh.h"
#include "mesh/grid_mesh.h"
#include "mesh/quadtree_map.h"

namespace dfl {

namespace {

enum Corner { lower_left = 1, lower_right, upper_left, upper_right };

// Of a new node at a corner of a cell: the cells around the corner that get it too. The neighbours
// on `side` whose side `test` is in line with that of the cell take it at `slot`, if they have none
// there yet; then their neighbours on `next_side`, in line with them by `next_test`, at
// `next_slot`.
struct Handing {
  Corner corner;
  Side side, test;
  Corner slot;
  Side next_side, next_test;
  Corner next_slot;
};
constexpr Handing handings[] = {
    {lower_left, Side::W, Side::S, lower_right, Side::S, Side::E, upper_right},
    {lower_left, Side::S, Side::W, upper_left, Side::W, Side::N, upper_right},
    {lower_right, Side::E, Side::S, lower_left, Side::S, Side::W, upper_left},
    {lower_right, Side::S, Side::E, upper_right, Side::E, Side::N, upper_left},
    {upper_left, Side::W, Side::N, upper_right, Side::N, Side::E, lower_right},
    {upper_left, Side::N, Side::W, lower_left, Side::W, Side::S, lower_right},
    {upper_right, Side::E, Side::N, upper_left, Side::N, Side::W, lower_left},
    {upper_right, Side::N, Side::E, lower_right, Side::E, Side::S, lower_left},
};

// The two neighbours on a side.
const int* neighbours_on(const Cell& cell, Side side) {
  return cell.NEIGH.data() + 2 * static_cast<int>(side);
}

double position(const Cell& cell, Side side) {
  switch (side) {
    case Side::E:
      return cell.X + cell.DX / 2.0;
    case Side::W:
      return cell.X - cell.DX / 2.0;
    case Side::N:
      return cell.Y + cell.DY / 2.0;
    case Side::S:
      break;
  }
  return cell.Y - cell.DY / 2.0;
}

// The line of one cell. Neighbours are checked against the count.
void read_cell(TextReader& in, GridState& grid, Array<char>& seen) {
  const std::string range = "from 1 to " + std::to_string(grid.NUMcells);
  int n = 0;
  in.begin_record();
  in.read_item(n);
  if (n < 1 || n > grid.NUMcells) {
    in.stop("expected a cell number " + range + ", found " + std::to_string(n));
  }
  if (seen(n)) in.stop("second line of cell " + std::to_string(n));
  seen(n) = 1;
  Cell& cell = grid.CELLS(n);
  for (double* value : {&cell.X, &cell.Y, &cell.DX, &cell.DY}) in.read_item(*value);
  for (int& neighbour : cell.NEIGH) {
    in.read_item(neighbour);
    if (neighbour < 0 || neighbour > grid.NUMcells) {
      in.stop("expected 0 or a neighbouring cell " + range + ", found " +
              std::to_string(neighbour));
    }
  }
  in.read_item(cell.DEPTH);
  in.end_record();
  if (is_active(cell.DEPTH) && !(cell.DX > 0.0 && cell.DY > 0.0)) {
    in.stop("expected cell sizes above 0");
  }
}

void read_cells(RunState& run) {
  GridState& grid = run.grid;
  const std::string path = found_path(run.settings.rvs_quadtree);
  if (!can_be_read(path)) fatal_error(run.messages, "TELESCOPING file error");
  TextReader in(run.messages, path);
  double bearing = 0.0;
  int count = 0;
  in.skip_line();
  in.read(bearing, grid.GRIDx0, grid.GRIDy0, count);
  // A line has a digit and its end at least.
  if (count < 1 || count > most_cells ||
      static_cast<std::size_t>(count) > in.bytes_left() / 2 + 1) {
    in.stop("a number of cells of " + std::to_string(count) +
            " cannot stand in a file of this size");
  }
  grid.NUMcells = count;
  grid.GRIDangle = static_cast<double>(static_cast<float>(360.0 + bearing));
  console(run.messages, "Building solution mesh from grid...\n");
  grid.CELLS.allocate(count);
  Array<char> seen;
  seen.allocate(count);
  for (int k = 1; k <= count; ++k) read_cell(in, grid, seen);
}

void hand_out(GridState& grid, int cell, int corner, int node) {
  const Cell& A = grid.CELLS(cell);
  for (const Handing& row : handings) {
    if (row.corner != corner) continue;
    for (int k = 0; k < 2; ++k) {
      const int neighbour = neighbours_on(A, row.side)[k];
      if (neighbour == 0) continue;
      const Cell& B = grid.CELLS(neighbour);
      if (!SIDES_MATCH(A, row.test, B, row.test)) continue;
      if (grid.CELLnodes(neighbour, row.slot) != 0) continue;
      grid.CELLnodes(neighbour, row.slot) = node;
      for (int m = 0; m < 2; ++m) {
        const int next = neighbours_on(B, row.next_side)[m];
        if (next == 0 || !SIDES_MATCH(B, row.next_test, grid.CELLS(next), row.next_test)) continue;
        grid.CELLnodes(next, row.next_slot) = node;
      }
    }
  }
}

// Nodes of all cells, inactive ones too. Returns how many.
int set_corners(GridState& grid) {
  grid.CELLnodes.allocate(grid.NUMcells, 1, 4);
  int nodes = 0;
  for (int cell = 1; cell <= grid.NUMcells; ++cell) {
    for (int corner = 1; corner <= 4; ++corner) {
      if (grid.CELLnodes(cell, corner) != 0) continue;
      grid.CELLnodes(cell, corner) = ++nodes;
      hand_out(grid, cell, corner, nodes);
    }
  }
  return nodes;
}

// The node in the middle of a side with two neighbours, as a corner of the second of them.
void set_hanging_nodes(const GridState& grid, Array2<int>& CELLcorners) {
  struct Hanging {
    Neighbour second;
    Corner corner;
  };
  constexpr Hanging sides[] = {
      {N2, lower_left}, {E2, upper_left}, {S2, upper_right}, {W2, lower_right}};
  CELLcorners.allocate(grid.NUMcells, 1, 4);
  for (int cell = 1; cell <= grid.NUMcells; ++cell) {
    int column = 0;
    for (const Hanging& side : sides) {
      ++column;
      const int neighbour = grid.CELLS(cell).NEIGH[side.second];
      if (neighbour != 0) CELLcorners(cell, column) = grid.CELLnodes(neighbour, side.corner);
    }
  }
}

void place_nodes(RunState& run) {
  const GridState& grid = run.grid;
  const double angle = grid.GRIDangle * static_cast<double>(3.14159f) / 180.0;
  const double s = std::sin(angle), c = std::cos(angle);
  for (int number = 1; number <= grid.NUMcells; ++number) {
    const Cell& cell = grid.CELLS(number);
    if (!is_active(cell.DEPTH)) continue;
    for (int corner = 1; corner <= 4; ++corner) {
      const bool right = corner == lower_right || corner == upper_right;
      const bool upper = corner == upper_left || corner == upper_right;
      const double x = position(cell, right ? Side::E : Side::W);
      const double y = position(cell, upper ? Side::N : Side::S);
      const int node = grid.CELLnodes(number, corner);
      run.mesh.Xnode(node) = grid.GRIDx0 + c * x + s * y;
      run.mesh.Ynode(node) = grid.GRIDy0 - s * x + c * y;
    }
  }
}

}  // namespace

bool SIDES_MATCH(const Cell& A, Side a, const Cell& B, Side b) {
  const double t = std::min({A.DX, A.DY, B.DX, B.DY}) / 100.0;
  const double at = position(A, a), bt = position(B, b);
  return at > bt - t && bt + t > at;
}

void read_telescoping_grid(RunState& run) {
  GridState& grid = run.grid;
  console(run.messages, "Accessing telescoping file...\n");
  read_cells(run);
  const int nodes = set_corners(grid);
  set_hanging_nodes(grid, run.mesh.CELLcorners);
  Array<char> active;
  active.allocate(grid.NUMcells);
  grid.CELLvalues.allocate(grid.NUMcells);
  for (int cell = 1; cell <= grid.NUMcells; ++cell) {
    grid.CELLvalues(cell) = grid.CELLS(cell).DEPTH;
    active(cell) = is_active(grid.CELLvalues(cell));
  }
  number_nodes(run, nodes, active);
  allocate_mesh_arrays(run);
  place_nodes(run);
  run.flow.datasets.ZLOC = 0;
  MAP_QUADTREE(run, grid.CELLvalues, run.flow.datasets.ZLOC, run.mesh.DEPTHnode);
  start_moving_bed(run);
  TRIANGULATE_CELLS(run);
}

}  // namespace dfl
