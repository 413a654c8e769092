#pragma once

// Report files of the traps and their lines.

#include "control/run_state.h"

namespace dfl {

// Opens the report files of the run's mode, writes their heads and sets TRAPon.
void open_trap_reports(RunState& run);
// A parcel counted by trap j at DATEnow; a line trap writes the position, too.
void write_count_line(const RunState& run, int id, int j);
// A stay in trap j that began `entry` seconds after start_run and ends with the step.
void write_residence_line(const RunState& run, int id, int j, float entry);
// Rates and totals at the end of the run, with last_step_trap the concentrations of polygons.
void TRAP_SUMMARY(RunState& run);
void flush_trap_reports(const RunState& run);
void close_trap_reports(RunState& run);

}  // namespace dfl
