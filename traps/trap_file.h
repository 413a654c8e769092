#pragma once

// Trap file, free format; what stands behind the items of a record is ignored:
//
//   record      items                                                repeats
//   count       line traps                                           1
//   name        number, name # comment                               a line trap
//   settings    side, low limit, high limit, opened, one count       a line trap
//   end         x, y                                                 2 a line trap
//   count       polygon traps                                        1
//   name        number, name # comment                               a polygon
//   settings    vertices, low limit, high limit, opened, one count   a polygon
//   vertex      number from 1, x, y                                  vertices
//
// Limits in m: heights above the bed, elevations with source_to_datum. opened, one count: 1 is yes.

#include "control/run_state.h"

namespace dfl {

// Reads settings.trap_file into run.traps, opens the report files and gives every parcel its trap
// states. Needs the population.
void READ_TRAPS(RunState& run);

}  // namespace dfl
