#pragma once

// The fields at a parcel, the stress on the bed there and what it does to the parcel.

#include <cmath>

#include "parcels/track_stage.h"

namespace dfl {

// With no waves WAVE_FRICTION gives both coefficients as the drag of the current alone wherever the
// attenuation by its least orbital velocity, 1e-10 m/s, is lost in the last place: speeds of 0.01
// m/s and more, directions not too near an axis (a component of exactly 0 carries no stress), and
// a drag in the usual range.
inline bool current_alone(float U, float V, float S, float Cd) {
  if (!(S >= 0.01f && Cd >= 1.0e-4f && Cd <= 1.0f)) return false;
  const float au = std::abs(U), av = std::abs(V);
  const float small = std::min(au, av), large = std::max(au, av);
  return small == 0.0f || large <= 1000.0f * small;
}

// Fills the stage for its position. False on a dry place. May set the working DORMANT flag.
bool LOCAL_CONDITIONS(const RunState& run, const TrackFields& fields, const Parcel& parcel,
                      Stage& s, RandomStream& random);

// Chance of a pick-up at a stage whose conditions are known, 1/s.
float pickup_chance(const RunState& run, const TrackFields& fields, const Parcel& parcel,
                    const Stage& s);

// Value of a field with levels at height z over the parcel's place.
float level_value(const RunState& run, const TrackFields& fields, const Stage& s, float z,
                  int first_level, EndRule bottom, EndRule top, const Array2<float>& field);

// Number of a parcel of the run, for messages.
int parcel_number(const RunState& run, const Parcel& parcel);

}  // namespace dfl
