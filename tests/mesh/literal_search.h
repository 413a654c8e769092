#pragma once

// The exhaustive search for an element, visiting every element of the sorted order. The search grid
// must give the same element.

#include <algorithm>
#include <cmath>

#include "mesh/geometry.h"

namespace dfl::test {

inline int literal_find_element(const MeshState& mesh, double x, double y) {
  const double right = std::max(mesh.XMAXelem(1), mesh.XMAXelem(mesh.NUMelem));
  const double left = std::min(mesh.XMINelem(1), mesh.XMINelem(mesh.NUMelem));
  const float dR = static_cast<float>(std::abs(right - x));
  const float dL = static_cast<float>(std::abs(left - x));
  for (int i = 1; i <= mesh.NUMelem; ++i) {
    const int e = mesh.SORTxmin(dR >= dL ? i : mesh.NUMelem - i + 1);
    if (x >= mesh.XMINelem(e) && x <= mesh.XMAXelem(e) && y >= mesh.YMINelem(e) &&
        y <= mesh.YMAXelem(e) && in_element(mesh, e, x, y)) {
      return e;
    }
  }
  return 0;
}

}  // namespace dfl::test
