#pragma once

// What a new position means: its element, a wall on the way, a way out of the mesh.

#include <cmath>

#include "parcels/mesh_walk.h"
#include "parcels/track_stage.h"

namespace dfl {

// The element of a working position that is not in the start element, by the full search: may move
// the position to a wall, sets the boundary status.
void search_element(const RunState& run, const TrackFields& fields, Stage& s);

// Settles the element of the working position.
inline void settle_element(const RunState& run, const TrackFields& fields, Stage& s) {
  s.status = lost_off_mesh;
  if (!(std::isfinite(s.x) && std::isfinite(s.y))) {
    s.element = 0;
    return;
  }
  s.status = 1;
  const TrackElement& start = fields.elements(s.e0);
  const EdgeValues f = edge_values(start, s.x, s.y);
  s.element = s.e0;
  if (holds(f)) return;
  if (!start.wall) {
    s.element = walk_to(fields.elements, s.e0, f, s.x, s.y);
    if (s.element != 0) return;
  }
  search_element(run, fields, s);
}

// Takes the working position and height. Sets element, position, height, elevation and the boundary
// status: 1, or negative for a parcel that is lost. last: no stage follows, which would read the
// other fields there. Inline: the end of every stage.
inline void PARCEL_LOCATE(const RunState& run, const TrackFields& fields, bool last, Stage& s) {
  settle_element(run, fields, s);
  if (s.status < 0) return;

  // Height and elevation follow the depth and the bed.
  const bool stayed =
      s.absolute && s.sampled_start && s.element == s.e0 && s.x == s.Xs && s.y == s.Ys;
  if (!stayed) {
    if (last) {
      sample_fields<place_fields>(run, fields, s);
    } else {
      sample_fields(run, fields, s);
    }
  }
  s.sampled_start = false;
  const float Hn = s.f[at_H], Bn = s.f[at_B];
  if (Hn < s.height) s.height = 2.0f * Hn - s.height;  // mirrored at the surface
  if (fields.advection != AdvectionMethod::d2) {
    s.height = std::min(std::max(s.height - (s.B0 - Bn), 0.0f), Hn);
  }
  s.z = (s.z0 - s.h0) + (s.B0 - Bn) + s.height;
}

}  // namespace dfl
