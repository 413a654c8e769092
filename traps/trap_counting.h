#pragma once

// The test of every parcel against every trap, once a step.

#include "control/run_state.h"

namespace dfl {

// Tests all listed parcels at their places at the end of the step, counts and takes them out, and
// keeps the stays of a residence run. Returns the number of parcels taken out; adds those counted
// to NUMtrapsum.
int TRAP_REPORT(RunState& run);

// (X, Y) in the polygon of n vertices (vertex, 1 x, 2 y).
bool IN_POLYGON(double X, double Y, const Array2<double>& xy, int n);

}  // namespace dfl
