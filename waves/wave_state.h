#pragma once

// Wave fields at the nodes at the present time. The mesh readers set the start values, so that a
// run without waves sees height 0 and period 1.

#include "control/array.h"

namespace dfl {

struct WaveState {
  Array<float> WAVEheight;              // m; start 0
  Array<float> WAVEperiod;              // s; start 1
  Array<float> WAVEdirx, WAVEdiry;      // unit vector of travel; start 0
  Array<float> WAVEbreak;               // dissipation, negative where waves break; start 0
};

}  // namespace dfl
