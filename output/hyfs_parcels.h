#pragma once

// The HYFS particle file: its creation. Its frames are written by output/parcel_output.h.

#include "control/run_state.h"

namespace dfl {

// prefix + "_particles.h5" with the particle group and the datasets that grow with the population.
void create_hyfs_parcels(RunState& run);

}  // namespace dfl
