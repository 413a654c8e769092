#pragma once

// A coastal mesh for timing: fine at an inlet in its middle, coarse offshore, with the grading of a
// real one (element sides from a quarter to four times the mean).

#include <cmath>

#include "bench/gyre_mesh.h"

namespace dfl::bench {

// A coordinate from 0 to `extent`, drawn toward the middle.
inline double drawn_in(double value, double extent) {
  constexpr double pull = 3.0;
  const double t = 2.0 * value / extent - 1.0;
  return 0.5 * extent * (1.0 + std::sinh(pull * t) / std::sinh(pull));
}

// About `elements` elements over the basin of the gyre mesh.
inline GyreMesh inlet_mesh(int elements) {
  GyreMesh mesh = gyre_mesh(elements);
  for (double& x : mesh.x) x = drawn_in(x, basin_length);
  for (double& y : mesh.y) y = drawn_in(y, basin_width);
  return mesh;
}

}  // namespace dfl::bench
