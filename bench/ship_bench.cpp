// Nodes a second of one ship pass: blend of the flow, wash of two propellers and drawdown.

#include <benchmark/benchmark.h>

#include <cmath>

#include "control/run_state.h"
#include "ships/ship_effects.h"

namespace {

// A lattice of side x side nodes of `cell` m in 12 m of water with a ship in the middle.
void fill(dfl::RunState& run, int side, double cell, int layers) {
  const int nodes = side * side;
  run.mesh.NUMnode = nodes;
  run.mesh.Xnode.allocate(nodes);
  run.mesh.Ynode.allocate(nodes);
  for (int n = 1; n <= nodes; ++n) {
    run.mesh.Xnode(n) = cell * ((n - 1) % side);
    run.mesh.Ynode(n) = cell * ((n - 1) / side);
  }
  dfl::FlowState& flow = run.flow;
  flow.FLOW2D = layers == 0;
  flow.NUMlayers = layers;
  flow.ETAnode.allocate(nodes);
  flow.Hnode.allocate(nodes, 12.0f);
  flow.Unode.allocate(nodes, 0, layers);
  flow.Vnode.allocate(nodes, 0, layers);
  flow.SIGMA.allocate(layers);
  for (int k = 1; k <= layers; ++k) {
    flow.SIGMA(k) = static_cast<float>(k - 1) / static_cast<float>(layers - 1);
  }

  dfl::Settings& s = run.settings;
  s.drawdown_on = s.propwash_on = true;
  s.water_density = 1025.0f;
  dfl::ShipState& ships = run.ships;
  ships.NUMprops = 2;
  ships.PROPdiameter = 6.0f;
  ships.PROPpitch = 1.0f;
  ships.PROPmethod = 1;
  ships.PROPdrive = 80.0f;
  ships.continuity = true;
  ships.return_flow = dfl::ReturnFlow::square;
  ships.SHIPlength = 180.0f;
  ships.SHIPbeam = 28.0f;
  ships.SHIPdraft = 8.0f;
  ships.SHIPspeed = 5.15f;
  dfl::SHIP_STAGNATION(run);
  ships.present = ships.draws_down = true;
  ships.xs = ships.ys = static_cast<float>(cell * side / 2.0);
  ships.heading = 90.0f;
  for (std::size_t k = 0; k < 2; ++k) {
    ships.propeller[k] = {ships.xs, ships.ys + (k == 0 ? 6.0f : -6.0f), 5.0f, 90.0f, true};
  }
  ships.depth = 12.0f;
  ships.Vr = 0.6f;
  ships.Lr = 100.0f;
}

// Arguments: levels above the depth average, size of a cell in m. With cells of 1 m the ship and
// its jet fill the lattice: no node is far away.
void ship_pass(benchmark::State& state) {
  constexpr int side = 400;
  const int layers = static_cast<int>(state.range(0));
  dfl::RunState run;
  fill(run, side, static_cast<double>(state.range(1)), layers);
  for (auto _ : state) {
    const dfl::ShipEffects ship = dfl::ship_effects(run);
    dfl::NodeDrawdown drawdown;
    for (int n = 1; n <= run.mesh.NUMnode; ++n) {
      run.flow.Hnode(n) = 12.0f;
      for (int k = 0; k <= layers; ++k) {
        run.flow.Unode(n, k) = run.flow.Vnode(n, k) = 0.1f;
        dfl::add_ship(run, ship, n, k, drawdown);
      }
    }
    benchmark::DoNotOptimize(run.flow.Unode.data());
  }
  state.SetItemsProcessed(state.iterations() * side * side * (layers + 1));
}
BENCHMARK(ship_pass)->Args({0, 20})->Args({0, 1})->Args({8, 20})->Unit(benchmark::kMillisecond);

}  // namespace
