#pragma once

// How far a parcel goes in a step: current, settling, turbulence, and the bed.

#include <cmath>

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
