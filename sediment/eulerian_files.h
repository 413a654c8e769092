#pragma once

// EnSim files of the terms of EULERIAN_AD: output_prefix + "~ssc.t3s", "~pick-up.t3s", "~depo.t3s"
// and "~qbs.t3s", one frame a map step.

#include "control/run_state.h"

namespace dfl {

enum class EulerianField { ssc, pick_up, depo, qbs };

// To be called once a pass, before the fields: counts the frame if this is a map step, and makes
// the files at the first.
void begin_eulerian_frame(RunState& run);
// Adds the values of all nodes as one record if this is a map step: the frame number twice, the
// date in 28 bytes, the values.
void write_eulerian_field(const RunState& run, EulerianField field, const Array<float>& values);

}  // namespace dfl
