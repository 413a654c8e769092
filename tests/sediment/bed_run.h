#pragma once

// Runs of one bed update on a small rectangle of water.

#include "common/test_run.h"
#include "mesh/geometry.h"

namespace dfl::test {

inline void set_areas(MeshState& mesh) {
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    const int a = mesh.ELnode1(e), b = mesh.ELnode2(e), c = mesh.ELnode3(e);
    mesh.AREAelem(e) = static_cast<float>(TRIANGLE_AREA(
        mesh.Xnode(a), mesh.Ynode(a), mesh.Xnode(b), mesh.Ynode(b), mesh.Xnode(c), mesh.Ynode(c)));
  }
}

// columns by rows cells of 10 m with `depth` of water, uniform sand, no flow and no waves.
inline void bed_run(RunState& run, int columns, int rows, float depth) {
  std::vector<TestNode> nodes;
  std::vector<TestElement> elements;
  rectangle_mesh(columns, rows, 10.0, depth, nodes, elements);
  set_mesh(run, nodes, elements);
  MeshState& mesh = run.mesh;
  set_areas(mesh);
  run.flow.Hnode.fill(depth);
  run.sediment.D35.allocate(mesh.NUMnode, 0.00015f);
  run.sediment.D50.allocate(mesh.NUMnode, 0.0002f);
  run.sediment.D90.allocate(mesh.NUMnode, 0.0004f);
  run.sediment.BEDmobile.allocate(mesh.NUMnode, logical_true);
  run.settings.salinity = 0.034f;
  run.settings.water_density = 1025.0f;
  run.settings.water_viscosity = 1.1e-6f;
  run.settings.time_step = 10.0;
  run.clock.NStep = 1;
  quiet(run, "bed_run");
}

inline void set_current(RunState& run, float u, float v) {
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    run.flow.Unode(n, 0) = u;
    run.flow.Vnode(n, 0) = v;
  }
}

// The lines that `action` writes to the echo file of the run.
template <class Action>
std::vector<std::string> echoed(RunState& run, const Action& action) {
  const TemporaryFolder folder;
  run.messages.echo_file = std::fopen(folder.path("echo").c_str(), "w");
  action();
  std::fclose(run.messages.echo_file);
  run.messages.echo_file = nullptr;
  return lines_of(read_text(folder.path("echo")));
}

inline void set_waves(RunState& run, float H, float T, float wx, float wy) {
  run.waves.WAVEheight.fill(H);
  run.waves.WAVEperiod.fill(T);
  run.waves.WAVEdirx.fill(wx);
  run.waves.WAVEdiry.fill(wy);
}

}  // namespace dfl::test
