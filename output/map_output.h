#pragma once

// Frames of map output. The files and their heads come from output/map_setup.h.

#include "control/run_state.h"

namespace dfl {

// One step of every selected field into prefix + "_maps.h5"; time in s after start_run, that of the
// start of the step.
void WRITE_HYFS_MAPS(RunState& run);
// One zone into prefix + "_maps.plt"; coordinates and elements are shared from the first zone.
void WRITE_TECPLOT_MAPS(RunState& run);
// One record into the file of each field.
void WRITE_ENSIM_MAPS(RunState& run);

}  // namespace dfl
