#pragma once

// Fields between nodes and elements, bed slopes, and the moving bed.

#include "control/run_state.h"

namespace dfl {

// Area-weighted average of element values at the nodes; 0 at a node of no element.
void NODE_AVERAGE(const MeshState& mesh, const Array<float>& element_values,
                  Array<float>& node_values);
// Nodal bed slopes from DEPTHnode, positive where the bed rises toward +x, +y.
void BED_SLOPES(RunState& run);
// One smoothing pass on DZDT.
void SMOOTH_DZDT(RunState& run);
// Moves the bed by one step.
void MORPHOLOGY_STEP(RunState& run);

}  // namespace dfl
