#pragma once

// One parcel over one time step.

#include "control/run_state.h"

namespace dfl {

// What a step did, for the caller's counts.
struct TrackReport {
  int status = 1;                     // boundary status: 1, or negative for a lost parcel
  bool dry = false;                   // the place was dry; nothing moved
  double displacement_squared = 0.0;  // over element area
};

// Node and element values packed for tracking. Refreshed whenever flow, waves, bed or depths
// have changed.
struct TrackFields;
TrackFields* make_track_fields();
void free_track_fields(TrackFields* fields);
void pack_track_fields(const RunState& run, TrackFields& fields);

// Moves a parcel. order: 2 or 4. Writes only to the parcel, its VEC, and the random stream.
TrackReport TRACK_PARCEL(const RunState& run, const TrackFields& fields, int order, Parcel& parcel,
                         RandomStream& random);

// The loop over ALIVElist: ages and tracks every listed parcel in order and adds to run.balance.
void TRACK_POPULATION(RunState& run, const TrackFields& fields);

}  // namespace dfl
