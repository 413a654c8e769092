#pragma once

// Which elements touch which boundaries.

#include "control/run_state.h"

namespace dfl {

// Fills LANDelem, OPENelem, LANDrefs and OPENrefs of run.mesh from the neighbour file, or builds
// them and adds them to it; closes the file.
void MESH_BOUNDARIES(RunState& run);

// Sets NUMpts of a boundary from its NODES, and SLOPE and ICEPT of its segments.
void set_boundary_lines(const MeshState& mesh, Boundary& boundary);

}  // namespace dfl
