#pragma once

// What opening and reading of flow datasets share.

#include <cstdint>
#include <string>

#include "control/run_state.h"

namespace dfl {

// A status below 0 is fatal: `text`, behind a line that says where and why.
void check_flow_status(const RunState& run, int status, const std::string& place,
                       const std::string& text);

// Values of one "n3d" step: planes, one more than levels, of lattice nodes.
std::int64_t n3d_values(const RunState& run);
// Values of one "gr3d" step: levels of lattice cells.
std::int64_t gr3d_values(const RunState& run);

}  // namespace dfl
