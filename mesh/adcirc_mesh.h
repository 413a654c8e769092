#pragma once

// Mesh file in the ADCIRC grid form, free format:
//
//   record          items                        repeats
//   title           any                          1
//   counts          NE, NP                       1
//   node            n, x, y, depth (down, m)     NP
//   element         n, count, a, b, c            NE, counter-clockwise
//   NOPE            open boundaries              1
//   NETA            ignored                      1
//   open boundary   NVDLL; then a node a line    NOPE
//   NBOU            land boundaries              1
//   NVEL            ignored                      1
//   land boundary   NVELL, type; a node a line   NBOU; types 4, 24, 5, 25: front node, back node

#include "control/run_state.h"

namespace dfl {

// Reads settings.mesh_file into run.mesh, then builds geometry, neighbours and boundaries.
void READ_ADCIRC_MESH(RunState& run);

// Allocates all that is sized by NUMnode and NUMelem: node and element arrays of the mesh, and with
// their start values the wave, bed and moving-bed arrays. NUMnode and NUMelem must be set.
void allocate_mesh_arrays(RunState& run);

// The block of the log with the counts of the mesh, for meshes that are read as they are.
void echo_mesh_counts(const RunState& run);
// What every mesh reader does: the depths as the start of a moving bed, where the run keeps one.
void start_moving_bed(RunState& run);

}  // namespace dfl
