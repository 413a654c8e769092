#pragma once

// Conditions and displacement of a grain in motion in one piece, for the place where nearly all
// grains of a run spend their time: water without waves and of one density, a logarithmic profile,
// a grain above the roughness. The terms and their order are those of LOCAL_CONDITIONS,
// PARCEL_VELOCITY and DISPLACEMENT; what those multiply by 1 or add as 0 there is left out.

#include "parcels/track_stage.h"

namespace dfl {

// Does the work of a stage up to its displacement. False where a place or a grain is out of the
// ordinary: nothing is drawn then and nothing set but the sampled fields.
bool move_plain_grain(const RunState& run, const TrackFields& fields, const Parcel& parcel,
                      Stage& s, RandomStream& random);

}  // namespace dfl
