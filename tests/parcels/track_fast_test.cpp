// The packed form of the tracking step against the plain one, byte for byte.

#include <gtest/gtest.h>

#include <array>
#include <random>

#include "parcels/track_fields.h"
#include "tests/parcels/literal_tracking.h"
#include "tests/parcels/track_case.h"

namespace dfl {
namespace {

using test::TemporaryFolder;

// A basin with land on three sides, an open right end, a shoal that falls dry, and a hole with land
// around; the current is strong enough to lift grains in places.
void make_basin(RunState& run, const TemporaryFolder& folder) {
  std::vector<test::TestNode> nodes;
  std::vector<test::TestElement> elements;
  constexpr int columns = 24, rows = 12;
  constexpr double size = 50.0;
  test::rectangle_mesh(columns, rows, size, 5.0f, nodes, elements);
  std::mt19937_64 random(3);
  std::uniform_real_distribution<double> jitter(-0.2, 0.2);
  for (int j = 0; j <= rows; ++j) {
    for (int i = 0; i <= columns; ++i) {
      test::TestNode& node = nodes[static_cast<std::size_t>(j * (columns + 1) + i)];
      if (i % columns != 0 && j % rows != 0) {
        node.x += jitter(random) * size;
        node.y += jitter(random) * size;
      }
      node.depth = static_cast<float>(5.0 + 3.0 * std::sin(0.01 * node.x));
      if (std::hypot(node.x - 300.0, node.y - 300.0) < 80.0) node.depth = 0.3f;
    }
  }
  const auto hole = elements.begin() + 2 * (6 * columns + 16);  // the two elements of one cell
  elements.erase(hole, hole + 2);
  test::set_mesh(run, nodes, elements);
  const auto number = [&](int i, int j) { return j * (columns + 1) + i + 1; };
  std::vector<int> land, open;
  test::box_sides(columns, rows, open, land);
  const std::vector<int> island = {number(16, 6), number(16, 7), number(17, 7), number(17, 6),
                                   number(16, 6)};
  test::finish_mesh(run, folder, {open}, {land, island});
}

// All settings by lot; those of every second lot stay near the defaults.
void draw_settings(RunState& run, unsigned lot, std::mt19937_64& random) {
  const auto one_of = [&](auto... values) {
    const std::array all{values...};
    return all[random() % all.size()];
  };
  const auto coin = [&] { return random() % 2 == 0; };
  const bool plain = lot % 2 == 0;
  const auto rare = [&] { return random() % (plain ? 12 : 3) == 0; };
  Settings& set = run.settings;
  FlowState& flow = run.flow;
  flow.FLOW2D = !rare();
  if (!flow.FLOW2D) {
    flow.NUMlayers = 4;
    flow.IDEN = 3;
    flow.UNIFORMden = coin();
    flow.UNIFORMtem = coin();
  }
  set.method.advection = one_of(AdvectionMethod::q3d, AdvectionMethod::d3, AdvectionMethod::d2);
  set.method.velocity = !flow.FLOW2D ? one_of(VelocityMethod::sigma_3d, VelocityMethod::z_3d)
                        : rare()     ? one_of(VelocityMethod::uniform, VelocityMethod::two_point)
                                     : VelocityMethod::log;
  set.method.centroid = rare() ? CentroidMethod::van_rijn : CentroidMethod::rouse;
  set.method.eulerian = rare() ? EulerianMethod::van_rijn : EulerianMethod::pie;
  set.waves = rare();
  set.wave_breaking = rare();
  set.wave_mass_transport = rare();
  set.undertow = rare();
  set.hiding_exposure = rare();
  set.rvs_mesh = rare();
  set.bed_interaction = !rare();
  set.turbulent_shear = !rare();
  set.debug = rare();
  set.repeatable = rare();
  set.no_random_walk = rare();
  set.flow_output = coin();
  set.bottom_flow_height = 0.5f;
  if (rare()) set.ket = 0.0f;
  if (rare()) set.kev = 0.0f;
  if (rare()) set.etmin = 0.0f;
  if (rare()) set.evmin = 0.001f;
  run.parcels.TAUgiven = rare();
}

void set_fields(RunState& run, std::mt19937_64& random) {
  FlowState& flow = run.flow;
  const bool smooth = random() % 3 == 0, rising = random() % 3 == 0;
  flow.TIMEflow = 3600.0;
  flow.TIMEold = 0.0;
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    const double x = run.mesh.Xnode(n), y = run.mesh.Ynode(n);
    flow.ETAnode(n) = static_cast<float>(0.2 * std::sin(0.02 * x));
    flow.Hnode(n) = run.mesh.DEPTHnode(n) + flow.ETAnode(n) - 0.2f;
    flow.ETAnew(n) = flow.ETAnode(n);
    flow.ETAold(n) = flow.ETAnode(n) - 0.3f * unit(random);
    run.sediment.D50(n) = 0.0002f + 0.0001f * unit(random);
    run.sediment.D90(n) = 0.0004f + 0.0002f * unit(random);
    run.sediment.KSnode(n) = unit(random) < 0.2f ? 0.0001f : 0.05f * unit(random);
    // Beds without roughness, and rough ones that fill the depth.
    if (smooth && x < 600.0) {
      run.sediment.D90(n) = 0.0f;
      if (y < 300.0) run.sediment.KSnode(n) = 0.0f;
    }
    if (smooth && y > 450.0 && random() % 8 == 0) run.sediment.D90(n) = 2.0f;
    // Still in the left quarter, along the axis in the middle, turning on the right.
    const float turn = static_cast<float>(0.01 * x + 0.02 * y);
    const float speed = x < 300.0 ? 0.0f : 1.2f * unit(random);
    const bool axis = x > 500.0 && x < 600.0;
    test::set_current(run, n, axis ? speed : speed * std::cos(turn),
                      axis ? 0.0f : speed * std::sin(turn));
    if (run.settings.waves && y > 200.0) {
      run.waves.WAVEheight(n) = unit(random);
      run.waves.WAVEperiod(n) = y > 500.0 ? 2.0f + unit(random) : 6.0f + unit(random);
      run.waves.WAVEdirx(n) = std::cos(turn);
      run.waves.WAVEdiry(n) = std::sin(turn);
      run.waves.WAVEbreak(n) = y > 400.0 ? (rising ? 20.0f : -20.0f) * unit(random) : 0.0f;
    }
    if (run.settings.method.velocity == VelocityMethod::two_point) {
      flow.UBnode(n) = 0.5f * flow.Unode(n, 0);
      flow.VBnode(n) = 0.5f * flow.Vnode(n, 0);
      flow.BOTTOMmask(n) = x < 800.0 ? logical_true : logical_false;
    }
    for (int k = 1; k <= flow.NUMlayers; ++k) {
      flow.SIGMA(k) = 0.24f * static_cast<float>(k);
      flow.Unode(n, k) = flow.Unode(n, 0) * (0.6f + 0.2f * static_cast<float>(k));
      flow.Vnode(n, k) = flow.Vnode(n, 0) * (0.6f + 0.2f * static_cast<float>(k));
      flow.Wnode(n, k) = 0.002f * (unit(random) - 0.5f);
      flow.DENnode(n, k) = 1020.0f + 5.0f * unit(random);
      flow.TEMnode(n, k) = 12.0f + 3.0f * unit(random);
    }
  }
  for (int e = 1; e <= run.mesh.NUMelem; ++e) run.sediment.BEDrate(e) = 1.0e-6f * unit(random);
}

// Parcels of all kinds at random places.
std::vector<Parcel> random_parcels(const RunState& run, int count) {
  std::mt19937_64 random(11);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const auto real = [&] { return static_cast<float>(unit(random)); };
  std::vector<Parcel> parcels;
  while (static_cast<int>(parcels.size()) < count) {
    const double x = unit(random) * 1200.0, y = unit(random) * 600.0;
    const float kind = real();
    const float RHOs = kind < 0.6f    ? 2650.0f
                       : kind < 0.7f  ? 1030.0f + 200.0f * real()
                       : kind < 0.85f ? 900.0f + 100.0f * real()
                                      : 1022.0f + 4.0f * real();
    const float D = 0.00005f + 0.0004f * real();
    const float Ws = FALL_VELOCITY(run.settings.water_viscosity, 1025.0f, RHOs, D);
    Parcel p = test::parcel_at(run, x, y, 0.0f, RHOs, D, Ws);
    if (p.ELEMENT == 0) continue;
    p.TAUcr = p.TAUcd = TAUCR_SOULSBY(1025.0f, RHOs, run.settings.water_viscosity, D);
    p.Z = p.Z - p.h;
    const float place = real();
    if (place < 0.25f) {
      p.DORMANT = logical_true;
      p.h = 0.0003f;
      p.BURIAL = 0.001f * real();
    } else {
      p.h = place < 0.5f ? 0.1f * real() : 7.0f * real();
    }
    p.Z = p.Z + p.h;
    parcels.push_back(p);
  }
  return parcels;
}

// What the parcels of a comparison have met.
struct Met {
  int dead = 0, dry = 0, landed = 0, lifted = 0;
};

// Both forms of some steps of random parcels.
void compare_forms(RunState& run, int order, int count, int steps, int seed, Met& met) {
  const test::FieldsPointer fields = test::packed_fields(run);
  std::vector<Parcel> plain = random_parcels(run, count);
  std::vector<Parcel> fast = plain;
  std::vector<float> plain_vec(3 * plain.size()), fast_vec(3 * plain.size());
  for (std::size_t i = 0; i < plain.size(); ++i) {
    plain[i].VEC = &plain_vec[3 * i];
    fast[i].VEC = &fast_vec[3 * i];
  }
  RandomStream plain_stream, fast_stream;
  seed_generator(plain_stream, 12345, seed);
  fast_stream = plain_stream;
  for (int step = 1; step <= steps; ++step) {
    run.clock.NStep = step;
    for (std::size_t i = 0; i < plain.size(); ++i) {
      const Parcel &p = plain[i], &q = fast[i];
      if (!is_true(p.ALIVE)) continue;
      const bool was_dormant = is_true(p.DORMANT);
      const TrackReport a = literal::TRACK_PARCEL(run, order, plain[i], plain_stream);
      const TrackReport b = TRACK_PARCEL(run, *fields, order, fast[i], fast_stream);
      ASSERT_TRUE(test::same_bytes(p, q) && std::memcmp(p.VEC, q.VEC, 12) == 0 &&
                  test::same_stream(plain_stream, fast_stream))
          << "step " << step << " parcel " << i << " x " << p.X << " " << q.X << " y " << p.Y << " "
          << q.Y << " h " << p.h << " " << q.h << " mobility " << p.MOBILITY << " " << q.MOBILITY;
      ASSERT_EQ(a.status, b.status);
      ASSERT_EQ(a.dry, b.dry);
      ASSERT_EQ(a.displacement_squared, b.displacement_squared);
      met.dead += is_true(p.ALIVE) ? 0 : 1;
      met.dry += a.dry ? 1 : 0;
      met.landed += !was_dormant && is_true(p.DORMANT) ? 1 : 0;
      met.lifted += was_dormant && !is_true(p.DORMANT) ? 1 : 0;
    }
  }
}

TEST(FastTracking, GivesTheBytesOfThePlainForm) {
  TemporaryFolder folder;
  Met met;
  for (unsigned lot = 1; lot <= 100; ++lot) {
    SCOPED_TRACE(lot);
    std::mt19937_64 random(lot);
    RunState run;
    make_basin(run, folder);
    draw_settings(run, lot, random);
    test::still_water(run);
    run.settings.time_step = lot % 7 == 0 ? 150.0 : lot % 7 == 1 ? 2.0 : 20.0;
    set_fields(run, random);
    ASSERT_NO_FATAL_FAILURE(
        compare_forms(run, random() % 3 == 0 ? 4 : 2, 600, 8, static_cast<int>(lot), met));
  }
  EXPECT_GT(met.dry, 100);
  EXPECT_GT(met.dead, 100);
  EXPECT_GT(met.landed, 100);
  EXPECT_GT(met.lifted, 100);
}

}  // namespace
}  // namespace dfl
