#pragma once

// The mesh in Tecplot text.

#include "control/run_state.h"
#include "output/output_file.h"

namespace dfl {

// prefix + "_mesh.plt": nodes with depth and native grain sizes, and elements.
void write_mesh_file(const RunState& run);
// One line an element: its three node numbers.
void write_element_table(const RunState& run, const OutputFile& output);

}  // namespace dfl
