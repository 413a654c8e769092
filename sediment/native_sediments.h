#pragma once

// Grain sizes of the bed before any parcel arrives, in metres at every node. Files give sizes in
// millimetres; a negative D90 marks a hard bottom and is its roughness height.
//
// Form "adcirc", free format:
//
//   record     items                        repeats
//   title      any                          1
//   counts     NE, NP                       1; NE of 0 is not compared with the mesh
//   node       n, x, y, D35, D50, D90       NP, in any order
//
// Form "kfe":
//
//   title      any                          1
//   count      records                      1
//   node       n, D35, D50, D90             as counted; the last of a node counts; nodes without
//                                           one take the mean of the others, but not those of a
//                                           face on the bed of a "kfe" mesh, which need one
//
// Form "n2d", of a gridded mesh:
//
//   title      any                          1
//   cell       any, row, column, D35, D50,  cells; mapped to the nodes
//              D90
//
// Form "hyfs": the properties (with their count "Nodes") or the first step of the datasets of the
// three path settings, a value a node; form "hyfs_n2d" the same with a value a grid cell, mapped.

#include "control/run_state.h"

namespace dfl {

// Fills D35, D50, D90 and BEDmobile from settings.sediment_file or the uniform sizes.
void READ_NATIVE_SEDIMENTS(RunState& run);

}  // namespace dfl
