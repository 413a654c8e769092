#pragma once

// What the wave inputs say of grids, frames and files.
//
//   "swan"     a SWAN command file; then height, period, direction (and breaking) files, one a line
//              behind the card wave_files. On a mesh: "swan.14" in the working folder
//   "oswell"   a simulation and a depth file, or the grid cards; then the frame files
//   "lagoon"   grid files with a header: height, direction as two components (and breaking)
//   "hyfs"     a HYFS file with the properties NX, NY, Del, Angle, X_org, Y_org

#include "control/run_state.h"

namespace dfl {

// Opens the wave inputs of the settings into run.waves and allocates the frames. Needs the mesh.
void OPEN_WAVES(RunState& run);

}  // namespace dfl
