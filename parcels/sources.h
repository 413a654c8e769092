#pragma once

// The source file: where, when and how much material enters the water.

#include "control/run_state.h"

namespace dfl {

// Reads settings.source_file, checks it, counts the parcels of the run in advance, draws their
// grain sizes and allocates the population.
void SOURCE_SETUP(RunState& run);

// Grain sizes of n parcels into table(offset + 1 ...), m. D50 in m, sigma in phi units.
void GRAIN_SIZES(RandomStream& random, bool debug, int n, int offset, float density, float D50,
                 float sigma, bool by_weight, Array<float>& table);

// Row j of a continuous source at time Tnow: fraction of the interval at the middle of the step,
// rate, and length of the release. False if the row is not active.
struct RowMoment {
  float f = 0.0f;
  float Q = 0.0f;        // in the unit of ROWrate
  float length = 0.0f;   // s
};
bool row_moment(const SourceRecord& source, int j, double Tnow, double time_step,
                RowMoment& moment);

}  // namespace dfl
