#pragma once

// The file that keeps the neighbour lists and the boundary lists of a mesh. All numbers 4-byte
// integers, each record framed by its length:
//
//   record                                                          repeats
//   NUMnode, NUMelem, version (7 characters)                        1
//   NUMneigh                                                        1
//   e, NEIGHcount(e); then a record for each neighbour              NUMelem
//   e, LANDelem(e)                                                  NUMelem
//   e, OPENelem(e)                                                  NUMelem
//   e, 3 times: LANDrefs BND, SEG, OPENrefs BND, SEG                NUMelem
//
// The first record is written last, so that a file that was not finished is built anew.

#include "control/run_state.h"

namespace dfl {

// Opens settings.neighbor_file and reads the neighbour lists. False: there is no good file, the
// lists have to be built; the file is then open and empty, or not open if none is named.
bool read_neighbour_lists(RunState& run);
void write_neighbour_lists(RunState& run);

// The flags of one kind of boundary, and the references to both kinds.
void read_boundary_flags(RunState& run, Array<Logical>& flags);
void read_boundary_references(RunState& run);
void write_boundary_flags(RunState& run, const Array<Logical>& flags);
void write_boundary_references(RunState& run);

// Completes a new file; closes it.
void close_neighbour_file(RunState& run);

}  // namespace dfl
