#include "mesh/find_element.h"

#include <algorithm>
#include <cmath>

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

}  // namespace

int FIND_ELEMENT(const MeshState& mesh, double x, double y) {
  if (mesh.NUMelem < 1) return 0;
  return walk(mesh, x, y);
}

void BUILD_ELEMENT_GRID(MeshState& mesh) {
  mesh.grid = ElementGrid{};
}

}  // namespace dfl
