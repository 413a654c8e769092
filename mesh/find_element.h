#pragma once

// Location of a point in the mesh.

#include <span>

#include "mesh/mesh_state.h"

namespace dfl {

// The element that holds (x, y), 0 if none. Among elements that share the point: the first in the
// walk of all elements by ascending XMINelem, or descending if the point is nearer the left end of
// the mesh as elements 1 and NUMelem tell it. Constant time on average by the search grid of the
// mesh.
int FIND_ELEMENT(const MeshState& mesh, double x, double y);

struct PlanePoint {
  double x = 0.0, y = 0.0;  // mesh units
};

// FIND_ELEMENT of each place, in order; elements has as many entries as places. Faster than one
// call a place where the mesh is larger than the cache: the grid cells of places ahead are fetched
// while those in hand are searched.
void FIND_ELEMENTS(const MeshState& mesh, std::span<const PlanePoint> places,
                   std::span<int> elements);

// Builds mesh.grid; needs the bounding boxes and SORTxmin.
void BUILD_ELEMENT_GRID(MeshState& mesh);

}  // namespace dfl
