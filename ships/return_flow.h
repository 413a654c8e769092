#pragma once

// The return flow beside a ship in a channel, and the bisection that its water level drop is found
// with.

#include <cmath>

#include "control/run_state.h"

namespace dfl {

// Root of g in [x1, x2] to within t. The texts are those of the fatal messages.
template <class Function>
float RTBIS(const MessageState& messages, const char* not_bracketed, const char* too_many, float x1,
            float x2, float t, Function g) {
  constexpr int most_rounds = 40;
  const float g1 = g(x1), g2 = g(x2);
  if (!(g1 * g2 < 0.0f)) fatal_error(messages, not_bracketed);
  float r = g1 < 0.0f ? x1 : x2;
  float d = g1 < 0.0f ? x2 - x1 : x1 - x2;
  for (int round = 1; round <= most_rounds; ++round) {
    d = d / 2.0f;
    const float xm = r + d;
    const float gm = g(xm);
    if (gm <= 0.0f) r = xm;
    if (std::abs(d) < t || gm == 0.0f) return r;
  }
  fatal_error(messages, too_many);
}

struct ChannelSection {
  float A = 0.0f;  // area below the surface, m2
  float W = 0.0f;  // width between the outermost wet points, m
};
// The section of the mesh across the track of a ship at (xs, ys), 500 m to either side.
ChannelSection CHANNEL_SECTION(const RunState& run, double xs, double ys, float heading,
                               const Array<float>& depth);

struct ReturnFlowResult {
  float Vr = 0.0f;       // beside the hull, against the ship, m/s
  float Lr = 0.0f;       // distance from the track over which it falls to 1/e, m
  float z = 0.0f;        // drop of the water level, m; 0 where the ship is critical
  float A = 0.0f;        // of the section after its least depth has been applied, m2
  bool blocked = false;  // the ship fills the section, or there is no water: no return flow
};
// The balance of momentum (and of discharge) between the free section and that beside the ship, by
// ships.return_flow. Ships at four fifths of the critical speed or more take the critical return
// flow (Schijf 1949).
ReturnFlowResult RETURN_FLOW(const MessageState& messages, const ShipState& ships,
                             const ChannelSection& section);

}  // namespace dfl
