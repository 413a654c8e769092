#pragma once

// Flow written as text: ADCIRC .63, .64, .45 and .44, and the two .dat files of the "kfe" form.

#include "control/run_state.h"

namespace dfl {

// Open the files of the settings, measure and check them against each other and the mesh. They set
// NUMframes, dTime and, for three dimensions, NUMlayers of run.flow.
void OPEN_FLOW_2D(RunState& run);
void OPEN_FLOW_3D(RunState& run);
void OPEN_FLOW_KFE(RunState& run);
// The bottom flow of "2d (two-point)" in text form: opened, its head read and checked.
void OPEN_BOTTOM_FLOW(RunState& run);

// Read the next frame. Time and step as in the file go to run.flow.frame_time and frame_step.
void READ_FRAME_2D(RunState& run, Array<float>& eta, Array2<float>& u, Array2<float>& v);
void READ_FRAME_BOTTOM(RunState& run, Array<float>& u, Array<float>& v);
void READ_FRAME_3D(RunState& run);  // ETAnew, Unew, Vnew, Wnew, SIGMA
void READ_SCALARS(RunState& run);   // the fields that IDEN 1 to 4 names, into the new frame
void READ_FRAME_KFE(RunState& run);

}  // namespace dfl
