#pragma once

// One value per cell of a gridded model to one value per node of the mesh, by inverse-distance
// weighting over the cells around the node, four at most. Cells of -999.0 or less are dry and do
// not count; a node without any other gets -999.0.
//
// location: where in the cell the values stand
//   0   centre
//   3   middle of the lower face along I
//   4   middle of the lower face along J

#include "control/run_state.h"

namespace dfl {

// Structured grids. cell_values: NUMcells values; node_values is allocated for NUMnode.
void MAP_GRID(RunState& run, const Array<float>& cell_values, int location,
              Array<float>& node_values);
// Telescoping grids.
void MAP_QUADTREE(RunState& run, const Array<float>& cell_values, int location,
                  Array<float>& node_values);

}  // namespace dfl
