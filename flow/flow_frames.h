#pragma once

// The two flow frames that bracket the run time, and the node fields at Tnow.

#include "control/run_state.h"

namespace dfl {

// Allocates the flow arrays for NUMnode and NUMlayers and zeroes them. Needs FLOW2D, NUMlayers,
// IDEN and the method enums.
void allocate_flow_arrays(RunState& run);

void FLOW_START(RunState& run);    // reads the first frame; once, before the loop
void FLOW_ADVANCE(RunState& run);  // brings the frames to Tnow and sets FLOWfrac
void FLOW_BLEND(RunState& run);    // ETAnode, Hnode, Unode, Vnode, ... at Tnow

}  // namespace dfl
