#pragma once

// The element of a moved position by a walk across edges, for positions where the outward search
// over the neighbour lists could give no other result.

#include "parcels/track_fields.h"

namespace dfl {

// Positive outside, 0 on the edge: the half-plane values of IN_TRIANGLE for edges 1-2, 2-3, 3-1.
struct EdgeValues {
  double f1 = 0.0, f2 = 0.0, f3 = 0.0;
};

inline EdgeValues edge_values(const TrackElement& t, double x, double y) {
  return {(t.y2 - t.y1) * (x - t.x1) - (t.x2 - t.x1) * (y - t.y1),
          (t.y3 - t.y2) * (x - t.x2) - (t.x3 - t.x2) * (y - t.y2),
          (t.y1 - t.y3) * (x - t.x3) - (t.x1 - t.x3) * (y - t.y3)};
}

inline bool holds(const EdgeValues& f) {
  return f.f1 <= 0.0 && f.f2 <= 0.0 && f.f3 <= 0.0;
}

// The edge that the point is farthest beyond.
inline std::size_t worst_edge(const EdgeValues& f) {
  if (f.f3 > f.f1 && f.f3 > f.f2) return 2;
  return f.f2 > f.f1 ? 1 : 0;
}

// From element e, which does not hold (x, y), across edges toward it. The element that holds the
// point well inside, 0 if the walk met a boundary, took too long or ended near an edge.
int walk_to(const TrackElements& elements, int e, EdgeValues f, double x, double y);

// Sets `across` of every element.
void link_elements(int NUMnode, TrackElements& elements);
// Sets `well_inside`: elements that overlap another one, and very thin ones with what lies near
// them, get none.
void find_overlaps(TrackElements& elements);

}  // namespace dfl
