#pragma once

// Sediment transport under waves and current by integration over a wave cycle and a concentration
// profile. Quantities in SI units, angles in degrees.

#include <array>

#include "control/messages.h"

namespace dfl {

struct VanRijnInput {
  int number = 0;                           // node or point, for the message
  float h = 0.0f;                           // depth, m
  float U = 0.0f;                           // depth-averaged speed, m/s
  float Vr = 0.0f;                          // cross drift; 9.0 asks for the value computed here
  float Ud = 0.0f;                          // near-bed drift; 9.0 likewise
  float H = 0.0f, T = 0.0f;                 // wave height, m, and period, s; T below 1: no waves
  float phi = 0.0f;                         // angle between waves and current
  float D50 = 0.0f, D90 = 0.0f, Ds = 0.0f;  // m
  float kc = 0.0f, kw = 0.0f;               // current and wave roughness, m; floor 0.01
  float temperature = 0.0f;                 // degrees C
  float salinity = 0.0f;                    // parts per thousand
};

struct VanRijnResult {
  float Vr = 0.0f, Ud = 0.0f, kc = 0.0f, kw = 0.0f;  // the arguments as changed
  float Ustar = 0.0f;
  float centroid = 0.0f;  // height of the load, m; 0 if there is none
  float Ws = 0.0f;
  float mobility = 0.0f;
  float ka = 0.0f;
  float new_kw = 0.0f, new_kc = 0.0f;
  float suspended = 0.0f, suspended_angle = 0.0f;  // kg/m/s
  float bed = 0.0f, bed_angle = 0.0f;
  float total = 0.0f, total_angle = 0.0f;
  float max_stress = 0.0f, mean_stress = 0.0f, wave_stress = 0.0f, current_stress = 0.0f;  // Pa
  float THETA = 0.0f, THETAcr = 0.0f;
};

// A depth of 0 or less stops the run.
VanRijnResult VAN_RIJN(const MessageState& messages, const VanRijnInput& in);
// max_stress of VAN_RIJN alone, for callers at every parcel: no profile, no wave cycle.
float VAN_RIJN_STRESS(const MessageState& messages, const VanRijnInput& in);

}  // namespace dfl
