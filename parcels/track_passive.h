#pragma once

// The step of a parcel at or below water density that drifts with the mean current.

#include "parcels/track_stage.h"

namespace dfl {

// Moves a parcel where nothing but plain motion happens to it: "2d" advection, no waves, a stress
// beyond doubt, no wall, no landing (fields.passive_steps says whether the run is of that kind).
// False, with nothing changed, where that is not so; TRACK_PARCEL then goes the full way, which
// gives the same where both apply. displacement_squared: as in TrackReport.
bool track_passive(const RunState& run, const TrackFields& fields, int order, Parcel& parcel,
                   RandomStream& random, double& displacement_squared);

}  // namespace dfl
