#pragma once

// Location of a point in the mesh.

#include "mesh/mesh_state.h"

namespace dfl {

// The element that holds (x, y), 0 if none. Among elements that share the point: the first in the
// walk of all elements by ascending XMINelem, or descending if the point is nearer the left end of
// the mesh as elements 1 and NUMelem tell it. Constant time on average by the search grid of the
// mesh.
int FIND_ELEMENT(const MeshState& mesh, double x, double y);

// FIND_ELEMENT for each of `count` points: `elements` takes the same numbers. Faster than one after
// the other where the search grid is larger than the cache.
void find_elements(const MeshState& mesh, const double* x, const double* y, int count,
                   int* elements);

// Builds mesh.grid; needs the bounding boxes and SORTxmin.
void BUILD_ELEMENT_GRID(MeshState& mesh);

}  // namespace dfl
