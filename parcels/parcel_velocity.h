#pragma once

// Velocity of a parcel at its height.

#include "parcels/track_stage.h"

namespace dfl {

// A parcel heavier than water. estimate: an estimate of the centre of motion may tell enough.
void PARCEL_VELOCITY(const RunState& run, const TrackFields& fields, const Parcel& parcel,
                     bool estimate, Stage& s);
// A parcel at or below water density.
void LIGHT_VELOCITY(const RunState& run, const TrackFields& fields, Parcel& parcel, Stage& s);

}  // namespace dfl
