#pragma once

// Heads of the map files, before any frame. Called by SETUP_OUTPUT when a map field is selected.

#include "control/run_state.h"

namespace dfl {

// The HYFS map file with its mesh and the datasets of the selected fields.
void create_hyfs_maps(RunState& run);
// The Tecplot map file with a first zone of the values before any flow is read.
void create_tecplot_maps(RunState& run);
// One EnSim file for each selected field, with the mesh as its first record.
void create_ensim_maps(RunState& run);

}  // namespace dfl
