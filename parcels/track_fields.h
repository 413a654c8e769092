#pragma once

// Node and element values in the order in which tracking reads them.

#include "control/run_state.h"

namespace dfl {

struct TrackFields {};

}  // namespace dfl
