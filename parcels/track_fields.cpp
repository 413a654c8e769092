#include "parcels/track_fields.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "flow/vertical_profile.h"
#include "parcels/mesh_walk.h"
#include "parcels/track_parcel.h"
#include "parcels/track_stage.h"

namespace dfl {

namespace {

// Values of an array that a run may lack.
float value_or(const Array<float>& field, int n, float other) {
  return field.allocated() ? field(n) : other;
}

void pack_geometry(const MeshState& mesh, TrackFields& fields) {
  fields.nodes.allocate(mesh.NUMnode);
  fields.elements.allocate(mesh.NUMelem);
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    TrackElement& t = fields.elements(e);
    t.n1 = mesh.ELnode1(e);
    t.n2 = mesh.ELnode2(e);
    t.n3 = mesh.ELnode3(e);
    t.x1 = mesh.Xnode(t.n1);
    t.y1 = mesh.Ynode(t.n1);
    t.x2 = mesh.Xnode(t.n2);
    t.y2 = mesh.Ynode(t.n2);
    t.x3 = mesh.Xnode(t.n3);
    t.y3 = mesh.Ynode(t.n3);
    t.cross1 = t.x2 * t.y3 - t.x3 * t.y2;
    t.cross2 = t.x3 * t.y1 - t.x1 * t.y3;
    t.cross3 = t.x1 * t.y2 - t.x2 * t.y1;
    t.area = mesh.AREAelem(e);
    t.wall = is_true(mesh.LANDelem(e)) && !is_true(mesh.OPENelem(e));
  }
  link_elements(mesh.NUMnode, fields.elements);
  find_overlaps(fields.elements);

  fields.walls.clear();
  for (int b = 1; b <= mesh.NUMland; ++b) {
    const Boundary& boundary = mesh.LANDbnd(b);
    for (int i = 1; i < boundary.NUMpts; ++i) fields.walls.push_back({boundary.NODES(i), b, i});
  }
  std::sort(fields.walls.begin(), fields.walls.end(), [](const auto& a, const auto& b) {
    return std::tie(a.node, a.boundary, a.segment) < std::tie(b.node, b.boundary, b.segment);
  });
  fields.geometry_packed = true;
}

void pack_nodes(const RunState& run, TrackFields& fields) {
  const FlowState& flow = run.flow;
  const SedimentState& bed = run.sediment;
  const WaveState& waves = run.waves;
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    NodeValues& f = fields.nodes(n).f;
    f[at_H] = flow.Hnode(n);
    f[at_B] = run.mesh.DEPTHnode(n);
    f[at_D90] = bed.D90(n);
    f[at_D50] = bed.D50(n);
    f[at_KS] = bed.KSnode(n);
    f[at_U] = flow.Unode(n, 0);
    f[at_V] = flow.Vnode(n, 0);
    f[at_TAUbed] = bed.TAUbed(n);
    f[at_Hw] = waves.WAVEheight(n);
    f[at_Tw] = waves.WAVEperiod(n);
    f[at_Ax] = waves.WAVEdirx(n);
    f[at_Ay] = waves.WAVEdiry(n);
    f[at_Db] = waves.WAVEbreak(n);
    f[at_ETAnew] = value_or(flow.ETAnew, n, 0.0f);
    f[at_ETAold] = value_or(flow.ETAold, n, 0.0f);
    f[at_waves] = calm_node(waves, n) ? 0.0f : 1.0f;
  }
}

void pack_elements(const RunState& run, TrackFields& fields) {
  const bool vertical = run.flow.FLOW2D && fields.advection != AdvectionMethod::d2;
  for (int e = 1; e <= run.mesh.NUMelem; ++e) {
    TrackElement& t = fields.elements(e);
    t.BEDrate = run.sediment.BEDrate(e);
    if (!vertical) continue;
    const NodeValues& a = fields.nodes(t.n1).f;
    const NodeValues& b = fields.nodes(t.n2).f;
    const NodeValues& c = fields.nodes(t.n3).f;
    t.divergence = DFDX(t.area, t.x1, t.y1, t.x2, t.y2, t.x3, t.y3, a[at_U], b[at_U], c[at_U]) +
                   DFDY(t.area, t.x1, t.y1, t.x2, t.y2, t.x3, t.y3, a[at_V], b[at_V], c[at_V]);
  }
}

void pack_settings(const RunState& run, TrackFields& fields) {
  const Settings& set = run.settings;
  fields.advection = set.method.advection;
  fields.uniform_water = run.flow.UNIFORMden && run.flow.UNIFORMtem;
  fields.plain_calm =
      set.method.eulerian == EulerianMethod::pie && set.method.centroid == CentroidMethod::rouse;
  fields.turbulent_draws = set.turbulent_shear && !set.debug;
  fields.passive_steps = fields.advection == AdvectionMethod::d2 && run.flow.FLOW2D &&
                         fields.uniform_water && fields.plain_calm && !set.wave_breaking &&
                         !set.wave_mass_transport && !set.undertow && !set.flow_output;
  fields.bed_may_keep = !set.flow_output && set.method.velocity != VelocityMethod::unknown &&
                        (fields.advection == AdvectionMethod::q3d ||
                         (fields.advection == AdvectionMethod::d3 && set.bed_interaction));
  fields.estimates = fields.advection == AdvectionMethod::q3d && run.flow.FLOW2D &&
                     set.method.centroid == CentroidMethod::rouse && set.bed_porosity < 0.99f &&
                     (set.method.velocity == VelocityMethod::log ||
                      set.method.velocity == VelocityMethod::two_point);
  fields.plain_grains = fields.estimates && set.method.velocity == VelocityMethod::log &&
                        fields.uniform_water && fields.plain_calm && !set.wave_breaking &&
                        !set.wave_mass_transport && !set.undertow && !set.debug;
  fields.dt8 = set.time_step;
  fields.dt = static_cast<float>(set.time_step);
  fields.cbrt_rhos = grain_scale(set.rhos, set.water_density, set.water_viscosity);
  const float excess = set.rhos / set.water_density - 1.0f;
  const bool sinks = excess > 0.01f;
  fields.weight_rhos = sinks ? excess * gravity : 0.0f;
  fields.least_excess = sinks ? 1.0f / (set.water_density * gravity * excess * 0.36f) : 0.0f;
  fields.layer_scale =
      (1.0f - set.bed_porosity) * (set.rhos - set.water_density) * gravity * tan_of_repose;
  fields.sh_etmin =
      static_cast<float>(std::sqrt(6.0 * static_cast<double>(set.etmin) / set.time_step));
  if (run.flow.FLOW2D) continuity_times(run, fields.time_new, fields.time_old);
}

}  // namespace

float grain_scale(float RHOs, float rho, float nu) {
  return std::pow((RHOs / rho - 1.0f) * 9.81f / (nu * nu), 1.0f / 3.0f);
}

TrackFields* make_track_fields() {
  return new TrackFields;
}

void free_track_fields(TrackFields* fields) {
  delete fields;
}

void pack_track_fields(const RunState& run, TrackFields& fields) {
  if (!fields.geometry_packed) pack_geometry(run.mesh, fields);
  pack_settings(run, fields);
  pack_nodes(run, fields);
  pack_elements(run, fields);
}

}  // namespace dfl
