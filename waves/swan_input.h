#pragma once

// The few commands of a SWAN command file that say what its output files hold.

#include "control/run_state.h"

namespace dfl {

// Reads settings.wave_sim_file into run.waves: form, parent grid, layout, frame count and times.
void READ_SWAN_INPUT(RunState& run);
// Reads "swan.14" of the working folder and places every node of the mesh in it.
void READ_SWAN_MESH(RunState& run);

}  // namespace dfl
