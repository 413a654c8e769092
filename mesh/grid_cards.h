#pragma once

// Card file of the gridded flow model: a card a line, a word and the rest; other words are passed.
//
//   params_file          file: the cellstring file
//   telescoping          file: the grid is a telescoping one
//   grid_file            file: the structured grid
//   bathymetry_dataset   "file" "path": path of the depths; its first part is the grid
//   cellstring, tidal_cellstring, hdriver_cellstring, qdriver_cellstring,
//   multi_hdriver_cellstring, multi_qdriver_cellstring
//                        file path: the cellstring file and a path in it
//   end_parameters       ends the file

#include "control/run_state.h"

namespace dfl {

// Reads settings.mesh_file. Sets rvs_mesh, rvs_quadtree, mesh_file (from then on the grid), the
// two dataset paths of the settings, and cellstring_file and CELLstrings of the grid.
void READ_RVCARDS(RunState& run);

}  // namespace dfl
