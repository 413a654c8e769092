#pragma once

// Pieces that turn node fields into a velocity at a height. Heights z in m above the bed, H total
// depth in m.

#include "control/run_state.h"
#include "mesh/geometry.h"

namespace dfl {

enum class EndRule { hold = 0, to_zero = 1 };  // value beyond the lowest or highest level

// Value of a node array with levels at height z above node n. first_level: 0 or 1, the first level
// of the array.
float VERT_INTERP(const FlowState& flow, FlowFormat format, float z, float H, int first_level,
                  EndRule bottom, EndRule top, const Array2<float>& field, int n);
// Position of z / H on the level scale, 0 to NUMlayers.
float LEVEL_POSITION(float z, float H, int NUMlayers, const float* SIGMA);
// VERT_INTERP at the three nodes, then weighted.
float ELEMENT_VERT_INTERP(const FlowState& flow, FlowFormat format, const Weights& w, int n1,
                          int n2, int n3, float z, float H, int first_level, EndRule bottom,
                          EndRule top, const Array2<float>& field);

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
float CONTINUITY_W(float z, float H, float divergence, float eta_new, float eta_old,
                   double time_new, double time_old);
// Frame times to pass to CONTINUITY_W.
void continuity_times(const RunState& run, double& time_new, double& time_old);

// Share of the load in suspension, 0 to 1 (Ws, ustar in m/s).
float SUSPENDED_FRACTION(float Ws, float ustar);
// Height of the centre of the suspended load, m.
float ROUSE_CENTROID(float H, float Ws, float ustar);
// Height hc of the centre of motion, m, and factor fr of its speed on the mean speed S. ustarc is
// the grain shear velocity. In three-dimensional flow as for "2d (uniform)".
void SUSPENDED_LAYER(VelocityMethod method, float H, float Ws, float S, float MOBILITY,
                     float KStotal, float KSgrain, float ustarc, float ustar, float& hc,
                     float& fr);

struct CentroidInput {
  bool waves = false;
  float H = 0.0f;               // m
  float wave_period = 0.0f;     // s
  float wave_height = 0.0f;     // m
  float wave_direction = 0.0f;  // degrees
  float S = 0.0f, u = 0.0f, v = 0.0f;  // m/s
  float D = 0.0f;               // m
  float KStotal = 0.0f;         // m
  float temperature = 0.0f;     // degrees C
  float salinity = 0.0f;        // mass fraction
  float ustar = 0.0f;           // m/s
  int parcel = 0;
};
// The same from the van Rijn profile (VAN_RIJN).
void CENTROID_VAN_RIJN(const MessageState& messages, VelocityMethod method,
                       const CentroidInput& in, float Ws, float KSgrain, float& hc, float& fr);

}  // namespace dfl
