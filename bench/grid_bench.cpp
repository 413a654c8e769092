// Grids of gridded flow models: building the mesh with its boundary file, and mapping a frame of
// cell values to the nodes. 1e4 to 1e6 cells, structured and telescoping.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "mesh/grid_mesh.h"
#include "mesh/quadtree_map.h"
#include "tests/mesh/grid_files.h"

namespace dfl {
namespace {

void mute(RunState& run) {
  run.messages.console_out = std::fopen("/dev/null", "w");
  run.messages.HOSTEDmode = true;
}

// One inactive cell in fifty, so that there are many islands.
bool is_island(int number) {
  return number % 50 == 17;
}

// Files of a grid of about so many cells in a folder of their own; they stay for the next run.
std::string grid_folder(bool telescoping, int cells) {
  const std::string folder = (std::filesystem::temp_directory_path() / "dfl_grid_bench" /
                              (std::to_string(cells) + (telescoping ? "t" : "s")))
                                 .string();
  if (std::filesystem::exists(folder + "/rvcards")) return folder;
  std::filesystem::create_directories(folder);
  if (telescoping) {
    // Balanced, about five cells for each coarse one.
    const int side = static_cast<int>(std::sqrt(cells / 5.13));
    const test::QuadtreeGrid grid(side, side, 16.0, [](double x, double y) {
      const int place = static_cast<int>(x / 16.0) + 2 * static_cast<int>(y / 16.0);
      return place % 7 == 0 ? 2 : place % 3 == 0 ? 1 : 0;
    });
    int number = 0;
    std::ofstream(folder + "/grid.tel") << grid.text(
        0.0, 0.0, 12.0, [&](double, double) { return is_island(++number) ? -999.0f : 5.0f; });
    std::ofstream(folder + "/rvcards") << test::telescoping_cards();
  } else {
    const int side = static_cast<int>(std::sqrt(cells));
    test::StructuredGrid grid = test::even_grid(side, side, 10.0, 5.0f);
    grid.bearing = 12.0;
    for (std::size_t k = 0; k < grid.types.size(); ++k) {
      grid.types[k] = is_island(static_cast<int>(k)) ? 0 : 1;
    }
    test::write_structured(folder + "/grid.h5", grid);
    std::ofstream(folder + "/rvcards") << test::structured_cards();
  }
  return folder;
}

void build(RunState& run, const std::string& folder) {
  mute(run);
  test::use_grid(run, folder);
  READ_GRID_MESH(run);
}

// Everything that the first run on a grid does: mesh, neighbours, boundary file, lists.
void build_mesh(benchmark::State& state, bool telescoping) {
  const std::string folder = grid_folder(telescoping, static_cast<int>(state.range(0)));
  int cells = 0, boundaries = 0;
  for (auto _ : state) {
    std::filesystem::remove(folder + "/grid.bc");
    std::filesystem::remove(folder + "/grid.nei");
    RunState run;
    build(run, folder);
    cells = run.grid.NUMcells;
    boundaries = run.mesh.NUMland;
    std::fclose(run.messages.console_out);
  }
  state.counters["cells"] = cells;
  state.counters["lines"] = boundaries;
}
void structured_mesh(benchmark::State& state) {
  build_mesh(state, false);
}
void telescoping_mesh(benchmark::State& state) {
  build_mesh(state, true);
}
BENCHMARK(structured_mesh)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(telescoping_mesh)->Arg(10000)->Arg(250000)->Arg(1000000)->Unit(benchmark::kMillisecond);

// dry: one cell in so many is dry, in patches; 0: none.
void map_frame(benchmark::State& state, bool telescoping, int dry) {
  RunState run;
  build(run, grid_folder(telescoping, static_cast<int>(state.range(0))));
  Array<float> values, nodes;
  for (int k = 0; k < run.grid.NUMcells; ++k) {
    const bool is_dry = dry > 0 && (k / 100) % dry == 0;
    values.push_back(is_dry ? -999.0f : 1.0f + 0.001f * static_cast<float>(k % 1000));
  }
  const auto map = telescoping ? MAP_QUADTREE : MAP_GRID;
  map(run, values, 3, nodes);
  for (auto _ : state) {
    map(run, values, 3, nodes);
    benchmark::DoNotOptimize(nodes.data());
  }
  state.counters["cells/s"] = benchmark::Counter(static_cast<double>(run.grid.NUMcells),
                                                 benchmark::Counter::kIsIterationInvariantRate);
}
void structured_map(benchmark::State& state) {
  map_frame(state, false, 0);
}
void structured_map_tenth_dry(benchmark::State& state) {
  map_frame(state, false, 10);
}
void telescoping_map(benchmark::State& state) {
  map_frame(state, true, 0);
}
BENCHMARK(structured_map)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
BENCHMARK(structured_map_tenth_dry)->Arg(1000000)->Unit(benchmark::kMicrosecond);
BENCHMARK(telescoping_map)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace dfl
