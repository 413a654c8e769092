#pragma once

#include <string>
#include <vector>

#include "control/run_state.h"

namespace dfl {

// A whole run: banner, inputs, time loop, closing. words: the command line without the program and
// without options.
void RUN_DRIVER(RunState& run, const std::vector<std::string>& words);

}  // namespace dfl
