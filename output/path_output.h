#pragma once

// The path file: the frames of the Tecplot parcel file turned into one track a parcel.

#include <cstddef>

#include "control/run_state.h"

namespace dfl {

// WRITE_PATHS with the memory that one block of parcels may take. The parcel file is read once to
// scan it and then block after block; the result does not depend on the size of a block.
void write_paths(RunState& run, std::size_t block_bytes);

}  // namespace dfl
