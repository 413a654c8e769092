#pragma once

// Grain sizes of the bed before any parcel arrives, in metres at every node.

#include "control/run_state.h"

namespace dfl {

// Fills D35, D50, D90 and BEDmobile from settings.sediment_file or the uniform sizes.
void READ_NATIVE_SEDIMENTS(RunState& run);

}  // namespace dfl
