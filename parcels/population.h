#pragma once

// The parcel population: its arrays, lists and counters.

#include "control/run_state.h"

namespace dfl {

// Floats that each parcel keeps in VECstore: 3 with flow_output, plus 2 with residence_calc.
int vec_length(const Settings& settings);
// Allocates all arrays for NUMparcels; run.traps.NUMtraps need not be known yet.
void allocate_population(RunState& run);
void PARCEL_INIT(RunState& run);
// Rebuilds ALIVElist; sets clock.STOPrun when nothing is left to track or release.
void BUILD_ALIVE_LIST(RunState& run);
// Extends DEADlist and counts NUMdormant after tracking.
void SCAN_PARCELS(RunState& run);

}  // namespace dfl
