#pragma once

#include "control/run_state.h"

namespace dfl {

// Stops the run with a message if the settings ask for something that this version cannot do.
// Words that no version knows pass; the opening of the inputs refuses them.
void refuse_unavailable(const RunState& run);

}  // namespace dfl
