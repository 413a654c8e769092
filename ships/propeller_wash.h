#pragma once

// The jet of a ship's propellers.

#include "control/run_state.h"

namespace dfl {

// Reads propwash_data_file: twelve items, each on a line of its own.
//
//   1 diameter, m          2 spacing: above 0 for two propellers   3 1: ducted
//   4 pitch over diameter  5 tilt of the jet, degrees              6 method, 1 to 3
//   7 1/min or power       8 1: far jet by clearance               9 not used
//   10 not above 0         11 axis, not above 0, m                 12 1: half the base exponent
void READ_PROPWASH_DATA(RunState& run);

// What the jets have in common at all nodes of one pass.
struct PropellerJets {
  int NUMprops = 0;
  std::array<float, 2> x{}, y{};  // mesh units
  std::array<float, 2> z{};       // distance down from the surface, m
  float sh = 0.0f, ch = 0.0f;     // axis of the jet in the plane, which points astern
  float sa = 0.0f, ca = 0.0f;     // tilt of the axis
  float D = 0.0f;                 // diameter, m
  bool clearance = false, halfdecay = false;
  bool method_known = false;
  float V0 = 0.0f;  // exit speed, m/s
};

// The pitch that counts: out of 0.6 to 1.4 it is taken as 1.
float pitch_in_range(float pitch);

// The jets of `ships`, whose propellers stand at `place`.
PropellerJets propeller_jets(const ShipState& ships, const std::array<ShipPosition, 2>& place,
                             float heading, float water_density);

struct JetVelocity {
  float U = 0.0f, V = 0.0f, W = 0.0f;  // m/s, mesh axes
};
// Velocity of the jets at (x, y), z above the bed, in water of depth H (Maynord 1999). Stops the
// run for an unknown method at a point astern of a propeller.
JetVelocity PROP_WASH(const MessageState& messages, const PropellerJets& jets, float H, double x,
                      double y, float z);

}  // namespace dfl
