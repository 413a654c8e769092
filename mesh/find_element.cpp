#include "mesh/find_element.h"

#include <algorithm>
#include <array>
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

// The cell of the mesh-wide lattice that a point is looked up in; nullptr outside the mesh.
const ElementGrid::Cell* first_cell(const ElementGrid& grid, double x, double y) {
  if (!(x >= grid.x_min && x <= grid.x_max && y >= grid.y_min && y <= grid.y_max)) return nullptr;
  const ElementGrid::Lattice& lattice = grid.lattices.front();
  return &grid.cells[cell_number(lattice, lattice_column(lattice, x).index,
                                 lattice_row(lattice, y).index)];
}

// Inlined by order: gcc 12 takes a function that only prefetches for one that does nothing.
[[gnu::always_inline]] inline void prefetch_cell(const ElementGrid::Cell* cell) {
  if (cell == nullptr) return;
  const char* bytes = reinterpret_cast<const char*>(cell);
  constexpr std::size_t cache_line = 64;
  for (std::size_t at = 0; at < sizeof *cell; at += cache_line) __builtin_prefetch(bytes + at);
}

// Prefetches the cells of the finer lattices at a point, from its cell of the mesh-wide one.
[[gnu::always_inline]] inline void prefetch_finer_cells(const ElementGrid& grid,
                                                        const ElementGrid::Cell* cell, double x,
                                                        double y) {
  while (cell != nullptr && cell->element[0] < 0) {
    const ElementGrid::List& list = grid.others[static_cast<std::size_t>(-1 - cell->element[0])];
    if (list.count != ElementGrid::finer_lattice) return;
    const ElementGrid::Lattice& lattice = grid.lattices[static_cast<std::size_t>(list.first)];
    const int column = lattice_column(lattice, x).index, row = lattice_row(lattice, y).index;
    cell = &grid.cells[cell_number(lattice, column, row)];
    prefetch_cell(cell);
  }
}

}  // namespace

int FIND_ELEMENT(const MeshState& mesh, double x, double y) {
  const ElementGrid& grid = mesh.grid;
  if (!grid.built) return mesh.NUMelem < 1 ? 0 : walk(mesh, x, y);
  // Also false for a coordinate that is no number.
  if (!(x >= grid.x_min && x <= grid.x_max && y >= grid.y_min && y <= grid.y_max)) return 0;
  const ElementGrid::Lattice& lattice = grid.lattices.front();
  const LatticePlace column = lattice_column(lattice, x), row = lattice_row(lattice, y);
  const ElementGrid::Cell& cell = grid.cells[cell_number(lattice, column.index, row.index)];
  if (cell.element[0] < 0 || lattice.wide.count > 0) return search_lattices(mesh, x, y);
  return search_cell(mesh, cell, column.in_cell, row.in_cell, x, y);
}

void find_elements(const MeshState& mesh, const double* x, const double* y, int count,
                   int* elements) {
  const ElementGrid& grid = mesh.grid;
  constexpr std::size_t small_grid = 8192;  // cells; 1 MB stays in the cache by itself
  const bool prefetch = grid.built && grid.cells.size() > small_grid;
  if (!prefetch) {
    for (int i = 0; i < count; ++i) elements[i] = FIND_ELEMENT(mesh, x[i], y[i]);
    return;
  }
  // While the points of a block are looked up, the cells of the next block are on their way. The
  // cells of finer lattices are asked for all at once: the places of these lattices have to be read
  // for it, and reads of a short loop do not wait for each other.
  constexpr int block = 64;
  std::array<const ElementGrid::Cell*, block> cells;
  const auto fetch = [&](int i) {
    const ElementGrid::Cell* cell = first_cell(grid, x[i], y[i]);
    cells[static_cast<std::size_t>(i % block)] = cell;
    prefetch_cell(cell);
  };
  for (int i = 0; i < std::min(count, block); ++i) fetch(i);
  for (int first = 0; first < count; first += block) {
    const int end = std::min(count, first + block);
    for (int i = first; i < end; ++i) {
      prefetch_finer_cells(grid, cells[static_cast<std::size_t>(i % block)], x[i], y[i]);
    }
    for (int i = first; i < end; ++i) {
      elements[i] = FIND_ELEMENT(mesh, x[i], y[i]);
      if (i + block < count) fetch(i + block);
    }
  }
}

}  // namespace dfl
