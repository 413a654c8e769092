#pragma once

// Depth-averaged advection and diffusion of suspended sediment on a lattice of nodes, with exchange
// with the bed and bed load: the rate of bed change of eulerian_sed_trans "a-d".

#include "control/run_state.h"

namespace dfl {

// Columns and rows of the lattice that the nodes form, node (j - 1) columns + i at column i, row j;
// below 3: no lattice. Those of an "n3d" or "gr3d" mesh, or with `special` those known by the
// numbers of nodes and elements.
struct NodeLattice {
  int columns = 0, rows = 0;
};
NodeLattice node_lattice(const RunState& run);

// One pass of dt seconds. rho (kg/m3), nu (m2/s) and breaking (dissipation by breaking waves,
// negative where waves break) have NUMnode entries. Fills DZDT and both levels of SSCnode: 1 the
// concentration, m3 of grains a m3 of water; 2 the total load, m2/s. A lattice whose neighbours do
// not differ in x and y is a fatal message. At a map step four files of the terms are written.
void EULERIAN_AD(RunState& run, float dt, const Array<float>& rho, const Array<float>& nu,
                 const Array<float>& breaking);

}  // namespace dfl
