#include "parcels/track_fields.h"

#include "parcels/track_parcel.h"

namespace dfl {

TrackFields* make_track_fields() {
  return new TrackFields;
}

void free_track_fields(TrackFields* fields) {
  delete fields;
}

void pack_track_fields(const RunState&, TrackFields&) {}

}  // namespace dfl
