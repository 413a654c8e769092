#pragma once

// The fields at a parcel, the stress on the bed there and what it does to the parcel.

#include "parcels/track_stage.h"

namespace dfl {

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
