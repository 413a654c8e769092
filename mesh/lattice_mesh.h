#pragma once

// Meshes of the 3-D flow models on a lattice of NumI by NumJ nodes, I fastest: node (i, j) is
// (j - 1) * NumI + i. Every cell between four nodes becomes two triangles.
//
//   "n3d"    dataset file with the grid settings.hyfs_n3d_path: origin, bearing, coordinates along
//            I, J and K (as many as nodes along I and J, and levels); below it the dataset
//            settings.hyfs_dep_path: one step of a plane more than levels, the first has the depths
//   "gr3d"   dataset file with properties at its root: NumI, NumJ, NumK (levels), the positions X
//            and Y and the depths Depth of the nodes
//
// Boundary file settings.bc_file, free format:
//
//   record          items                    repeats
//   title           any                      1
//   count           open boundaries          1
//   open boundary   points; then i, j each   as counted
//   count           land boundaries          1
//   ignored         an integer               1 if there are land boundaries, else none
//   land boundary   points; then i, j each   as counted

#include "control/run_state.h"

namespace dfl {

// Read settings.mesh_file and settings.bc_file into run.mesh and run.grid and the levels into
// run.flow, then build geometry, neighbours and boundary lists. With bc_file "none", "gr3d" only,
// the rim of the lattice is one open boundary.
void READ_N3D_MESH(RunState& run);
void READ_GR3D_MESH(RunState& run);

}  // namespace dfl
