#pragma once

// Node and element values in the order in which tracking reads them: one record of a cache line a
// node, one of two cache lines an element.

#include <array>
#include <cstdint>
#include <vector>

#include "control/run_state.h"
#include "parcels/aligned_records.h"

namespace dfl {

// Places of the fields in a node record.
enum NodeField : std::size_t {
  at_H,       // depth, m
  at_B,       // bed below datum, m
  at_D90,     // m
  at_KS,      // total roughness, m
  at_U,       // depth average, m/s
  at_V,       // depth average, m/s
  at_TAUbed,  // Pa
  at_waves,   // 0 where the node has no waves at all, else 1
  passive_fields,
  at_D50 = passive_fields,  // m
  at_Hw,                    // wave height, m
  at_Tw,                    // wave period, s
  at_Ax,                    // wave direction
  at_Ay,                    // wave direction
  at_Db,                    // breaking dissipation
  at_ETAnew,                // m
  at_ETAold,                // m
  node_fields,
  place_fields = 4,  // the first, with depth and bed: all that the end of a step reads
};
static_assert(at_H < place_fields && at_B < place_fields);
using NodeValues = std::array<float, node_fields>;

struct alignas(64) TrackNode {
  NodeValues f{};
};

struct alignas(128) TrackElement {
  double x1 = 0.0, y1 = 0.0, x2 = 0.0, y2 = 0.0, x3 = 0.0, y3 = 0.0;
  std::array<int, 3> across{};  // element behind edge 1-2, 2-3, 3-1; 0 none
  // A point whose three half-plane values are all below this lies in no other element, also not by
  // rounding; -infinity where that is not sure. Mesh units squared.
  float well_inside = 0.0f;

  double cross1 = 0.0, cross2 = 0.0, cross3 = 0.0;  // terms of the area weights
  int n1 = 0, n2 = 0, n3 = 0;
  float area = 0.0f;
  float divergence = 0.0f;  // of the depth-averaged flow, 1/s
  float BEDrate = 0.0f;     // m/s
  bool wall = false;        // touches a land boundary and no open one
};

// A segment of a land boundary by its first node.
struct WallSegment {
  int node = 0, boundary = 0, segment = 0;
};

using TrackElements = AlignedRecords<TrackElement>;

struct TrackFields {
  bool geometry_packed = false;
  AlignedRecords<TrackNode> nodes;
  TrackElements elements;

  std::vector<WallSegment> walls;  // ascending

  // What the settings say, once for all parcels.
  AdvectionMethod advection = AdvectionMethod::q3d;
  bool uniform_water = true;    // density and viscosity are those of the cards
  bool plain_calm = true;       // a place without waves needs no wave quantity
  bool turbulent_draws = true;  // the stress of a stage draws a normal number
  bool passive_steps = false;   // track_passive serves parcels at or below water density
  bool plain_grains = false;    // move_plain_grain serves grains in motion
  bool bed_may_keep = false;    // a parcel on the bed that is not picked up needs no velocity
  bool estimates = false;       // estimates of the centre of motion hold
  double dt8 = 0.0;             // s
  float dt = 0.0f;              // s
  float cbrt_rhos = 0.0f;       // dimensionless grain size of the bed material over its size, 1/m
  float sh_etmin = 0.0f;        // walk scale at the least diffusivity, m/s
  // Of bed material in uniform water, for a lower bound of its pick-up.
  float weight_rhos = 0.0f;   // acceleration of a grain under water, m/s2; 0 where not denser
  float least_excess = 0.0f;  // Shields number over the highest threshold, times size over stress
  float layer_scale = 0.0f;   // stress over the thickness of the mobile layer, Pa/m
  double time_new = 0.0, time_old = 0.0;  // of the flow frames, s
};

// Dimensionless grain size over the size itself, 1/m.
float grain_scale(float RHOs, float rho, float nu);

}  // namespace dfl
