#pragma once

// What a new position means: its element, a wall on the way, a way out of the mesh.

#include "parcels/track_stage.h"

namespace dfl {

// Takes the working position and height. Sets element, position, height, elevation and the boundary
// status: 1, or negative for a parcel that is lost.
void PARCEL_LOCATE(const RunState& run, const TrackFields& fields, Stage& s);

}  // namespace dfl
