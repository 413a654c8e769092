#include "mesh/find_element.h"

#include <algorithm>
#include <cmath>

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

bool holds(const ElementGrid::Triangle& t, double x, double y) {
  return IN_TRIANGLE(x, y, t.x1, t.y1, t.x2, t.y2, t.x3, t.y3) &&
         x >= std::min({t.x1, t.x2, t.x3}) && x <= std::max({t.x1, t.x2, t.x3}) &&
         y >= std::min({t.y1, t.y2, t.y3}) && y <= std::max({t.y1, t.y2, t.y3});
}

// The first of a list of candidates in the direction of the walk that holds the point, if it comes
// before `found` there.
void search(const ElementGrid& grid, const ElementGrid::Cell& list, bool up, double x, double y,
            const ElementGrid::Triangle*& found) {
  for (int k = 0; k < list.count; ++k) {
    const int entry = up ? list.first + k : list.first + list.count - 1 - k;
    const ElementGrid::Triangle& triangle =
        grid.triangles[static_cast<std::size_t>(grid.candidates[static_cast<std::size_t>(entry)])];
    if (found != nullptr && (triangle.rank < found->rank) != up) return;
    if (holds(triangle, x, y)) {
      found = &triangle;
      return;
    }
  }
}

}  // namespace

int FIND_ELEMENT(const MeshState& mesh, double x, double y) {
  if (mesh.NUMelem < 1) return 0;
  const ElementGrid& grid = mesh.grid;
  if (!grid.built) return walk(mesh, x, y);
  // Also false for a coordinate that is no number.
  if (!(x >= grid.x_min && x <= grid.x_max && y >= grid.y_min && y <= grid.y_max)) return 0;
  const bool up = walks_up(mesh, x);
  const ElementGrid::Triangle* found = nullptr;
  const ElementGrid::Lattice* lattice = grid.lattices.data();
  for (;;) {
    search(grid, lattice->wide, up, x, y, found);
    const ElementGrid::Cell& cell = lattice_cell(grid, *lattice, x, y);
    if (cell.count != ElementGrid::finer_lattice) {
      search(grid, cell, up, x, y, found);
      return found == nullptr ? 0 : found->element;
    }
    lattice = &grid.lattices[static_cast<std::size_t>(cell.first)];
  }
}

}  // namespace dfl
