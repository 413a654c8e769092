#pragma once

// The triangular mesh of a gridded flow model: two triangles for each active cell.

#include <string>

#include "control/run_state.h"

namespace dfl {

// Reads the card file settings.mesh_file and the grid that it names into run.grid, builds the mesh
// of it, and the boundaries and lists of the mesh.
void READ_GRID_MESH(RunState& run);

// The two kinds of grid: everything up to the elements. The card file has been read.
void read_structured_grid(RunState& run);
void read_telescoping_grid(RunState& run);

enum class Side { N, E, S, W };
// Whether side a of cell A lies on one line with side b of cell B, to a hundredth of a cell.
bool SIDES_MATCH(const Cell& A, Side a, const Cell& B, Side b);

// ELnode1 to ELnode3 and ELcell from CELLnodes. active: a flag for each cell, by cell number.
void TRIANGULATE_GRID(RunState& run, int NumI, int NumJ, const Array<char>& active);
void TRIANGULATE_CELLS(RunState& run);

// Whether a text file of the grid can be opened. False for folders, and for pipes, which would be
// waited for.
bool can_be_read(const std::string& path);

// What both kinds share. Corners in the order of CELLnodes.
constexpr int most_cells = 1 << 29;  // four corners of each stay 4-byte integers
inline bool is_active(float depth) {
  return depth > -999.0f;
}
// Numbers the nodes anew, in the order in which the active cells use them first; a node that they
// do not use becomes 0. Sets NUMnode, and NUMelem to twice the number of active cells.
void number_nodes(RunState& run, int nodes, const Array<char>& active);

}  // namespace dfl
