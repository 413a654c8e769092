#pragma once

// Mesh of the finite-element flow model KFE: a mesh file and a file of face codes.
//
//   record     items                                     repeats
//   head       any                                       1
//   element    E4T n a b c d m                           NE lines; the triangle a, b, c; d: fourth
//                                                        node, 0 for none; m is ignored
//   node       ND n x y z                                NP lines; z: depth, m, positive down
//
// NE and NP are the numbers of lines that open with E4T and ND. The lines are then taken by their
// place, elements first: nothing may stand between them.
//
//   head       any                                       1
//   faces      n, four 2-byte integers                   NE; codes of the faces (a, b, c),
//                                                        (a, b, d), (b, c, d), (a, c, d); 0: not
//                                                        on the bed

#include "control/run_state.h"

namespace dfl {

// Reads settings.mesh_file and settings.bc_file into run.mesh and run.grid, then builds geometry,
// neighbours and (empty) boundary lists.
void READ_KFE_MESH(RunState& run);

}  // namespace dfl
