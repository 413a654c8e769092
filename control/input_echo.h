#pragma once

#include "control/run_state.h"

namespace dfl {

// Opens prefix + ".input" as messages.echo_file and writes what the run was asked to do.
void WRITE_INPUT_ECHO(RunState& run);

}  // namespace dfl
