#pragma once

// Cells of the search grid.

#include "mesh/mesh_state.h"

namespace dfl {

// A coordinate in a lattice: column or row from 0, and the place from the middle of the cell in
// cells. What lies outside the lattice counts to its first or last column.
struct LatticePlace {
  int index;
  double from_middle;
};

// The index never falls as the coordinate grows, whatever the rounding: a box that holds a point
// meets the point's cell.
inline LatticePlace lattice_place(double value, double origin, double per_unit, int count) {
  const double t = (value - origin) * per_unit;
  int index = 0;
  if (t >= 1.0) index = t >= count ? count - 1 : static_cast<int>(t);
  return {index, t - index - 0.5};
}

inline LatticePlace lattice_column(const ElementGrid::Lattice& lattice, double x) {
  return lattice_place(x, lattice.x_origin, lattice.columns_per_unit, lattice.columns);
}

inline LatticePlace lattice_row(const ElementGrid::Lattice& lattice, double y) {
  return lattice_place(y, lattice.y_origin, lattice.rows_per_unit, lattice.rows);
}

inline std::size_t cell_number(const ElementGrid::Lattice& lattice, int column, int row) {
  return static_cast<std::size_t>(lattice.first_cell) +
         static_cast<std::size_t>(row) * static_cast<std::size_t>(lattice.columns) +
         static_cast<std::size_t>(column);
}

// A place from the middle of a cell in whole units, some more than half a unit off at most.
inline double rounded_units(double from_middle, double units) {
  constexpr double above = 1 << 20;  // keeps the truncated number positive
  return static_cast<int>(from_middle * units + (above + 0.5)) - above;
}

}  // namespace dfl
