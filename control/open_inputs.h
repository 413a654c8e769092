#pragma once

#include "control/run_state.h"

namespace dfl {

// Opens mesh, sediments, flow and waves by their format words.
void OPEN_INPUTS(RunState& run);

}  // namespace dfl
