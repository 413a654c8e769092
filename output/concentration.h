#pragma once

// Parcel mass to concentrations at the nodes, run.output.CONCnode, in concentration_units. Parcels
// on the bed add nothing. An element whose depth at the middle is at or below 3 min_depth has
// concentration 0.

#include "control/run_state.h"

namespace dfl {

// Every parcel adds its mass to the element that holds it.
void CONC_PARCEL_COUNT(RunState& run);
// Every parcel is a cloud that has spread by the diffusivity gaussian_value for its age: 51 rings
// out to the radius at which it has fallen to 1/10000, in angle steps by concentration_method. What
// falls outside the mesh is given to what is inside.
void CONC_GAUSSIAN(RunState& run);

}  // namespace dfl
