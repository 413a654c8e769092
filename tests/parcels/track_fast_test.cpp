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

// What a case switches on.
struct Variant {
  const char* name;
  AdvectionMethod advection = AdvectionMethod::q3d;
  VelocityMethod velocity = VelocityMethod::log;
  CentroidMethod centroid = CentroidMethod::rouse;
  EulerianMethod eulerian = EulerianMethod::pie;
  int order = 2;
  bool waves = false;         // half the basin has waves
  bool wave_physics = false;  // breaking, mass transport, undertow
  bool bed_interaction = true;
  bool turbulent_shear = true;
  bool debug = false;
  bool repeatable = false;
  bool levels = false;  // three-dimensional flow with density and temperature
  bool TAUgiven = false;
  bool no_random_walk = false;
  bool flow_output = true;
  double time_step = 20.0;
};

std::ostream& operator<<(std::ostream& out, const Variant& variant) {
  return out << variant.name;
}

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

void set_fields(RunState& run, const Variant& variant) {
  Settings& set = run.settings;
  set.method.advection = variant.advection;
  set.method.velocity = variant.velocity;
  set.method.centroid = variant.centroid;
  set.method.eulerian = variant.eulerian;
  set.bed_interaction = variant.bed_interaction;
  set.turbulent_shear = variant.turbulent_shear;
  set.debug = variant.debug;
  set.repeatable = variant.repeatable;
  set.no_random_walk = variant.no_random_walk;
  set.waves = variant.waves;
  set.wave_breaking = set.wave_mass_transport = set.undertow = variant.wave_physics;
  set.flow_output = variant.flow_output;
  set.bottom_flow_height = 0.5f;
  run.parcels.TAUgiven = variant.TAUgiven;
  FlowState& flow = run.flow;
  if (variant.levels) {
    flow.FLOW2D = false;
    flow.NUMlayers = 4;
    flow.IDEN = 3;
    flow.UNIFORMden = flow.UNIFORMtem = false;
  }
  test::still_water(run);
  set.time_step = variant.time_step;
  flow.TIMEflow = 3600.0;
  flow.TIMEold = 0.0;
  std::mt19937_64 random(5);
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
    // Still in the left quarter, along the axis in the middle, turning on the right.
    const float turn = static_cast<float>(0.01 * x + 0.02 * y);
    const float speed = x < 300.0 ? 0.0f : 1.2f * unit(random);
    const bool axis = x > 500.0 && x < 600.0;
    test::set_current(run, n, axis ? speed : speed * std::cos(turn),
                      axis ? 0.0f : speed * std::sin(turn));
    if (variant.waves && y > 200.0) {
      run.waves.WAVEheight(n) = unit(random);
      run.waves.WAVEperiod(n) = y > 500.0 ? 2.0f + unit(random) : 6.0f + unit(random);
      run.waves.WAVEdirx(n) = std::cos(turn);
      run.waves.WAVEdiry(n) = std::sin(turn);
      run.waves.WAVEbreak(n) = y > 400.0 ? -20.0f * unit(random) : 0.0f;
    }
    if (variant.velocity == VelocityMethod::two_point) {
      flow.UBnode(n) = 0.5f * flow.Unode(n, 0);
      flow.VBnode(n) = 0.5f * flow.Vnode(n, 0);
      flow.BOTTOMmask(n) = x < 800.0 ? logical_true : logical_false;
    }
    for (int k = 1; variant.levels && k <= flow.NUMlayers; ++k) {
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

class FastTracking : public testing::TestWithParam<Variant> {};

TEST_P(FastTracking, GivesTheBytesOfThePlainForm) {
  TemporaryFolder folder;
  RunState run;
  make_basin(run, folder);
  set_fields(run, GetParam());
  Met met;
  compare_forms(run, GetParam().order, 3000, 8, 67890, met);
  EXPECT_GT(met.dry, 0);
  EXPECT_GT(met.dead, 0);
  EXPECT_GT(met.landed, 0);
  EXPECT_GT(met.lifted, 0);
}

// All settings drawn by lot, also values that no single case has.
Variant drawn_variant(std::mt19937_64& random) {
  const auto one_of = [&](auto... values) {
    const std::array all{values...};
    return all[random() % all.size()];
  };
  const auto coin = [&] { return random() % 2 == 0; };
  Variant v{.name = "drawn"};
  v.advection = one_of(AdvectionMethod::q3d, AdvectionMethod::d3, AdvectionMethod::d2);
  v.levels = random() % 3 == 0;
  v.velocity =
      v.levels ? one_of(VelocityMethod::sigma_3d, VelocityMethod::z_3d)
               : one_of(VelocityMethod::log, VelocityMethod::uniform, VelocityMethod::two_point);
  v.centroid = one_of(CentroidMethod::rouse, CentroidMethod::van_rijn);
  v.eulerian = one_of(EulerianMethod::pie, EulerianMethod::van_rijn);
  v.order = one_of(2, 4);
  v.waves = coin();
  v.bed_interaction = coin();
  v.turbulent_shear = coin();
  v.debug = random() % 4 == 0;
  v.repeatable = coin();
  v.TAUgiven = coin();
  v.no_random_walk = random() % 4 == 0;
  v.time_step = one_of(2.0, 20.0, 150.0);
  return v;
}

void draw_settings(RunState& run, std::mt19937_64& random) {
  const auto coin = [&] { return random() % 2 == 0; };
  Settings& set = run.settings;
  set.wave_breaking = coin();
  set.wave_mass_transport = coin();
  set.undertow = coin();
  set.hiding_exposure = coin();
  set.rvs_mesh = coin();
  if (random() % 4 == 0) set.ket = 0.0f;
  if (random() % 4 == 0) set.kev = 0.0f;
  if (random() % 4 == 0) set.etmin = 0.0f;
  if (coin()) set.evmin = 0.001f;
  if (!run.flow.FLOW2D) {
    run.flow.UNIFORMden = coin();
    run.flow.UNIFORMtem = coin();
  }
  const bool smooth = coin(), rising = coin();
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    // Beds without roughness, and rough ones that fill the depth.
    if (smooth && run.mesh.Xnode(n) < 600.0) {
      run.sediment.D90(n) = 0.0f;
      if (run.mesh.Ynode(n) < 300.0) run.sediment.KSnode(n) = 0.0f;
    }
    if (run.mesh.Ynode(n) > 450.0 && random() % 8 == 0) run.sediment.D90(n) = 2.0f;
    if (rising) run.waves.WAVEbreak(n) = -run.waves.WAVEbreak(n);
  }
}

TEST(FastTrackingByLot, GivesTheBytesOfThePlainForm) {
  TemporaryFolder folder;
  for (unsigned lot = 1; lot <= 24; ++lot) {
    std::mt19937_64 random(lot);
    const Variant variant = drawn_variant(random);
    RunState run;
    make_basin(run, folder);
    set_fields(run, variant);
    draw_settings(run, random);
    SCOPED_TRACE(lot);
    Met met;
    compare_forms(run, variant.order, 400, 5, static_cast<int>(lot), met);
  }
}

constexpr AdvectionMethod d2 = AdvectionMethod::d2, d3 = AdvectionMethod::d3,
                          q3d = AdvectionMethod::q3d;
const Variant variants[] = {
    {.name = "q3d"},
    {.name = "q3d_order_4", .order = 4},
    {.name = "q3d_uniform", .velocity = VelocityMethod::uniform},
    {.name = "q3d_two_point", .velocity = VelocityMethod::two_point},
    {.name = "q3d_van_rijn_centroid", .centroid = CentroidMethod::van_rijn},
    {.name = "q3d_van_rijn_stress", .eulerian = EulerianMethod::van_rijn, .waves = true},
    {.name = "q3d_no_bed_interaction", .bed_interaction = false},
    {.name = "q3d_no_turbulent_shear", .turbulent_shear = false, .TAUgiven = true},
    {.name = "q3d_waves", .waves = true},
    {.name = "q3d_wave_physics", .waves = true, .wave_physics = true},
    {.name = "q3d_wave_physics_calm", .wave_physics = true},
    {.name = "q3d_waves_centroid", .centroid = CentroidMethod::van_rijn, .waves = true},
    {.name = "q3d_debug", .debug = true},
    {.name = "q3d_repeatable", .repeatable = true},
    {.name = "q3d_levels", .velocity = VelocityMethod::sigma_3d, .levels = true},
    {.name = "q3d_long_steps", .time_step = 120.0},
    {.name = "q3d_no_walk", .no_random_walk = true},
    {.name = "q3d_no_output", .flow_output = false},
    {.name = "d3", .advection = d3},
    {.name = "d3_no_output", .advection = d3, .flow_output = false},
    {.name = "d3_no_output_levels",
     .advection = d3,
     .velocity = VelocityMethod::z_3d,
     .levels = true,
     .flow_output = false},
    {.name = "d3_order_4", .advection = d3, .order = 4},
    {.name = "d3_no_bed_interaction", .advection = d3, .bed_interaction = false},
    {.name = "d3_debug", .advection = d3, .debug = true},
    {.name = "d3_waves", .advection = d3, .waves = true, .wave_physics = true},
    {.name = "d3_levels", .advection = d3, .velocity = VelocityMethod::z_3d, .levels = true},
    {.name = "d2", .advection = d2},
    {.name = "d2_no_output", .advection = d2, .flow_output = false},
    {.name = "d2_no_output_order_4", .advection = d2, .order = 4, .flow_output = false},
    {.name = "d2_no_output_half_waves", .advection = d2, .waves = true, .flow_output = false},
    {.name = "d2_no_output_no_shear",
     .advection = d2,
     .turbulent_shear = false,
     .repeatable = true,
     .flow_output = false},
    {.name = "d2_no_output_long_steps", .advection = d2, .flow_output = false, .time_step = 120.0},
    {.name = "d2_no_output_no_walk",
     .advection = d2,
     .debug = true,
     .no_random_walk = true,
     .flow_output = false},
    {.name = "d2_order_4", .advection = d2, .order = 4},
    {.name = "d2_van_rijn_centroid", .advection = d2, .centroid = CentroidMethod::van_rijn},
    {.name = "d2_waves", .advection = d2, .waves = true, .wave_physics = true},
    {.name = "d2_long_steps", .advection = d2, .time_step = 120.0},
    {.name = "d2_no_turbulent_shear", .advection = d2, .turbulent_shear = false},
    {.name = "d2_levels", .advection = d2, .velocity = VelocityMethod::sigma_3d, .levels = true},
};
INSTANTIATE_TEST_SUITE_P(Variants, FastTracking, testing::ValuesIn(variants),
                         [](const auto& v) { return std::string(v.param.name); });

}  // namespace
}  // namespace dfl
