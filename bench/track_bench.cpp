// Tracking speed: sediment with all its physics, and passive parcels in a closed double gyre. The
// counts are of stages and of steps of one parcel, in the plain form too.

#include <benchmark/benchmark.h>

#include <memory>
#include <random>

#include "mesh/find_element.h"
#include "tests/parcels/literal_tracking.h"
#include "tests/parcels/track_case.h"

namespace dfl {
namespace {

struct Case {
  test::TemporaryFolder folder;
  RunState run;
  test::FieldsPointer fields;
  std::vector<Parcel> start;
};

std::unique_ptr<Case> basin(int elements) {
  auto made = std::make_unique<Case>();
  const bench::GyreMesh gyre = bench::gyre_mesh(elements);
  bench::set_gyre_mesh(made->run, gyre);
  test::finish_mesh(made->run, made->folder, {}, {gyre.land});
  test::still_water(made->run);
  return made;
}

// Parcels at random places; the population is run.parcels.
void release(Case& made, int parcels, float RHOs, float D, float Ws) {
  RunState& run = made.run;
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  run.parcels.NUMparcels = parcels;
  allocate_population(run);
  for (int id = 1; id <= parcels; ++id) {
    Parcel& p = run.parcels.PARCELS(id);
    p.ALIVE = logical_true;
    p.RHOs = RHOs;
    p.D = D;
    p.Ws = Ws;
    p.TAUcr = p.TAUcd = RHOs > run.settings.water_density ? 0.12f : 1.0e-6f;
    while (p.ELEMENT == 0) {
      p.X = unit(random) * bench::basin_length;
      p.Y = unit(random) * bench::basin_width;
      p.ELEMENT = FIND_ELEMENT(run.mesh, p.X, p.Y);
    }
    p.h = static_cast<float>(unit(random)) * 9.0f + 0.5f;
    p.Z = p.h - 10.0f;
    run.parcels.ALIVElist(id) = id;
  }
  run.parcels.NUMalive = parcels;
  seed_generator(run.parcels.random, 12345, 67890);
  made.start.assign(run.parcels.PARCELS.begin(), run.parcels.PARCELS.end());
}

std::unique_ptr<Case> sediment_case(int parcels) {
  auto made = basin(40000);
  RunState& run = made->run;
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    const double x = run.mesh.Xnode(n) / bench::basin_length;
    const double y = run.mesh.Ynode(n) / bench::basin_width;
    const double turn = 6.0 * x + 4.0 * y;
    test::set_current(run, n, static_cast<float>(0.9 * std::cos(turn)),
                      static_cast<float>(0.9 * std::sin(turn)));
  }
  release(*made, parcels, 2650.0f, 0.0001f, 0.006f);
  made->fields = test::packed_fields(run);
  return made;
}

std::unique_ptr<Case> passive_case(int elements, int parcels) {
  auto made = basin(elements);
  RunState& run = made->run;
  run.settings.method.advection = AdvectionMethod::d2;
  run.settings.time_step = 60.0;
  run.settings.etmin = 0.1f;
  run.settings.ket = 1.0e-6f;  // the diffusivity is etmin everywhere
  test::double_gyre(run, 0.5f);
  release(*made, parcels, 1000.0f, 0.0001f, 0.0f);
  made->fields = test::packed_fields(run);
  return made;
}

void plain_population(RunState& run) {
  ParcelState& parcels = run.parcels;
  for (int k = 1; k <= parcels.NUMalive; ++k) {
    Parcel& p = parcels.PARCELS(parcels.ALIVElist(k));
    p.Age = static_cast<float>(static_cast<double>(p.Age) + run.settings.time_step);
    literal::TRACK_PARCEL(run, 2, p, parcels.random);
  }
}

// Steps of the whole population; every fourth step starts anew from the release, so that the
// parcels stay where they are meant to be.
void track(benchmark::State& state, Case& made, bool plain) {
  RunState& run = made.run;
  run.clock.NStep = 0;
  std::int64_t stages = 0, steps = 0;
  for (auto _ : state) {
    state.PauseTiming();
    if (run.clock.NStep % 4 == 0) {
      std::copy(made.start.begin(), made.start.end(), run.parcels.PARCELS.begin());
    }
    ++run.clock.NStep;
    std::int64_t moving = 0;
    for (const Parcel& p : run.parcels.PARCELS) moving += is_true(p.DORMANT) ? 0 : 1;
    stages += run.parcels.NUMalive + moving;
    steps += run.parcels.NUMalive;
    state.ResumeTiming();
    if (plain) {
      plain_population(run);
    } else {
      TRACK_POPULATION(run, *made.fields);
    }
  }
  state.counters["stages/s"] =
      benchmark::Counter(static_cast<double>(stages), benchmark::Counter::kIsRate);
  state.counters["steps/s"] =
      benchmark::Counter(static_cast<double>(steps), benchmark::Counter::kIsRate);
}

void sediment(benchmark::State& state) {
  const auto made = sediment_case(static_cast<int>(state.range(0)));
  track(state, *made, false);
}
BENCHMARK(sediment)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMillisecond);

void sediment_plain(benchmark::State& state) {
  const auto made = sediment_case(static_cast<int>(state.range(0)));
  track(state, *made, true);
}
BENCHMARK(sediment_plain)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

// Arguments: elements, parcels.
void passive(benchmark::State& state) {
  const auto made =
      passive_case(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
  track(state, *made, false);
}
BENCHMARK(passive)
    ->Args({40000, 10000})
    ->Args({40000, 100000})
    ->Args({40000, 1000000})
    ->Args({1000000, 10000})
    ->Args({1000000, 1000000})
    ->Unit(benchmark::kMillisecond);

void passive_plain(benchmark::State& state) {
  const auto made =
      passive_case(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
  track(state, *made, true);
}
BENCHMARK(passive_plain)
    ->Args({40000, 100000})
    ->Args({1000000, 100000})
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace dfl
