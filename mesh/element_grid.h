#pragma once

// Cells of the search grid.

#include "mesh/mesh_state.h"

namespace dfl {

// Column or row of a coordinate, from 0; what lies outside counts to the first or last. Never falls
// as the coordinate grows, whatever the rounding: a box that holds a point meets the point's cell.
inline int lattice_index(double value, double origin, double per_unit, int count) {
  const double t = (value - origin) * per_unit;
  if (!(t >= 1.0)) return 0;
  return t >= count ? count - 1 : static_cast<int>(t);
}

inline int lattice_column(const ElementGrid::Lattice& lattice, double x) {
  return lattice_index(x, lattice.x_origin, lattice.columns_per_unit, lattice.columns);
}

inline int lattice_row(const ElementGrid::Lattice& lattice, double y) {
  return lattice_index(y, lattice.y_origin, lattice.rows_per_unit, lattice.rows);
}

inline const ElementGrid::Cell& lattice_cell(const ElementGrid& grid,
                                             const ElementGrid::Lattice& lattice, double x,
                                             double y) {
  const std::size_t in_lattice = static_cast<std::size_t>(lattice_row(lattice, y)) *
                                     static_cast<std::size_t>(lattice.columns) +
                                 static_cast<std::size_t>(lattice_column(lattice, x));
  return grid.cells[static_cast<std::size_t>(lattice.first_cell) + in_lattice];
}

}  // namespace dfl
