// Nodes a second of one bed update.

#include <benchmark/benchmark.h>

#include <cmath>
#include <utility>

#include "control/run_state.h"
#include "sediment/bed_fields.h"

namespace {

// A lattice of side x side nodes in 2 to 12 m of water with a turning current and waves; the
// arrays that a bed update reads and writes, set by hand.
void fill(dfl::RunState& run, int side, bool waves) {
  const int nodes = side * side, elements = 2 * (side - 1) * (side - 1);
  dfl::MeshState& mesh = run.mesh;
  mesh.NUMnode = nodes;
  mesh.NUMelem = elements;
  mesh.Xnode.allocate(nodes);
  mesh.Ynode.allocate(nodes);
  mesh.AREAelem.allocate(elements, 5000.0f);
  for (dfl::Array<int>* list : {&mesh.ELnode1, &mesh.ELnode2, &mesh.ELnode3}) {
    list->allocate(elements);
  }
  dfl::SedimentState& bed = run.sediment;
  for (dfl::Array<float>* field : {&bed.USTAR, &bed.TAUbed, &bed.KSnode, &bed.BEDFORMnode,
                                   &bed.MOBILITYnode, &bed.QSED, &bed.DZDT}) {
    field->allocate(nodes);
  }
  bed.BEDrate.allocate(elements);
  bed.D50.allocate(nodes, 0.0002f);
  bed.D90.allocate(nodes, 0.0004f);
  bed.BEDmobile.allocate(nodes, dfl::logical_true);
  run.flow.Hnode.allocate(nodes);
  run.flow.Unode.allocate(nodes, 0, 0);
  run.flow.Vnode.allocate(nodes, 0, 0);
  run.waves.WAVEheight.allocate(nodes);
  run.waves.WAVEperiod.allocate(nodes, 1.0f);
  run.waves.WAVEdirx.allocate(nodes);
  run.waves.WAVEdiry.allocate(nodes);
  run.waves.WAVEbreak.allocate(nodes);
  for (int n = 1; n <= nodes; ++n) {
    const float x = static_cast<float>((n - 1) % side) / static_cast<float>(side);
    const float y = static_cast<float>((n - 1) / side) / static_cast<float>(side);
    mesh.Xnode(n) = 100.0 * ((n - 1) % side);
    mesh.Ynode(n) = 100.0 * ((n - 1) / side);
    run.flow.Hnode(n) = 2.0f + 10.0f * x;
    run.flow.Unode(n, 0) = 0.8f * std::cos(6.0f * y);
    run.flow.Vnode(n, 0) = 0.8f * std::sin(6.0f * y);
    if (!waves) continue;
    run.waves.WAVEheight(n) = 0.3f + y;
    run.waves.WAVEperiod(n) = 5.0f + 3.0f * x;
    run.waves.WAVEdirx(n) = 0.6f;
    run.waves.WAVEdiry(n) = 0.8f;
  }
  int e = 0;
  for (int j = 0; j + 1 < side; ++j) {
    for (int i = 1; i < side; ++i) {
      const int a = j * side + i, b = a + 1, c = b + side, d = a + side;
      for (const auto& [second, third] : {std::pair(b, c), std::pair(c, d)}) {
        ++e;
        mesh.ELnode1(e) = a;
        mesh.ELnode2(e) = second;
        mesh.ELnode3(e) = third;
      }
    }
  }
  run.settings.salinity = 0.034f;
  run.settings.water_density = 1025.0f;
  run.settings.water_viscosity = 1.1e-6f;
  run.settings.time_step = 30.0;
  run.clock.NStep = 2;
}

void bed_update(benchmark::State& state, dfl::EulerianMethod method) {
  constexpr int side = 100;
  dfl::RunState run;
  fill(run, side, state.range(0) != 0);
  run.settings.method.eulerian = method;
  for (auto _ : state) {
    dfl::BED_FIELDS(run);
    benchmark::DoNotOptimize(run.sediment.DZDT.data());
  }
  state.SetItemsProcessed(state.iterations() * side * side);
}

}  // namespace

BENCHMARK_CAPTURE(bed_update, pie, dfl::EulerianMethod::pie)
    ->ArgName("waves")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(bed_update, van_rijn, dfl::EulerianMethod::van_rijn)
    ->ArgName("waves")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond);
