#pragma once

// What opening and reading of flow datasets share.

#include <cstdint>

#include "control/run_state.h"

namespace dfl {

// Values of one "n3d" step: planes, one more than levels, of lattice nodes.
std::int64_t n3d_values(const RunState& run);
// Values of one "gr3d" step: levels of lattice cells.
std::int64_t gr3d_values(const RunState& run);

}  // namespace dfl
