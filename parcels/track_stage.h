#pragma once

// Working values of one parcel over one step, handed from operation to operation. SI units; nothing
// is kept from one step to the next.

#include <algorithm>

#include "flow/vertical_profile.h"
#include "mesh/geometry.h"
#include "parcels/deferred_gauss.h"
#include "parcels/random_stream.h"
#include "parcels/track_fields.h"

namespace dfl {

constexpr float gravity = 9.81f;              // m/s2
constexpr float tan_of_repose = 0.62486875f;  // of 32 degrees with pi as 3.14159
constexpr float short_pi = 3.14159f;
constexpr float short_two_pi = 6.28318f;

struct Stage {
  // The parcel at the stage under way.
  double x = 0.0, y = 0.0;
  float z = 0.0f, height = 0.0f;
  int element = 0;
  Logical DORMANT = logical_false;
  float BURIAL = 0.0f, MOBILITY = 0.0f;
  // The parcel at the start of the step. h0 falls to the depth where the parcel stands above it.
  double Xs = 0.0, Ys = 0.0;
  int e0 = 0;
  float h0 = 0.0f, z0 = 0.0f;
  Walk walk;
  DeferredGauss gauss;
  double DTsub = 0.0;  // s

  // Fields at the parcel; `sampled`: for the present position, `sampled_start`: it is the start.
  bool sampled = false, sampled_start = false;
  Weights weights;
  alignas(16) NodeValues f;
  float H = 0.0f, B0 = 0.0f;
  float Db = 0.0f, Hw = 0.0f, Tw = 1.0f, theta_w = 0.0f;
  float KSgrain = 0.0f, KStotal = 0.0f;
  float U = 0.0f, V = 0.0f, S = 0.0f;  // depth average with the drift of waves
  float rho = 0.0f, nu = 0.0f;
  float tau = 0.0f, tau_cr = 0.0f;
  float ustar = 0.0f, ustarc = 0.0f;
  bool Pu_wanted = false;  // the chance of a pick-up is that of the formula
  float Pu = 0.0f;         // 1/s

  // Velocity of the parcel.
  float u = 0.0f, v = 0.0f, w = 0.0f, su = 0.0f;
  float hc = 0.0f, hs = 0.0f, fr = 0.0f;

  // Displacement, or position and height where `absolute`.
  double dx = 0.0, dy = 0.0, dz = 0.0;
  bool absolute = false;
  int status = 1;
};

// The sum of four stages.
inline double fourth_order(const std::array<double, 4>& d) {
  return (d[0] + 2.0 * (d[1] + d[2]) + d[3]) / 6.0;
}

inline float held(float value, float low, float high) {
  return std::min(std::max(value, low), high);
}
inline float to_degrees(float angle) {
  return angle * 180.0f / short_pi;
}
inline float to_radians(float angle) {
  return angle * short_pi / 180.0f;
}

// Four values side by side, for one instruction each.
using FourFloats [[gnu::vector_size(16), gnu::may_alias]] = float;

// The first fields at a point of element t; all of them where N is node_fields. `values` starts on
// 16 bytes.
template <std::size_t N>
inline void interpolate(const TrackFields& fields, const TrackElement& t, const Weights& w,
                        float* values) {
  static_assert(N % 4 == 0 && N <= node_fields && node_fields % 4 == 0);
  const auto* a = reinterpret_cast<const FourFloats*>(fields.nodes(t.n1).f.data());
  const auto* b = reinterpret_cast<const FourFloats*>(fields.nodes(t.n2).f.data());
  const auto* c = reinterpret_cast<const FourFloats*>(fields.nodes(t.n3).f.data());
  auto* f = reinterpret_cast<FourFloats*>(values);
#pragma GCC unroll 4
  for (std::size_t i = 0; i < N / 4; ++i) f[i] = w.w1 * a[i] + w.w2 * b[i] + w.w3 * c[i];
}

// WEIGHTING_FACS with the terms of the element at hand; weights to be repaired go there.
inline Weights packed_weights(const RunState& run, const TrackElement& t, int e, double x,
                              double y) {
  const double A = static_cast<double>(t.area);
  const double w1 = 0.5 * (x * (t.y2 - t.y3) + t.cross1 + y * (t.x3 - t.x2)) / A;
  const double w2 = 0.5 * (x * (t.y3 - t.y1) + t.cross2 + y * (t.x1 - t.x3)) / A;
  const double w3 = 0.5 * (x * (t.y1 - t.y2) + t.cross3 + y * (t.x2 - t.x1)) / A;
  if (w1 >= 0.0 && w2 >= 0.0 && w3 >= 0.0 && w1 + w2 + w3 < 4.0) {
    return {static_cast<float>(w1), static_cast<float>(w2), static_cast<float>(w3)};
  }
  return element_weights(run.messages, run.mesh, e, x, y);
}

// Weights and the first N fields at the working position.
template <std::size_t N = node_fields>
[[gnu::always_inline]] inline void sample_fields(const RunState& run, const TrackFields& fields,
                                                 Stage& s) {
  const TrackElement& t = fields.elements(s.element);
  s.weights = packed_weights(run, t, s.element, s.x, s.y);
  interpolate<N>(fields, t, s.weights, s.f.data());
  s.sampled = true;
}

}  // namespace dfl
