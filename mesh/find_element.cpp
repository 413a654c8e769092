#include "mesh/find_element.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>

#include "mesh/element_grid.h"
#include "mesh/geometry.h"

namespace dfl {

namespace {

// True if the walk goes by ascending SORTxmin. The ends of the mesh are those that elements 1 and
// NUMelem tell, not its extremes; this decides which of several elements on a shared edge is found.
bool walks_up(const MeshState& mesh, double x) {
  const double right = std::max(mesh.XMAXelem(1), mesh.XMAXelem(mesh.NUMelem));
  const double left = std::min(mesh.XMINelem(1), mesh.XMINelem(mesh.NUMelem));
  const float dR = static_cast<float>(std::abs(right - x));
  const float dL = static_cast<float>(std::abs(left - x));
  return dR >= dL;
}

bool holds(const MeshState& mesh, int e, double x, double y) {
  return x >= mesh.XMINelem(e) && x <= mesh.XMAXelem(e) && y >= mesh.YMINelem(e) &&
         y <= mesh.YMAXelem(e) && in_element(mesh, e, x, y);
}

int walk(const MeshState& mesh, double x, double y) {
  const bool up = walks_up(mesh, x);
  for (int i = 1; i <= mesh.NUMelem; ++i) {
    const int e = mesh.SORTxmin(up ? i : mesh.NUMelem + 1 - i);
    if (holds(mesh, e, x, y)) return e;
  }
  return 0;
}

// The first of a list of elements in the direction of the walk that holds the point.
int search_list(const MeshState& mesh, const int* elements, int count, bool up, double x,
                double y) {
  for (int k = 0; k < count; ++k) {
    const int e = elements[up ? k : count - 1 - k];
    if (holds(mesh, e, x, y)) return e;
  }
  return 0;
}

int search_list(const MeshState& mesh, const ElementGrid::List& list, bool up, double x, double y) {
  return search_list(mesh, mesh.grid.candidates.data() + list.first, list.count, up, x, y);
}

// Of two elements that hold the point, either of them 0, the one that comes first in the walk.
int earlier(const ElementGrid& grid, int a, int b, bool up) {
  if (a == 0 || b == 0) return a + b;
  const bool a_first =
      grid.place[static_cast<std::size_t>(a)] < grid.place[static_cast<std::size_t>(b)];
  return a_first == up ? a : b;
}

// The exact test of the elements of a cell, for points close to an edge and for elements over each
// other.
[[gnu::noinline]] int search_closely(const MeshState& mesh, const ElementGrid::Cell& cell, double x,
                                     double y) {
  const auto end = std::find(cell.element.begin(), cell.element.end(), 0);
  return search_list(mesh, cell.element.data(), static_cast<int>(end - cell.element.begin()),
                     walks_up(mesh, x), x, y);
}

int search_cell(const MeshState& mesh, const ElementGrid::Cell& cell, double x_in_cell,
                double y_in_cell, double x, double y) {
  const unsigned bits = cell_lines::slot_bits(cell, cell_lines::whole_units(x_in_cell),
                                              cell_lines::whole_units(y_in_cell));
  const unsigned found = bits & 0xffu;
  const bool several = (found & (found - 1)) != 0;
  if (found != bits >> ElementGrid::slots || several) return search_closely(mesh, cell, x, y);
  if (found == 0) return 0;
  return cell.element[static_cast<std::size_t>(std::countr_zero(found))];
}

// The search where the lattice has wide elements or the cell is no plain one.
[[gnu::noinline]] int search_lattices(const MeshState& mesh, double x, double y) {
  const ElementGrid& grid = mesh.grid;
  const bool up = walks_up(mesh, x);
  int wide = 0;
  const ElementGrid::Lattice* lattice = grid.lattices.data();
  for (;;) {
    if (lattice->wide.count > 0) {
      wide = earlier(grid, wide, search_list(mesh, lattice->wide, up, x, y), up);
    }
    const LatticePlace column = lattice_column(*lattice, x), row = lattice_row(*lattice, y);
    const ElementGrid::Cell& cell = grid.cells[cell_number(*lattice, column.index, row.index)];
    if (cell.element[0] >= 0) {
      const int e = search_cell(mesh, cell, column.in_cell, row.in_cell, x, y);
      return wide == 0 ? e : earlier(grid, wide, e, up);
    }
    const ElementGrid::List& list = grid.others[static_cast<std::size_t>(-1 - cell.element[0])];
    if (list.count != ElementGrid::finer_lattice) {
      return earlier(grid, wide, search_list(mesh, list, up, x, y), up);
    }
    lattice = &grid.lattices[static_cast<std::size_t>(list.first)];
  }
}

// Asks for the cell of a place in the first lattice; any place will do, no number included.
// Inline, as g++ takes a call that only asks for memory for one without effect and drops it.
[[gnu::always_inline]] inline void fetch_cell(const ElementGrid& grid, const PlanePoint& place) {
  const ElementGrid::Lattice& lattice = grid.lattices.front();
  const LatticePlace column = lattice_column(lattice, place.x), row = lattice_row(lattice, place.y);
  const char* cell =
      reinterpret_cast<const char*>(&grid.cells[cell_number(lattice, column.index, row.index)]);
  __builtin_prefetch(cell);
  __builtin_prefetch(cell + sizeof(ElementGrid::Cell) / 2);
}

int find(const MeshState& mesh, double x, double y) {
  const ElementGrid& grid = mesh.grid;
  // Also false for a coordinate that is no number.
  if (!(x >= grid.x_min && x <= grid.x_max && y >= grid.y_min && y <= grid.y_max)) return 0;
  const ElementGrid::Lattice& lattice = grid.lattices.front();
  const LatticePlace column = lattice_column(lattice, x), row = lattice_row(lattice, y);
  const ElementGrid::Cell& cell = grid.cells[cell_number(lattice, column.index, row.index)];
  if (cell.element[0] < 0 || lattice.wide.count > 0) return search_lattices(mesh, x, y);
  return search_cell(mesh, cell, column.in_cell, row.in_cell, x, y);
}

}  // namespace

int FIND_ELEMENT(const MeshState& mesh, double x, double y) {
  if (!mesh.grid.built) return mesh.NUMelem < 1 ? 0 : walk(mesh, x, y);
  return find(mesh, x, y);
}

void FIND_ELEMENTS(const MeshState& mesh, std::span<const PlanePoint> places,
                   std::span<int> elements) {
  if (!mesh.grid.built) {
    for (std::size_t k = 0; k < places.size(); ++k) {
      elements[k] = FIND_ELEMENT(mesh, places[k].x, places[k].y);
    }
    return;
  }
  constexpr std::size_t ahead = 20;  // places, with two requests each
  const std::size_t first = std::min(ahead, places.size());
  for (std::size_t k = 0; k < first; ++k) fetch_cell(mesh.grid, places[k]);
  for (std::size_t k = 0; k < places.size(); ++k) {
    if (k + ahead < places.size()) fetch_cell(mesh.grid, places[k + ahead]);
    elements[k] = find(mesh, places[k].x, places[k].y);
  }
}

}  // namespace dfl
