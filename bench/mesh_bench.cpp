// Location of points and the stages of the mesh set-up.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <random>

#include "bench/gyre_mesh.h"
#include "mesh/find_element.h"
#include "mesh/geometry.h"

namespace dfl {
namespace {

void mute(RunState& run) {
  run.messages.console_out = std::fopen("/dev/null", "w");
  run.messages.HOSTEDmode = true;
}

void find_random_points(benchmark::State& state) {
  RunState run;
  mute(run);
  bench::set_gyre_mesh(run, bench::gyre_mesh(static_cast<int>(state.range(0))));
  MESH_GEOMETRY(run);
  std::mt19937_64 random(1);
  std::uniform_real_distribution<double> x(0.0, bench::basin_length), y(0.0, bench::basin_width);
  std::vector<std::pair<double, double>> points(1 << 20);
  for (auto& point : points) point = {x(random), y(random)};
  std::size_t k = 0;
  std::int64_t outside = 0;
  for (auto _ : state) {
    const auto& [px, py] = points[k++ & (points.size() - 1)];
    outside += FIND_ELEMENT(run.mesh, px, py) == 0 ? 1 : 0;
  }
  state.counters["outside"] = static_cast<double>(outside);
}
BENCHMARK(find_random_points)->Arg(10000)->Arg(100000)->Arg(1000000);

void mesh_geometry(benchmark::State& state) {
  RunState run;
  mute(run);
  bench::set_gyre_mesh(run, bench::gyre_mesh(static_cast<int>(state.range(0))));
  for (auto _ : state) MESH_GEOMETRY(run);
}
BENCHMARK(mesh_geometry)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

void sort_keys(benchmark::State& state) {
  RunState run;
  mute(run);
  bench::set_gyre_mesh(run, bench::gyre_mesh(static_cast<int>(state.range(0))));
  MESH_GEOMETRY(run);
  Array<int> index = run.mesh.SORTxmin;
  for (auto _ : state) {
    for (int e = 1; e <= index.size(); ++e) index(e) = e;
    SORT_KEYS(run.mesh.XMINelem, index);
  }
}
BENCHMARK(sort_keys)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace dfl
