#pragma once

// Pieces that turn node fields into a velocity at a height. Heights z in m above the bed, H total
// depth in m. They run several times per parcel and stage; none allocates.

#include "control/run_state.h"
#include "mesh/geometry.h"

namespace dfl {

enum class EndRule { hold = 0, to_zero = 1 };  // value beyond the lowest or highest level

// Message and stop for an end rule that is none.
[[noreturn]] void stop_at_end_rule();

// Relative heights of levels 1 to NUMlayers at node n, 0 at the bed, 1 at the surface.
inline const float* SIGMA_AT_NODE(const FlowState& flow, FlowFormat format, int n) {
  return format == FlowFormat::n3d ? flow.SIGnode.row(n) : flow.SIGMA.data();
}

// Position of z / H on the level scale: 0 at the bed, k at level k, up to NUMlayers + 1 at the
// surface where the top level lies below it. SIGMA ascends from level 1.
inline float LEVEL_POSITION(float z, float H, int NUMlayers, const float* SIGMA) {
  const float r = z / H;
  if (!(r > 0.0f)) return 0.0f;  // at or below the bed, also with a level there, or no water
  if (r <= SIGMA[0]) return r / SIGMA[0];
  for (int k = 2; k <= NUMlayers; ++k) {
    const float below = SIGMA[k - 2], level = SIGMA[k - 1];
    if (below < r && r <= level) {
      return static_cast<float>(k - 1) + (r - below) / (level - below);
    }
  }
  const float top = SIGMA[NUMlayers - 1];
  if (r <= top) return 0.0f;
  if (top >= 1.0f) return static_cast<float>(NUMlayers);
  return static_cast<float>(NUMlayers) + (r - top) / (1.0f - top);
}

// Value of a node array at node n and position p of the level scale.
inline float value_at_position(float p, int NUMlayers, EndRule bottom, EndRule top,
                               const Array2<float>& field, int n) {
  if (p >= static_cast<float>(NUMlayers)) {
    const float value = field(n, NUMlayers);
    if (top == EndRule::hold) return value;
    if (top != EndRule::to_zero) stop_at_end_rule();
    // Down to 0 at the surface.
    const float above = p - static_cast<float>(NUMlayers);
    return above < 1.0f ? (1.0f - above) * value : 0.0f;
  }
  const int i = static_cast<int>(p);
  if (i > 0) {
    const float fraction = p - static_cast<float>(i);
    return (1.0f - fraction) * field(n, i) + fraction * field(n, i + 1);
  }
  if (bottom == EndRule::hold) return field(n, 1);
  if (bottom != EndRule::to_zero) stop_at_end_rule();
  return p * field(n, 1);
}

// Value of a node array with levels at height z above node n. first_level: 0 or 1, the first level
// of the array. Depth-averaged flow has level 0 only.
inline float VERT_INTERP(const FlowState& flow, FlowFormat format, float z, float H,
                         int first_level, EndRule bottom, EndRule top, const Array2<float>& field,
                         int n) {
  if (flow.NUMlayers == 0) return first_level == 0 ? field(n, 0) : 0.0f;
  const float p = LEVEL_POSITION(z, H, flow.NUMlayers, SIGMA_AT_NODE(flow, format, n));
  return value_at_position(p, flow.NUMlayers, bottom, top, field, n);
}

// VERT_INTERP at the three nodes, then weighted.
inline float ELEMENT_VERT_INTERP(const FlowState& flow, FlowFormat format, const Weights& w, int n1,
                                 int n2, int n3, float z, float H, int first_level, EndRule bottom,
                                 EndRule top, const Array2<float>& field) {
  float f1, f2, f3;
  if (flow.NUMlayers == 0 || format == FlowFormat::n3d) {
    f1 = VERT_INTERP(flow, format, z, H, first_level, bottom, top, field, n1);
    f2 = VERT_INTERP(flow, format, z, H, first_level, bottom, top, field, n2);
    f3 = VERT_INTERP(flow, format, z, H, first_level, bottom, top, field, n3);
  } else {
    // The levels are the same at all nodes.
    const float p = LEVEL_POSITION(z, H, flow.NUMlayers, flow.SIGMA.data());
    f1 = value_at_position(p, flow.NUMlayers, bottom, top, field, n1);
    f2 = value_at_position(p, flow.NUMlayers, bottom, top, field, n2);
    f3 = value_at_position(p, flow.NUMlayers, bottom, top, field, n3);
  }
  return w.w1 * f1 + w.w3 * f3 + w.w2 * f2;
}

// Velocity at height hs between the surface point (U, V: depth average) and the bottom point (UB,
// VB at height zb). z0: grain roughness, m.
void TWO_POINT_PROFILE(float H, float zb, float z0, float U, float V, float UB, float VB, float hs,
                       float& u, float& v);

// Gradient of a field over a triangle, per mesh unit.
inline float DFDX(float area, double, double y1, double, double y2, double, double y3, float f1,
                  float f2, float f3) {
  const double half = static_cast<double>(0.5f / area);
  return static_cast<float>(half * ((y2 - y3) * static_cast<double>(f1) +
                                    (y3 - y1) * static_cast<double>(f2) +
                                    (y1 - y2) * static_cast<double>(f3)));
}
inline float DFDY(float area, double x1, double, double x2, double, double x3, double, float f1,
                  float f2, float f3) {
  const double half = static_cast<double>(0.5f / area);
  return static_cast<float>(half * ((x3 - x2) * static_cast<double>(f1) +
                                    (x1 - x3) * static_cast<double>(f2) +
                                    (x2 - x1) * static_cast<double>(f3)));
}

// Vertical velocity at height z from continuity of the depth-averaged flow, m/s upward.
// divergence: dU/dx + dV/dy at the element; eta_new, eta_old: surface of the two frames at the
// point, m; their times in s, equal times drop the surface term.
inline float CONTINUITY_W(float z, float H, float divergence, float eta_new, float eta_old,
                          double time_new, double time_old) {
  float D = divergence;
  if (time_new != time_old && H != 0.0f) {
    D = static_cast<float>(static_cast<double>(D) + static_cast<double>(eta_new - eta_old) /
                                                        (time_new - time_old) /
                                                        static_cast<double>(H));
  }
  return D * (H - z);
}
// Frame times to pass to CONTINUITY_W. Equal while only one frame has been read.
void continuity_times(const RunState& run, double& time_new, double& time_old);

// Share of the load in suspension, 0 to 1 (Ws, ustar in m/s).
float SUSPENDED_FRACTION(float Ws, float ustar);
// Height of the centre of the suspended load, m.
float ROUSE_CENTROID(float H, float Ws, float ustar);
// Height hc of the centre of motion, m, and factor fr of its speed on the mean speed S. ustarc is
// the grain shear velocity. In three-dimensional flow as for "2d (uniform)".
void SUSPENDED_LAYER(VelocityMethod method, float H, float Ws, float S, float MOBILITY,
                     float KStotal, float KSgrain, float ustarc, float ustar, float& hc, float& fr);

struct CentroidInput {
  bool waves = false;
  float H = 0.0f;                      // m
  float wave_period = 0.0f;            // s
  float wave_height = 0.0f;            // m
  float wave_direction = 0.0f;         // degrees
  float S = 0.0f, u = 0.0f, v = 0.0f;  // m/s
  float D = 0.0f;                      // m
  float KStotal = 0.0f;                // m
  float temperature = 0.0f;            // degrees C
  float salinity = 0.0f;               // mass fraction
  float ustar = 0.0f;                  // m/s
  int parcel = 0;
};
// The same from the van Rijn profile (VAN_RIJN). Where that finds no load, the height is that of
// "2d (uniform)" in SUSPENDED_LAYER.
void CENTROID_VAN_RIJN(const MessageState& messages, VelocityMethod method, const CentroidInput& in,
                       float Ws, float KSgrain, float& hc, float& fr);

}  // namespace dfl
