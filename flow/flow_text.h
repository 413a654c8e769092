#pragma once

// Flow written as text: ADCIRC .63, .64, .45 and .44, and the two .dat files of the "kfe" form.
// All in free format; what follows the items on their last line is dropped.
//
//   ADCIRC          items                                                    repeats
//   title           any                                                      1
//   head            frames, nodes, interval (s), interval (steps), values    1
//     .63           values 1                                 .64  values 2
//     .45           ..., levels, values (1 to 3)             .44  ..., 3 or ..., levels, code (1-4)
//   frame header    time (s), step                                           per frame
//     .63, .64      with count and default value behind them: the sparse form, where only `count`
//                   nodes follow and all others take the default
//     .45, .44      then level positions, from -1 at the bed to 1 at the surface
//   node lines      n, then                                                  nodes
//     .63           surface elevation (m)                    .64  u, v (m/s)
//     .45           u, v, w (m/s) of each level
//     .44           density (kg/m3, or sigma-t), temperature (degrees C), salinity of each level,
//                   as IDEN says which
//
//   "kfe"           items                                                    repeats
//   header          six lines; lines 4 and 5 are keyword, count: nodes, elements
//   frame header    keyword, step, time (s)                                  per frame
//   values          displacement file: surface (m); velocity file: u, v, w   nodes
//   end             a line that begins with "ENDDS", or the end of the file

#include "control/run_state.h"

namespace dfl {

// Open the files of the settings, measure and check them against each other and the mesh. They set
// NUMframes, dTime and, for three dimensions, NUMlayers of run.flow.
void OPEN_FLOW_2D(RunState& run);
void OPEN_FLOW_3D(RunState& run);
void OPEN_FLOW_KFE(RunState& run);
// The bottom flow of "2d (two-point)" in text form: opened, its head read; the mask of nodes that
// have a bottom point.
void OPEN_BOTTOM_FLOW(RunState& run);

// Read the next frame. Time and step as in the file go to run.flow.frame_time and frame_step.
void READ_FRAME_2D(RunState& run, Array<float>& eta, Array2<float>& u, Array2<float>& v);
void READ_FRAME_3D(RunState& run);  // ETAnew, Unew, Vnew, Wnew, SIGMA
void READ_FRAME_KFE(RunState& run);
// A scalar frame of one, two or three fields, given in the order of the file.
void READ_SCALARS_1(RunState& run, Array2<float>& field);
void READ_SCALARS_2(RunState& run, Array2<float>& first, Array2<float>& second);
void READ_SCALARS_3(RunState& run, Array2<float>& first, Array2<float>& second,
                    Array2<float>& third);
// The one of them that IDEN 1 to 4 names, into the new frame; sigma-t becomes density.
void READ_SCALARS(RunState& run);
// The velocity frame alone, of the bottom file. Returns its time as in the file, s.
double READ_FRAME_BOTTOM(RunState& run, Array<float>& u, Array<float>& v);

}  // namespace dfl
