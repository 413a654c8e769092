#pragma once

// Names and heads of all output files.

#include "control/run_state.h"

namespace dfl {

// Creates every output file that the settings ask for and writes its head.
void SETUP_OUTPUT(RunState& run);

}  // namespace dfl
