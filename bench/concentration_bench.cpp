// Gaussian concentration maps on a graded mesh: cells of the clouds for each second, by the number
// of parcels and of elements.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <random>

#include "bench/inlet_mesh.h"
#include "mesh/geometry.h"
#include "output/concentration.h"

namespace dfl {
namespace {

// Cells of one parcel: 360 over the angle steps of the rings.
std::int64_t cells_of_parcel(int method) {
  std::int64_t cells = 0;
  for (int n = 0; n <= 50; ++n) {
    const double range = method == 3 ? 9.0 : 5.0;
    int step = method == 1 ? 1 : static_cast<int>(std::lround((50 - n) * range / 50.0 + 1.0));
    if (step == 7) step = 6;
    cells += 360 / step;
  }
  return cells;
}

// Parcels in motion around the inlet, released in the last half day.
std::unique_ptr<RunState> inlet(int parcels, int elements) {
  auto run = std::make_unique<RunState>();
  run->messages.console_out = std::fopen("/dev/null", "w");
  run->messages.HOSTEDmode = true;
  bench::set_gyre_mesh(*run, bench::inlet_mesh(elements));
  MESH_GEOMETRY(*run);
  run->flow.Hnode.fill(10.0f);
  run->settings.gaussian_value = 0.5f;
  ParcelState& p = run->parcels;
  p.NUMparcels = p.NUMborn = p.NUMalive = p.NUMlisted = parcels;
  p.PARCELS.allocate(parcels);
  p.ALIVElist.allocate(parcels);
  std::mt19937_64 random(3);
  std::normal_distribution<double> x(0.5 * bench::basin_length, 0.1 * bench::basin_length);
  std::normal_distribution<double> y(0.5 * bench::basin_width, 0.1 * bench::basin_width);
  std::uniform_real_distribution<float> age(30.0f, 43200.0f);
  for (int id = 1; id <= parcels; ++id) {
    Parcel& parcel = p.PARCELS(id);
    parcel.ALIVE = logical_true;
    parcel.MASS = 1.0f;
    parcel.X = x(random);
    parcel.Y = y(random);
    parcel.Age = age(random);
    p.ALIVElist(id) = id;
  }
  return run;
}

void gaussian_map(benchmark::State& state) {
  const auto parcels = static_cast<int>(state.range(0));
  const auto run = inlet(parcels, static_cast<int>(state.range(1)));
  run->settings.concentration_method = static_cast<int>(state.range(2));
  for (auto _ : state) CONC_GAUSSIAN(*run);
  const std::int64_t cells = parcels * cells_of_parcel(run->settings.concentration_method);
  state.SetItemsProcessed(state.iterations() * cells);
  std::fclose(run->messages.console_out);
}
constexpr std::int64_t inlet_size = 2643;  // elements
BENCHMARK(gaussian_map)
    ->ArgNames({"parcels", "elements", "method"})
    ->Args({10000, inlet_size, 1})
    ->Args({10000, inlet_size, 2})
    ->Args({10000, inlet_size, 3})
    ->Args({1000, inlet_size, 2})
    ->Args({100000, inlet_size, 2})
    ->Args({10000, 10000, 2})
    ->Args({10000, 100000, 2})
    ->Args({10000, 1000000, 2})
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace dfl
