#pragma once

// Runs with a mesh, fields and parcels set by hand, for tests and timing of the tracking step.

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "bench/gyre_mesh.h"
#include "flow/flow_frames.h"
#include "mesh/boundaries.h"
#include "mesh/geometry.h"
#include "mesh/neighbours.h"
#include "parcels/population.h"
#include "parcels/random_stream.h"
#include "parcels/track_parcel.h"
#include "tests/common/test_run.h"

namespace dfl::test {

struct FreeFields {
  void operator()(TrackFields* fields) const { free_track_fields(fields); }
};
using FieldsPointer = std::unique_ptr<TrackFields, FreeFields>;

inline FieldsPointer packed_fields(const RunState& run) {
  FieldsPointer fields(make_track_fields());
  pack_track_fields(run, *fields);
  return fields;
}

inline void set_boundary(RunState& run, Boundary& boundary, const std::vector<int>& nodes) {
  boundary.NODES.allocate(static_cast<int>(nodes.size()));
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    boundary.NODES(static_cast<int>(i) + 1) = nodes[i];
  }
  set_boundary_lines(run.mesh, boundary);
}

// Geometry, neighbour lists and boundaries of a mesh whose nodes and elements are set.
inline void finish_mesh(RunState& run, const TemporaryFolder& folder,
                        const std::vector<std::vector<int>>& open,
                        const std::vector<std::vector<int>>& land) {
  quiet(run, folder.path("case"));
  run.messages.HOSTEDmode = true;  // no progress lines
  run.settings.neighbor_file = folder.path("case.nbr");
  std::remove(run.settings.neighbor_file.c_str());
  MeshState& mesh = run.mesh;
  mesh.NUMopen = static_cast<int>(open.size());
  mesh.NUMland = static_cast<int>(land.size());
  mesh.OPENbnd.allocate(mesh.NUMopen);
  mesh.LANDbnd.allocate(mesh.NUMland);
  for (int b = 1; b <= mesh.NUMopen; ++b) {
    set_boundary(run, mesh.OPENbnd(b), open[static_cast<std::size_t>(b) - 1]);
  }
  for (int b = 1; b <= mesh.NUMland; ++b) {
    set_boundary(run, mesh.LANDbnd(b), land[static_cast<std::size_t>(b) - 1]);
  }
  MESH_GEOMETRY(run);
  MESH_NEIGHBOURS(run);
  MESH_BOUNDARIES(run);
}

// The sides of rectangle_mesh: the right one upward, the others from its upper to its lower end.
inline void box_sides(int columns, int rows, std::vector<int>& right, std::vector<int>& others) {
  const auto number = [&](int i, int j) { return j * (columns + 1) + i + 1; };
  for (int j = 0; j <= rows; ++j) right.push_back(number(columns, j));
  for (int i = columns; i > 0; --i) others.push_back(number(i, rows));
  for (int j = rows; j > 0; --j) others.push_back(number(0, j));
  for (int i = 0; i <= columns; ++i) others.push_back(number(i, 0));
}

// Water of constant properties at rest over the mesh's bed, surface at the datum.
inline void still_water(RunState& run) {
  Settings& set = run.settings;
  set.currents = true;
  set.water_density = 1025.0f;
  set.water_viscosity = 1.14e-6f;
  set.salinity = 0.034f;
  set.time_step = 10.0;
  run.clock.NStep = 1;
  allocate_flow_arrays(run);
  for (Array<float>* size : {&run.sediment.D35, &run.sediment.D50, &run.sediment.D90}) {
    size->allocate(run.mesh.NUMnode);
  }
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    run.flow.Hnode(n) = run.mesh.DEPTHnode(n);
    run.sediment.D35(n) = 0.00015f;
    run.sediment.D50(n) = 0.0002f;
    run.sediment.D90(n) = 0.0003f;
    run.sediment.KSnode(n) = 0.02f;
    run.sediment.TAUbed(n) = 0.0f;
  }
}

// A current (u, v) at node n and the stress on the bed that goes with it.
inline void set_current(RunState& run, int n, float u, float v) {
  run.flow.Unode(n, 0) = u;
  run.flow.Vnode(n, 0) = v;
  const float S = std::sqrt(u * u + v * v);
  const float H = std::max(run.flow.Hnode(n), 0.05f);
  const float drag = 0.4f / (std::log(H / run.sediment.KSnode(n) * 30.0f) - 1.0f);
  run.sediment.TAUbed(n) = run.settings.water_density * drag * drag * S * S;
}

// A parcel in motion at a place of the mesh.
inline Parcel parcel_at(const RunState& run, double x, double y, float height, float RHOs, float D,
                        float Ws) {
  Parcel p;
  p.X = x;
  p.Y = y;
  p.h = height;
  p.RHOs = RHOs;
  p.D = D;
  p.Ws = Ws;
  p.TAUcr = 0.18f;
  p.TAUcd = 0.15f;
  p.ALIVE = logical_true;
  p.MASS = 1.0f;
  for (int e = 1; e <= run.mesh.NUMelem && p.ELEMENT == 0; ++e) {
    if (in_element(run.mesh, e, x, y)) p.ELEMENT = e;
  }
  if (p.ELEMENT != 0) {
    const Weights w = element_weights(run.messages, run.mesh, p.ELEMENT, x, y);
    p.Z = height - NODE_INTERP(w, run.mesh.ELnode1(p.ELEMENT), run.mesh.ELnode2(p.ELEMENT),
                               run.mesh.ELnode3(p.ELEMENT), run.mesh.DEPTHnode);
  }
  return p;
}

// The fields that a step may change, as bytes.
inline bool same_bytes(const Parcel& a, const Parcel& b) {
  const auto same = [](const auto& p, const auto& q) { return std::memcmp(&p, &q, sizeof p) == 0; };
  return same(a.X, b.X) && same(a.Y, b.Y) && same(a.MOBILITY, b.MOBILITY) && same(a.Z, b.Z) &&
         same(a.h, b.h) && same(a.BURIAL, b.BURIAL) && same(a.ELEMENT, b.ELEMENT) &&
         same(a.ALIVE, b.ALIVE) && same(a.DORMANT, b.DORMANT) && same(a.LOSS, b.LOSS);
}

// The same stream from here on; a kept normal number counts only while it is in hand.
inline bool same_stream(const RandomStream& a, const RandomStream& b) {
  return a.state == b.state && a.RAND == b.RAND && a.SEEDS == b.SEEDS && a.FIXED == b.FIXED &&
         a.gauss_kept == b.gauss_kept && (!a.gauss_kept || a.gauss_value == b.gauss_value);
}

// Double gyre in the closed basin of bench::gyre_mesh, largest speed `speed`, m/s.
inline void double_gyre(RunState& run, float speed) {
  constexpr double pi = 3.14159265358979;
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    const double x = run.mesh.Xnode(n) / bench::basin_width;  // 0 to 2
    const double y = run.mesh.Ynode(n) / bench::basin_width;  // 0 to 1
    const double u = -std::sin(pi * x) * std::cos(pi * y);
    const double v = std::cos(pi * x) * std::sin(pi * y);
    set_current(run, n, speed * static_cast<float>(u), speed * static_cast<float>(v));
  }
}

}  // namespace dfl::test
