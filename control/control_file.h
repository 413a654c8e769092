#pragma once

// The program control file: cards to settings.

#include "control/run_state.h"

namespace dfl {

// Reads clock.CONTROLfile into run.settings, validates and derives, and writes the input echo.
// A fault ends the run.
void READ_CONTROL_FILE(RunState& run);

// Sets settings.method from the stored words; for tests and tools that fill settings by hand.
void set_methods(Settings& settings);

}  // namespace dfl
