#pragma once

// Parcel output of a step and its closing products.

#include "control/run_state.h"

namespace dfl {

void WRITE_HYFS_PARCELS(RunState& run);
void FINISH_HYFS_PARCELS(RunState& run);
void WRITE_TECPLOT_PARCELS(RunState& run);
void WRITE_ENSIM_PARCELS(RunState& run);
void WRITE_PATHS(RunState& run);
void WRITE_POPULATION_ROW(RunState& run);

// prefix + "_balance.txt": what became of the parcels and the material, by source and cause, and
// the seed of the run. Warns on the console when losses other than through open boundaries exceed
// 0.1 %.
void WRITE_BALANCE(RunState& run);

}  // namespace dfl
