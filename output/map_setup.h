#pragma once

// Heads of the map files, before any frame. Called by SETUP_OUTPUT when a map field is selected.

#include <string>
#include <string_view>
#include <vector>

#include "control/run_state.h"

namespace dfl {

// The HYFS map file with its mesh and the datasets of the selected fields.
void create_hyfs_maps(RunState& run);
// The Tecplot map file with a first zone of the values before any flow is read.
void create_tecplot_maps(RunState& run);
// One EnSim file for each selected field, with the mesh as its first record.
void create_ensim_maps(RunState& run);

// Head of an EnSim file of node values, with its author and the name behind the prefix, and the
// mesh as a record: x and y of the nodes in 4-byte floats, then the elements' first, second and
// third nodes, all 4 bytes wide.
std::string ensim_map_head(const RunState& run, std::string_view suffix, std::string_view author,
                           std::string_view name);
std::vector<char> ensim_geometry(const MeshState& mesh);

}  // namespace dfl
