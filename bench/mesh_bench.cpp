// Location of points and the stages of the mesh set-up.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <random>

#include "bench/gyre_mesh.h"
#include "mesh/boundaries.h"
#include "mesh/find_element.h"
#include "mesh/geometry.h"
#include "mesh/neighbours.h"

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

// The same in lots of 1024 points; the time is that of a point.
void find_lots_of_points(benchmark::State& state) {
  RunState run;
  mute(run);
  bench::set_gyre_mesh(run, bench::gyre_mesh(static_cast<int>(state.range(0))));
  MESH_GEOMETRY(run);
  std::mt19937_64 random(1);
  std::uniform_real_distribution<double> x(0.0, bench::basin_length), y(0.0, bench::basin_width);
  std::vector<PlanePoint> points(1 << 20);
  for (auto& point : points) point = {x(random), y(random)};
  constexpr std::size_t lot = 1024;
  std::vector<int> elements(lot);
  std::size_t k = 0;
  std::int64_t outside = 0;
  while (state.KeepRunningBatch(lot)) {
    FIND_ELEMENTS(run.mesh, std::span(points).subspan(k, lot), elements);
    outside += std::count(elements.begin(), elements.end(), 0);
    k = (k + lot) & (points.size() - 1);
  }
  state.counters["outside"] = static_cast<double>(outside);
}
BENCHMARK(find_lots_of_points)->Arg(10000)->Arg(100000)->Arg(1000000);

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

void set_land(RunState& run, const bench::GyreMesh& gyre) {
  run.mesh.NUMland = 1;
  run.mesh.LANDbnd.allocate(1);
  Boundary& land = run.mesh.LANDbnd(1);
  for (int node : gyre.land) land.NODES.push_back(node);
  set_boundary_lines(run.mesh, land);
}

// Neighbour and boundary lists: built and written to a file, or read back from it.
void element_lists(benchmark::State& state, bool keep_file) {
  const std::string path = "mesh_bench.nei";
  RunState run;
  mute(run);
  const bench::GyreMesh gyre = bench::gyre_mesh(static_cast<int>(state.range(0)));
  bench::set_gyre_mesh(run, gyre);
  set_land(run, gyre);
  MESH_GEOMETRY(run);
  run.settings.neighbor_file = path;
  if (keep_file) {
    MESH_NEIGHBOURS(run);
    MESH_BOUNDARIES(run);
  }
  for (auto _ : state) {
    if (!keep_file) std::remove(path.c_str());
    MESH_NEIGHBOURS(run);
    MESH_BOUNDARIES(run);
  }
  std::remove(path.c_str());
}
void build_lists(benchmark::State& state) {
  element_lists(state, false);
}
void read_lists(benchmark::State& state) {
  element_lists(state, true);
}
BENCHMARK(build_lists)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(read_lists)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace dfl
