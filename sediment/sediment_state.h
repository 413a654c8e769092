#pragma once

// Native sediment, the node fields of the bed, and the moving bed.

#include "control/array.h"

namespace dfl {

struct SedimentState {
  // Native sediment, per node, m.
  Array<float> D35, D50, D90;
  Array<Logical> BEDmobile;  // false: hard bottom
  bool UNIFORMbed = false;

  // Bed fields, per node, kept between two updates.
  Array<float> USTAR;                 // current shear velocity, m/s
  Array<float> TAUbed;                // maximum bed shear stress, Pa
  Array<float> KSnode;                // total bed roughness, m
  Array<float> KSgrainnode;           // grain roughness 3 D90, m
  Array<float> BEDFORMnode;           // bedform height or roughness, m
  Array<float> MOBILITYnode;          // stress over critical stress
  Array<float> QSED;                  // transport rate, kg/m/s
  Array<float> DZDT;                  // rate of bed level change, m/s, positive rising
  Array<float> BEDslopeX, BEDslopeY;  // rising toward +x, +y is positive; with slope_effects
  Array<float> BEDrate;               // per element, rate of bed change, m/s

  // Latches of the Lund formulas: a first current, first waves have been seen in this run.
  bool lund_current_seen = false, lund_waves_seen = false;
  bool lund_old_current_seen = false, lund_old_waves_seen = false;

  // Eulerian transport "a-d": column 1 the concentration, m3/m3, column 2 the total load, m2/s.
  Array2<float> SSCnode;
  int eulerian_frames = 0;      // frames in its files
  bool lattice_warned = false;  // the mesh has no lattice, and the run was told
  bool ad_step_warned = false;  // passes are too far apart, and the run was told

  // Moving bed, per node. DEPTHstart and BEDlevel exist with morphology, active_morphology or
  // adjust_currents.
  Array<float> DEPTHstart;  // depth at the start of the run, m
  Array<float> BEDlevel;    // the bed as mapped, m, positive down
  Array<double> BEDchange;  // cumulative change, m, positive rising
  Array<float> ELEMwork;    // per element
};

}  // namespace dfl
