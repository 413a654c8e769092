#include "parcels/parcel_locate.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <vector>

#include "mesh/find_element.h"

namespace dfl {

namespace {

// The straight way of a step.
struct Path {
  double Xs = 0.0, Ys = 0.0, x = 0.0, y = 0.0;
  double slope = 0.0, intercept = 0.0;
};

enum class Crossing { none, stopped, lost };

// Where a parcel ends: an element with a position, or none.
struct Place {
  double x = 0.0, y = 0.0;
  int element = 0;
};

double rounded(double value) {
  return static_cast<double>(static_cast<float>(value));
}

// A boundary segment; its ends are rounded to 4 bytes.
struct Segment {
  int n1 = 0, n2 = 0;
  double x1 = 0.0, y1 = 0.0, x2 = 0.0, y2 = 0.0;
  double slope = 0.0, intercept = 0.0;
};

Segment segment_of(const MeshState& mesh, const Boundary& boundary, int i) {
  Segment segment;
  segment.n1 = boundary.NODES(i);
  segment.n2 = boundary.NODES(i + 1);
  segment.x1 = rounded(mesh.Xnode(segment.n1));
  segment.y1 = rounded(mesh.Ynode(segment.n1));
  segment.x2 = rounded(mesh.Xnode(segment.n2));
  segment.y2 = rounded(mesh.Ynode(segment.n2));
  segment.slope = static_cast<double>(boundary.SLOPE(i));
  segment.intercept = static_cast<double>(boundary.ICEPT(i));
  return segment;
}

bool within(double value, double a, double b, double t) {
  return value >= std::min(a, b) - t && value <= std::max(a, b) + t;
}

// True if a point of both lines lies within t of the segment's and of the path's bounding box.
bool on_both(const Path& path, const Segment& segment, double xi, double yi, double t) {
  return within(xi, segment.x1, segment.x2, t) && within(yi, segment.y1, segment.y2, t) &&
         within(xi, path.Xs, path.x, t) && within(yi, path.Ys, path.y, t);
}

// Stops the parcel at a wall that its path crosses; e: the element whose edge the wall is.
Crossing cross_wall(const MeshState& mesh, const Path& path, const Segment& segment, int e,
                    Place& place) {
  const double t = static_cast<double>(mesh.MESHtol);
  if (path.slope == segment.slope) return Crossing::none;
  double xi = 0.0, yi = 0.0;
  if (path.slope >= vertical_slope) {
    xi = path.Xs;
    yi = segment.intercept + segment.slope * path.Xs;
  } else {
    xi = segment.slope >= vertical_slope
             ? segment.x1
             : (segment.intercept - path.intercept) / (path.slope - segment.slope);
    yi = path.slope * xi + path.intercept;
  }
  if (!on_both(path, segment, xi, yi, t)) return Crossing::none;
  if (in_element(mesh, e, xi, yi)) {
    place = {xi, yi, e};
    return Crossing::stopped;
  }

  // Rounding has put the crossing outside: one tolerance inward, toward the third node.
  int third = 0;
  for (int n : {mesh.ELnode1(e), mesh.ELnode2(e), mesh.ELnode3(e)}) {
    if (third == 0 && n != segment.n1 && n != segment.n2) third = n;
  }
  if (third == 0) return Crossing::lost;
  const double a = std::atan2(mesh.Ynode(third) - yi, mesh.Xnode(third) - xi);
  const double qx = xi + std::cos(a) * t, qy = yi + std::sin(a) * t;
  const int found = in_element(mesh, e, qx, qy) ? e : FIND_ELEMENT(mesh, qx, qy);
  if (found == 0) return Crossing::lost;
  place = {qx, qy, found};
  return Crossing::stopped;
}

// The element of a point in the neighbour lists of e0 and of its neighbours; 0 if it is in none.
int search_lists(const MeshState& mesh, int e0, double x, double y) {
  const auto search = [&](int e) {
    const int first = mesh.NEIGHstart(e), count = mesh.NEIGHcount(e);
    for (int k = first; k < first + count; ++k) {
      const int f = mesh.NEIGHlist(k);
      if (in_element(mesh, f, x, y)) return f;
    }
    return 0;
  };
  if (const int found = search(e0); found != 0) return found;
  const int first = mesh.NEIGHstart(e0), count = mesh.NEIGHcount(e0);
  for (int k = first; k < first + count; ++k) {
    if (const int found = search(mesh.NEIGHlist(k)); found != 0) return found;
  }
  return 0;
}

// The walls that are edges of an element near e0, in the order of the boundaries: first those of e0
// itself, then those of its neighbours, each with the neighbours in list order.
Crossing search_walls(const MeshState& mesh, const TrackFields& fields, const Path& path, int e0,
                      Place& place) {
  struct Candidate {
    int boundary = 0, segment = 0, turn = 0, element = 0;
  };
  std::vector<Candidate> candidates;
  const auto collect = [&](int e, int turn) {
    const int n1 = mesh.ELnode1(e), n2 = mesh.ELnode2(e), n3 = mesh.ELnode3(e);
    for (int n : {n1, n2, n3}) {
      const auto from =
          std::lower_bound(fields.walls.begin(), fields.walls.end(), n,
                           [](const WallSegment& wall, int node) { return wall.node < node; });
      for (auto wall = from; wall != fields.walls.end() && wall->node == n; ++wall) {
        const int end = mesh.LANDbnd(wall->boundary).NODES(wall->segment + 1);
        if (end == n1 || end == n2 || end == n3) {
          candidates.push_back({wall->boundary, wall->segment, turn, e});
        }
      }
    }
  };
  const auto try_all = [&] {
    std::sort(candidates.begin(), candidates.end(), [](const auto& a, const auto& b) {
      return std::tie(a.boundary, a.segment, a.turn) < std::tie(b.boundary, b.segment, b.turn);
    });
    for (const Candidate& c : candidates) {
      const Segment segment = segment_of(mesh, mesh.LANDbnd(c.boundary), c.segment);
      const Crossing hit = cross_wall(mesh, path, segment, c.element, place);
      if (hit != Crossing::none) return hit;
    }
    return Crossing::none;
  };
  collect(e0, 0);
  if (const Crossing hit = try_all(); hit != Crossing::none) return hit;
  candidates.clear();
  const int first = mesh.NEIGHstart(e0), count = mesh.NEIGHcount(e0);
  for (int k = 0; k < count; ++k) collect(mesh.NEIGHlist(first + k), k);
  return try_all();
}

// A point of the mesh beside the start, for a wall that was met but not found.
bool step_aside(const MeshState& mesh, const Path& path, int e0, Place& place) {
  const double lx = path.x - path.Xs, ly = path.y - path.Ys;
  const float length = static_cast<float>(std::sqrt(lx * lx + ly * ly));
  const double step = static_cast<double>(std::min(mesh.MESHtol, length));
  const auto passes = [&](double qx, double qy) {
    const int found = in_element(mesh, e0, qx, qy) ? e0 : FIND_ELEMENT(mesh, qx, qy);
    if (found != 0) place = {qx, qy, found};
    return found != 0;
  };
  constexpr double right_angle = 1.570795;
  const double a = std::atan2(ly, lx);
  for (const double side : {a + right_angle, a - right_angle}) {
    if (passes(path.Xs + std::cos(side) * step, path.Ys + std::sin(side) * step)) return true;
  }
  for (const double sx : {-1.0, 1.0}) {
    for (const double sy : {-1.0, 1.0}) {
      if (passes(path.Xs + sx * step, path.Ys + sy * step)) return true;
    }
  }
  return false;
}

bool leaves_by_open_boundary(const MeshState& mesh, Path path) {
  path.slope = path.x == path.Xs ? 999999.0 : (path.y - path.Ys) / (path.x - path.Xs);
  path.intercept = path.Ys - path.Xs * path.slope;
  for (int b = 1; b <= mesh.NUMopen; ++b) {
    const Boundary& boundary = mesh.OPENbnd(b);
    for (int i = 1; i < boundary.NUMpts; ++i) {
      const Segment segment = segment_of(mesh, boundary, i);
      if (segment.slope == path.slope) continue;
      const double xi = segment.slope >= vertical_slope
                            ? segment.x1
                            : (segment.intercept - path.intercept) / (path.slope - segment.slope);
      const double yi = path.slope * xi + path.intercept;
      if (on_both(path, segment, xi, yi, 0.0)) return true;
    }
  }
  return false;
}

// The full search for a position that is not in the start element. Returns the status; `place`
// holds the position and gets the element.
int search(const RunState& run, const TrackFields& fields, const Stage& s, Place& place) {
  const MeshState& mesh = run.mesh;
  const int e0 = s.e0;
  const bool wall = fields.elements(e0).wall;
  const bool way_out = is_true(mesh.OPENelem(e0)) && !is_true(mesh.LANDelem(e0));
  for (bool shifted = false;; shifted = true) {
    if (shifted && in_element(mesh, e0, place.x, place.y)) {
      place.element = e0;
      return 1;
    }
    place.element = search_lists(mesh, e0, place.x, place.y);
    if (place.element != 0) return 1;
    Path path{s.Xs, s.Ys, place.x, place.y, 0.0, 0.0};

    // Walls of the start element.
    if (wall) {
      LINE_COEFS8(s.Xs, place.x, s.Ys, place.y, path.slope, path.intercept);
      const ElementBoundaries& refs = mesh.LANDrefs(e0);
      for (std::size_t j = 0; j < 3; ++j) {
        if (refs.BND[j] == 0) continue;
        const Segment segment = segment_of(mesh, mesh.LANDbnd(refs.BND[j]), refs.SEG[j]);
        const Crossing hit = cross_wall(mesh, path, segment, e0, place);
        if (hit == Crossing::stopped) return 1;
        if (hit == Crossing::lost) return lost_behind_wall;
      }
    }
    place.element = FIND_ELEMENT(mesh, place.x, place.y);
    if (place.element != 0) return 1;

    // Outside the mesh.
    if (wall) {
      const Crossing hit = search_walls(mesh, fields, path, e0, place);
      if (hit == Crossing::stopped) return 1;
      if (hit == Crossing::lost) return lost_behind_wall;
      return step_aside(mesh, path, e0, place) ? 1 : lost_no_wall_found;
    }
    if (way_out && leaves_by_open_boundary(mesh, path)) return lost_open_boundary;
    if (!run.settings.rvs_mesh || shifted) return lost_off_mesh;
    // A telescoping mesh can leave slits between its elements.
    place.x = place.x + static_cast<double>(0.01f * std::sqrt(mesh.AREAelem(e0)));
  }
}

}  // namespace

void search_element(const RunState& run, const TrackFields& fields, Stage& s) {
  Place place{s.x, s.y, 0};
  s.status = search(run, fields, s, place);
  s.x = place.x;
  s.y = place.y;
  s.element = place.element;
}

}  // namespace dfl
