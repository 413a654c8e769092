#pragma once

// Lists of the elements that share a node with an element, and the file that keeps them.

#include "control/run_state.h"

namespace dfl {

// Fills NEIGHcount, NEIGHstart, NEIGHlist and NUMneigh of run.mesh from the neighbour file, or
// builds them and writes the file. Leaves the file open for MESH_BOUNDARIES.
void MESH_NEIGHBOURS(RunState& run);

}  // namespace dfl
