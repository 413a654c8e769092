#include "sediment/morphology.h"

#include <algorithm>

#include "flow/vertical_profile.h"

namespace dfl {

namespace {

void need_size(Array<float>& values, int n) {
  if (values.size() != n) values.allocate(n);
}

// Value of one gradient operation on element e of the bed.
template <class Gradient>
float bed_gradient(const MeshState& mesh, int e, Gradient gradient) {
  const int n1 = mesh.ELnode1(e), n2 = mesh.ELnode2(e), n3 = mesh.ELnode3(e);
  return gradient(mesh.AREAelem(e), mesh.Xnode(n1), mesh.Ynode(n1), mesh.Xnode(n2), mesh.Ynode(n2),
                  mesh.Xnode(n3), mesh.Ynode(n3), mesh.DEPTHnode(n1), mesh.DEPTHnode(n2),
                  mesh.DEPTHnode(n3));
}

}  // namespace

void NODE_AVERAGE(const MeshState& mesh, const Array<float>& element_values,
                  Array<float>& node_values) {
  node_values.allocate(mesh.NUMnode);
  Array<float> weight;
  weight.allocate(mesh.NUMnode);
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    const float area = mesh.AREAelem(e);
    const float value = area * element_values(e);
    for (int n : {mesh.ELnode1(e), mesh.ELnode2(e), mesh.ELnode3(e)}) {
      node_values(n) = node_values(n) + value;
      weight(n) = weight(n) + area;
    }
  }
  for (int n = 1; n <= mesh.NUMnode; ++n) {
    node_values(n) = weight(n) == 0.0f ? 0.0f : node_values(n) / weight(n);
  }
}

void BED_SLOPES(RunState& run) {
  const MeshState& mesh = run.mesh;
  SedimentState& sediment = run.sediment;
  need_size(sediment.ELEMwork, mesh.NUMelem);
  // Depths are positive down: a bed that rises has a falling depth.
  for (int e = 1; e <= mesh.NUMelem; ++e) sediment.ELEMwork(e) = -bed_gradient(mesh, e, DFDX);
  NODE_AVERAGE(mesh, sediment.ELEMwork, sediment.BEDslopeX);
  for (int e = 1; e <= mesh.NUMelem; ++e) sediment.ELEMwork(e) = -bed_gradient(mesh, e, DFDY);
  NODE_AVERAGE(mesh, sediment.ELEMwork, sediment.BEDslopeY);
}

void SMOOTH_DZDT(RunState& run) {
  const MeshState& mesh = run.mesh;
  SedimentState& sediment = run.sediment;
  need_size(sediment.ELEMwork, mesh.NUMelem);
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    sediment.ELEMwork(e) = sediment.DZDT(mesh.ELnode1(e)) / 3.0f +
                           sediment.DZDT(mesh.ELnode2(e)) / 3.0f +
                           sediment.DZDT(mesh.ELnode3(e)) / 3.0f;
  }
  Array<float> smoothed;
  NODE_AVERAGE(mesh, sediment.ELEMwork, smoothed);
  for (int n = 1; n <= mesh.NUMnode; ++n) {
    if (run.flow.Hnode(n) > run.settings.min_depth) sediment.DZDT(n) = smoothed(n);
  }
}

void MORPHOLOGY_STEP(RunState& run) {
  constexpr double fastest = 0.1;  // m/s; holds a wild transport rate
  const Settings& settings = run.settings;
  SedimentState& sediment = run.sediment;
  MeshState& mesh = run.mesh;
  const double dt = settings.time_step;

  if (!settings.active_morphology) {
    for (int n = 1; n <= mesh.NUMnode; ++n) {
      if (!is_true(sediment.BEDmobile(n))) continue;
      sediment.BEDlevel(n) = static_cast<float>(static_cast<double>(sediment.BEDlevel(n)) -
                                                static_cast<double>(sediment.DZDT(n)) * dt);
    }
    return;
  }

  // BEDchange grows at a hard bottom too, although nothing moves there.
  for (int n = 1; n <= mesh.NUMnode; ++n) {
    const double w = std::clamp(static_cast<double>(sediment.DZDT(n)), -fastest, fastest);
    sediment.BEDchange(n) = sediment.BEDchange(n) + w * dt;
    if (!is_true(sediment.BEDmobile(n))) continue;
    mesh.DEPTHnode(n) =
        static_cast<float>(static_cast<double>(sediment.DEPTHstart(n)) - sediment.BEDchange(n));
    sediment.BEDlevel(n) = mesh.DEPTHnode(n);
  }
  if (settings.slope_effects) BED_SLOPES(run);
}

}  // namespace dfl
