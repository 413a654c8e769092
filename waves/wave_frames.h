#pragma once

// Wave frames in time and their way to the nodes.

#include "control/run_state.h"

namespace dfl {

void WAVES_START(RunState& run);     // reads the first frames; once, before the loop
void WAVES_ADVANCE(RunState& run);   // brings the frames to Tnow and sets WAVEfraction
void WAVES_TO_NODES(RunState& run);  // WAVEheight, WAVEperiod, ... at Tnow

}  // namespace dfl
