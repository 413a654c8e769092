#pragma once

// How far a parcel goes in a step: current, settling, turbulence, and the bed.

#include <bit>
#include <cmath>
#include <cstdint>

#include "parcels/track_stage.h"

namespace dfl {

// Factor of breaking waves on the diffusivities. Db: dissipation, Hw: wave height, m.
inline float breaking_factor(const Settings& set, float Db, float Hw) {
  if (!set.wave_breaking) return 1.0f;
  return Db >= 0.0f ? 1.0f + Db * set.kew * Hw : 1.0f + set.kew * Hw;
}

// Eddy diffusivities, m2/s (Elder 1959). factor: breaking_factor.
inline float ET_HORIZONTAL(const Settings& set, float H, float ustar, float factor) {
  if (set.ket <= 0.0f) return 0.0f;
  return std::max(set.ket * H * ustar * factor, set.etmin);
}
inline float EV_VERTICAL(const Settings& set, float H, float z, float speed, float factor) {
  if (set.kev <= 0.0f) return 0.0f;
  const float t = (H - z) * z;
  return std::max(set.kev * speed * (t * t) / (H * H * H) * factor, set.evmin);
}

// Speed of the walk at diffusivity E (m2/s): uniform numbers on [-1, 1) give a variance of 2 E dt.
inline float walk_scale(float E, double dt) {
  return static_cast<float>(std::sqrt(6.0 * static_cast<double>(E) / dt));
}

constexpr float gradient_step = 0.01f;  // m, of the diffusivity over the height

// Vertical walk: drift up the gradient of the diffusivity, and scatter, m.
[[gnu::always_inline]] inline double vertical_walk(const Settings& set, const TrackFields& fields,
                                                   const Stage& s, float factor) {
  const auto Ev = [&](float z) { return EV_VERTICAL(set, s.H, z, s.su, factor); };
  const float h0 = s.h0, top = s.H - gradient_step;
  const float Ev0 = Ev(h0);
  float gradient = 0.0f;
  if (gradient_step < h0 && h0 < top) {
    gradient = (Ev(h0 + gradient_step) - Ev(h0 - gradient_step)) / (2.0f * gradient_step);
  } else if (h0 <= gradient_step && h0 <= top) {
    gradient = (Ev(h0 + gradient_step) - Ev0) / gradient_step;
  } else if (h0 >= gradient_step && h0 >= top) {
    gradient = (Ev0 - Ev(h0 - gradient_step)) / gradient_step;
  }
  return static_cast<double>(gradient + s.walk.w4 * walk_scale(Ev0, fields.dt8)) * fields.dt8;
}

// Adds current and walk in the plane, m.
[[gnu::always_inline]] inline void plane_displacement(const Settings& set,
                                                      const TrackFields& fields, const Stage& s,
                                                      float factor, double& dx, double& dy) {
  const double dt = fields.dt8;
  double rx = 0.0, ry = 0.0;
  if (!set.no_random_walk) {
    const float Et = ET_HORIZONTAL(set, s.H, s.ustar, factor);
    const float sh = Et == set.etmin ? fields.sh_etmin : walk_scale(Et, fields.dt8);
    rx = static_cast<double>(s.walk.w2 * sh) * dt;
    ry = static_cast<double>(s.walk.w3 * sh) * dt;
  }
  dx = static_cast<double>(s.u * s.fr) * dt + rx;
  dy = static_cast<double>(s.v * s.fr) * dt + ry;
}

// Displacement of a parcel off the bed whose velocity is known; not for "2d". factor:
// breaking_factor.
[[gnu::always_inline]] inline void displace_grain(const Settings& set, const TrackFields& fields,
                                                  const Parcel& parcel, Stage& s, float factor) {
  s.absolute = false;
  if (s.hs > s.H) s.h0 = s.H;
  double dx = 0.0, dy = 0.0;
  plane_displacement(set, fields, s, factor, dx, dy);
  s.dx = dx;
  s.dy = dy;
  const double rz = set.no_random_walk ? 0.0 : vertical_walk(set, fields, s, factor);
  // A grain that moves below the centre of motion is drawn up to it.
  const bool drawn_up = (fields.advection == AdvectionMethod::q3d) & (parcel.RHOs > s.rho) &
                        !(s.MOBILITY < 1.0f) & !(s.hc <= s.h0);
  // The sign by its bit: which way it goes cannot be foretold, so a branch would cost more.
  const std::uint32_t down = drawn_up ? 0 : 1;
  const auto own = std::bit_cast<float>(std::bit_cast<std::uint32_t>(parcel.Ws) ^ (down << 31));
  const float rise = s.w + own;
  s.dz = static_cast<double>(rise) * fields.dt8 + rz;
}

// A height in the profile of a suspended grain (Rouse 1937) as a fraction of the depth. a: where
// the profile begins.
float ROUSE_HEIGHT(RandomStream& random, float ustar, float Ws, float a);

// True if the walk number of the step lifts a parcel with the chance Pu off the bed.
inline bool picked_up(const TrackFields& fields, const Stage& s) {
  return static_cast<double>(s.walk.w1) < static_cast<double>(s.Pu) * fields.dt8;
}

// The start of the step as the result of a stage. hs must be known.
inline void stay_at_start(Stage& s) {
  if (s.hs > s.H) s.h0 = s.H;
  s.dx = s.Xs;
  s.dy = s.Ys;
  s.dz = static_cast<double>(s.h0);
  s.absolute = true;
}

// Displacement of a stage for the full time step, or a position where the parcel lies on the bed.
void DISPLACEMENT(const RunState& run, const TrackFields& fields, const Parcel& parcel, Stage& s,
                  RandomStream& random);

}  // namespace dfl
