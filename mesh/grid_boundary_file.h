#pragma once

// Boundaries of a mesh made from a grid, kept in a mesh file of the ADCIRC grid form
// (settings.bc_file):
//
//   record          items                                        repeats
//   title           DFL_BC 1                                     1
//   counts          NUMelem, NUMnode                             1
//   node            n, x, y, depth                               NUMnode
//   element         n, 3, a, b, c                                NUMelem
//   open            count; total of the nodes                    1
//   open boundary   count; then a node a line                    each
//   land            count; total of the nodes                    1
//   land boundary   count, 10; then a node a line                each

#include "control/run_state.h"
#include "mesh/grid_boundary_lines.h"

namespace dfl {

// Builds the boundary file unless there is one whose counts are those of the mesh.
void CHECK_BOUNDARY_FILE(RunState& run);

// Fills CSTRcells from the cellstring file. no_cellstrings: there are none, or they cannot be read.
void READ_CELLSTRINGS(RunState& run, bool& no_cellstrings);

// Finds the boundaries of the mesh, open along the cellstrings, and writes the file.
void BUILD_BOUNDARY_FILE(RunState& run, bool no_cellstrings);
void write_boundary_file(const RunState& run, const GridBoundaries& boundaries);

// Fills NUMopen, NUMland, OPENbnd and LANDbnd from the file.
void READ_GRID_BOUNDARIES(RunState& run);

}  // namespace dfl
