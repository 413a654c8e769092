// Known answers of the tracking step.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "parcels/displacement.h"
#include "parcels/track_fields.h"
#include "tests/parcels/track_case.h"

namespace dfl {
namespace {

using test::TemporaryFolder;

constexpr float light = 1000.0f;  // kg/m3, below the 1025 of the water
constexpr float sand = 2650.0f;
constexpr float bed = 3.0f * 0.0003f / 4.0f;  // height of a grain at rest, m

// A flat basin of 20 by 10 cells of 100 m. Open on the right where asked.
struct Basin {
  explicit Basin(bool open_right = false, float depth = 4.0f) {
    std::vector<test::TestNode> nodes;
    std::vector<test::TestElement> elements;
    test::rectangle_mesh(20, 10, 100.0, depth, nodes, elements);
    test::set_mesh(run, nodes, elements);
    std::vector<int> land, right;
    test::box_sides(20, 10, right, land);
    if (open_right) {
      test::finish_mesh(run, folder, {right}, {land});
    } else {
      test::finish_mesh(run, folder, {}, {land, right});
    }
    test::still_water(run);
    run.settings.no_random_walk = true;
  }

  void uniform_current(float u, float v) {
    for (int n = 1; n <= run.mesh.NUMnode; ++n) test::set_current(run, n, u, v);
  }
  Parcel parcel(double x, double y, float height, float RHOs, float Ws) const {
    return test::parcel_at(run, x, y, height, RHOs, 0.0001f, Ws);
  }
  TrackReport track(Parcel& p, int order = 2) {
    if (fields == nullptr) fields = test::packed_fields(run);
    ++run.clock.NStep;
    return TRACK_PARCEL(run, *fields, order, p, stream);
  }

  TemporaryFolder folder;
  RunState run;
  test::FieldsPointer fields;
  RandomStream stream;
};

TEST(Tracking, UniformCurrentCarriesALightParcelExactly) {
  for (AdvectionMethod method : {AdvectionMethod::d2, AdvectionMethod::d3, AdvectionMethod::q3d}) {
    Basin basin;
    basin.run.settings.method.advection = method;
    basin.run.settings.method.velocity = VelocityMethod::uniform;
    basin.uniform_current(0.5f, 0.25f);
    if (method != AdvectionMethod::d2) {
      // Without roughness a light parcel has the mean velocity in "3d" too.
      basin.run.sediment.KSnode.fill(0.0f);
      basin.run.sediment.D90.fill(0.0f);
    }
    Parcel p = basin.parcel(150.0, 250.0, 2.0f, light, 0.0f);
    p.TAUcr = p.TAUcd = 1.0e-6f;
    for (int step = 0; step < 20; ++step) basin.track(p);
    EXPECT_EQ(p.X, 150.0 + 20 * 5.0) << static_cast<int>(method);
    EXPECT_EQ(p.Y, 250.0 + 20 * 2.5);
    EXPECT_TRUE(is_true(p.ALIVE));
  }
}

// Distance from the start after one turn about the middle of the basin.
double turn_error(int order, int steps) {
  Basin basin;
  constexpr double pi = 3.14159265358979323846;
  const double period = 20000.0, rate = 2.0 * pi / period;
  basin.run.settings.method.advection = AdvectionMethod::d2;
  basin.run.settings.time_step = period / steps;
  for (int n = 1; n <= basin.run.mesh.NUMnode; ++n) {
    test::set_current(basin.run, n, static_cast<float>(-rate * (basin.run.mesh.Ynode(n) - 500.0)),
                      static_cast<float>(rate * (basin.run.mesh.Xnode(n) - 1000.0)));
  }
  Parcel p = basin.parcel(1400.0, 500.0, 2.0f, light, 0.0f);
  p.TAUcr = p.TAUcd = 1.0e-9f;
  for (int step = 0; step < steps; ++step) basin.track(p, order);
  return std::hypot(p.X - 1400.0, p.Y - 500.0);
}

TEST(Tracking, ATurnClosesToTheOrderOfTheScheme) {
  // The scheme of order p errs by (2 pi / n)^p / (p + 1)! of the way around; a half step cuts that
  // by 2^p.
  const double second = turn_error(2, 40), second_half = turn_error(2, 80);
  EXPECT_LT(second, 0.03 * 400.0);
  EXPECT_NEAR(second / second_half, 4.0, 0.3);
  const double fourth = turn_error(4, 16), fourth_half = turn_error(4, 32);
  EXPECT_LT(fourth, 0.005 * 400.0);
  EXPECT_NEAR(fourth / fourth_half, 16.0, 3.0);  // velocities in 4 bytes blur the smaller error
}

TEST(Tracking, WalkSpreadsByTwiceDiffusivityTimesTime) {
  Basin basin;
  basin.run.settings.no_random_walk = false;
  basin.run.settings.method.advection = AdvectionMethod::d3;
  basin.run.settings.etmin = 0.1f;
  constexpr int parcels = 4000, steps = 10;
  double sum_x = 0.0, sum_y = 0.0;
  for (int i = 0; i < parcels; ++i) {
    Parcel p = basin.parcel(1000.0, 500.0, 2.0f, light, 0.0f);
    for (int step = 0; step < steps; ++step) basin.track(p);
    sum_x += (p.X - 1000.0) * (p.X - 1000.0);
    sum_y += (p.Y - 500.0) * (p.Y - 500.0);
  }
  const double expected = 2.0 * 0.1 * steps * 10.0;
  // The relative standard error of a variance is sqrt(2 / parcels) = 0.022.
  EXPECT_NEAR(sum_x / parcels / expected, 1.0, 0.09);
  EXPECT_NEAR(sum_y / parcels / expected, 1.0, 0.09);
}

TEST(Tracking, GrainInStillWaterSettlesInHeightOverFallVelocity) {
  Basin basin;
  Parcel p = basin.parcel(450.0, 450.0, 2.0f, sand, 0.01f);
  int steps = 0;
  while (!is_true(p.DORMANT) && steps < 100) {
    basin.track(p);
    ++steps;
  }
  EXPECT_EQ(steps, 20);  // 2 m at 0.01 m/s in steps of 10 s
  EXPECT_EQ(p.h, bed);
  EXPECT_NEAR(p.Z, -4.0f + p.h, 1.0e-6f);
  EXPECT_EQ(p.MOBILITY, 0.0f);
}

TEST(Tracking, WallsStopAParcelAndWaysOutEndIt) {
  constexpr float nan = std::numeric_limits<float>::quiet_NaN();
  constexpr float infinity = std::numeric_limits<float>::infinity();
  const struct {
    const char* name;
    double x, y;
    float u, v;
    int status;
    double end_x = x, end_y = y;  // a lost parcel keeps the start of the step
  } cases[] = {
      // The first stage goes half the way, to (1015, 998).
      {"oblique path", 1010.0, 988.0, 1.0f, 2.0f, 1, 1016.0, 1000.0},
      {"vertical path to a level wall", 1050.0, 20.0, 0.0f, -3.0f, 1, 1050.0, 0.0},
      {"level path to a vertical wall", 20.0, 150.0, -3.0f, 0.0f, 1, 0.0, 150.0},
      {"through the open side", 1995.0, 550.0, 1.0f, 0.1f, lost_open_boundary},
      {"from an element with a wall and an open side", 1998.0, 5.0, 1.0f, 0.0f, lost_off_mesh},
      {"over the open side from an inner element", 1890.0, 550.0, 12.0f, 0.0f, lost_off_mesh},
      {"no number", 1050.0, 50.0, nan, 0.0f, lost_off_mesh},
      {"infinite", 1050.0, 50.0, infinity, 0.0f, lost_off_mesh},
  };
  for (const auto& c : cases) {
    for (const float RHOs : {light, sand}) {
      SCOPED_TRACE(c.name);
      Basin basin(true);
      Settings& set = basin.run.settings;
      if (RHOs == light) set.method.advection = AdvectionMethod::d2;
      set.method.velocity = VelocityMethod::uniform;
      set.turbulent_shear = set.bed_interaction = false;
      basin.uniform_current(0.1f, 0.1f);
      basin.run.flow.Unode.fill(c.u);
      basin.run.flow.Vnode.fill(c.v);
      Parcel p = basin.parcel(c.x, c.y, 2.0f, RHOs, 0.0f);
      EXPECT_EQ(basin.track(p).status, c.status);
      EXPECT_EQ(p.LOSS, c.status < 0 ? c.status : 0);
      EXPECT_EQ(is_true(p.ALIVE), c.status > 0);
      EXPECT_NEAR(p.X, c.end_x, 1e-9);
      EXPECT_NEAR(p.Y, c.end_y, 1e-9);
    }
  }
}

TEST(Tracking, DryPlaceHoldsAParcelBelowLeastDepthOnly) {
  for (const bool dry : {true, false}) {
    Basin basin;
    basin.run.settings.method.advection = AdvectionMethod::d3;
    basin.run.settings.min_depth = 0.25f;
    basin.run.flow.Hnode.fill(dry ? std::nextafter(0.25f, 0.0f) : 0.25f);
    basin.uniform_current(0.5f, 0.0f);
    // At a node the weights are 1, 0 and 0: the depth is that of the node.
    Parcel p = basin.parcel(500.0, 500.0, 0.2f, light, 0.0f);
    EXPECT_EQ(basin.track(p).dry, dry);
    EXPECT_EQ(p.X == 500.0, dry);
    EXPECT_EQ(p.h, 0.2f);
  }
}

TEST(Tracking, StrongCurrentPicksAGrainUpToTheCentreOfMotion) {
  Basin basin;
  basin.run.settings.debug = true;  // the chance is drawn as 0, so that any rate lifts
  basin.uniform_current(1.5f, 0.0f);
  Parcel p = basin.parcel(450.0, 450.0, bed, sand, 0.006f);
  p.TAUcr = 0.15f;
  p.DORMANT = logical_true;
  p.BURIAL = 1.0e-5f;
  basin.track(p);
  EXPECT_FALSE(is_true(p.DORMANT));
  EXPECT_EQ(p.BURIAL, 0.0f);
  EXPECT_GT(p.MOBILITY, 10.0f);
  // A fine grain in a strong current: the centre is near that of the water, below half the depth.
  EXPECT_GT(p.h, 0.5f);
  EXPECT_LT(p.h, 2.0f);
  // It goes with the speed at its place on the bed: (6.77 U / L) (2 h / KStotal), L = 2.5 ln(11 H /
  // KStotal).
  EXPECT_NEAR(p.X - 450.0, 0.1188, 0.001);
}

TEST(Tracking, GrainThatLandsInAnyStageStaysDown) {
  // It falls 0.5 m a step: the bed is met in the first stage from 0.1 m, and in the last from 0.4
  // m; without the rule it would come back to its start height.
  for (const float height : {0.1f, 0.4f}) {
    for (const int order : {2, 4}) {
      Basin basin;
      basin.run.sediment.BEDrate.fill(1.0e-4f);
      Parcel p = basin.parcel(450.0, 450.0, height, sand, 0.05f);
      basin.track(p, order);
      EXPECT_TRUE(is_true(p.DORMANT)) << height << " " << order;
      EXPECT_EQ(p.h, bed);
      EXPECT_FLOAT_EQ(p.Z, bed - 4.0f);
      // Buried while it lay in its first stage: dt / 2 at order 2, dt / 4 / 2 at order 4.
      if (height < 0.2f) {
        EXPECT_FLOAT_EQ(p.BURIAL, order == 2 ? 5.0e-4f : 1.25e-4f);
      }
    }
  }
}

TEST(Tracking, OrderAndProfileThatAreNoneStopTheRun) {
  Basin basin;
  Parcel p = basin.parcel(450.0, 450.0, 1.0f, sand, 0.05f);
  basin.run.messages.console_out = stderr;
  EXPECT_EXIT(basin.track(p, 3), testing::ExitedWithCode(0), "Iorder must be 2 or 4");
  basin.run.settings.method.velocity = VelocityMethod::unknown;
  EXPECT_EXIT(basin.track(p), testing::ExitedWithCode(0), "Selected VELOCITY_METHOD not available");
}

// The stress formula raises a small roughness, and the profile of the same stage is that of the
// raised one, for grains and for what floats.
TEST(Tracking, RoughnessRaisedByTheStressFormulaServesTheProfile) {
  constexpr float u = 0.5f, height = 2.0f;
  for (const float RHOs : {sand, light}) {
    for (const EulerianMethod method : {EulerianMethod::pie, EulerianMethod::van_rijn}) {
      Basin basin(true, 10.0f);
      Settings& set = basin.run.settings;
      set.turbulent_shear = set.bed_interaction = false;
      set.method.eulerian = method;
      basin.uniform_current(u, 0.0f);
      basin.run.sediment.KSnode.fill(0.002f);
      Parcel p = basin.parcel(110.0, 110.0, height, RHOs, 0.0f);
      basin.track(p);
      const float roughness = method == EulerianMethod::pie ? 0.002f : 0.01f;
      const float share = std::log(30.0f * height / roughness);
      const float speed = RHOs == sand
                              ? u * share / std::log(11.0f * 10.0f / roughness)
                              : 2.5f * u * share / (5.75f * std::log10(10.0f / roughness) + 6.0f);
      EXPECT_NEAR(p.X, 110.0 + 10.0 * static_cast<double>(speed), 1e-5)
          << RHOs << " " << static_cast<int>(method);
    }
  }
}

// Two triangles with a slit of 0.1 m between them.
TEST(Tracking, SlitOfATelescopingMeshIsCrossedByOneShift) {
  for (const bool telescoping : {true, false}) {
    TemporaryFolder folder;
    RunState run;
    test::set_mesh(run,
                   {{0.0, 0.0, 4.0f},
                    {100.0, 0.0, 4.0f},
                    {100.0, 100.0, 4.0f},
                    {100.1, 0.0, 4.0f},
                    {200.0, 50.0, 4.0f},
                    {100.1, 100.0, 4.0f}},
                   {{1, 2, 3}, {4, 5, 6}});
    test::finish_mesh(run, folder, {}, {});
    test::still_water(run);
    run.settings.method.advection = AdvectionMethod::d2;
    run.settings.no_random_walk = true;
    run.settings.rvs_mesh = telescoping;
    for (int n = 1; n <= 6; ++n) test::set_current(run, n, 0.5f, 0.0f);
    const test::FieldsPointer fields = test::packed_fields(run);
    Parcel p = test::parcel_at(run, 95.05, 40.0, 2.0f, light, 0.0001f, 0.0f);
    p.TAUcr = p.TAUcd = 1.0e-6f;
    RandomStream stream;
    const TrackReport report = TRACK_PARCEL(run, *fields, 2, p, stream);  // to x = 100.05
    EXPECT_EQ(report.status, telescoping ? 1 : -2);
    if (telescoping) {
      EXPECT_EQ(p.ELEMENT, 2);
      EXPECT_NEAR(p.X, 100.05 + 0.01 * std::sqrt(5000.0), 1.0e-4);
    }
  }
}

TEST(Population, AgesEveryListedParcelAndCountsItsSteps) {
  for (const auto& [scheme, order] :
       {std::pair{1, 2}, std::pair{2, 2}, std::pair{3, 4}, std::pair{4, 4}}) {
    Basin basin;
    RunState& run = basin.run;
    run.settings.method.advection = AdvectionMethod::d3;
    run.settings.numerical_scheme = static_cast<std::int16_t>(scheme);
    for (int n = 1; n <= run.mesh.NUMnode; ++n) {
      // Shear, so that the orders differ.
      test::set_current(run, n, 0.001f * static_cast<float>(run.mesh.Ynode(n)), 0.3f);
      if (run.mesh.Xnode(n) < 250.0) run.flow.Hnode(n) = 0.0f;
    }
    basin.fields = test::packed_fields(run);
    run.parcels.NUMparcels = 3;
    allocate_population(run);
    run.parcels.PARCELS(1) = test::parcel_at(run, 50.0, 450.0, 1.0f, light, 0.0001f, 0.0f);
    run.parcels.PARCELS(3) = test::parcel_at(run, 850.0, 450.0, 1.0f, light, 0.0001f, 0.0f);
    run.parcels.ALIVElist(1) = 1;
    run.parcels.ALIVElist(2) = 3;
    run.parcels.NUMalive = 2;
    RandomStream stream = run.parcels.random;
    Parcel dry = run.parcels.PARCELS(1), wet = run.parcels.PARCELS(3);
    TRACK_PARCEL(run, *basin.fields, order, dry, stream);
    const TrackReport report = TRACK_PARCEL(run, *basin.fields, order, wet, stream);
    TRACK_POPULATION(run, *basin.fields);
    EXPECT_EQ(run.parcels.PARCELS(3).X, wet.X) << scheme;
    EXPECT_EQ(run.parcels.PARCELS(1).Age, 10.0f);
    EXPECT_EQ(run.parcels.PARCELS(2).Age, 0.0f);
    EXPECT_EQ(run.parcels.PARCELS(3).Age, 10.0f);
    EXPECT_EQ(run.balance.parcel_steps, 2);
    EXPECT_EQ(run.balance.dry_steps, 1);
    EXPECT_EQ(run.balance.largest_displacement_parcel, 3);
    EXPECT_EQ(run.balance.largest_displacement_squared, report.displacement_squared);
    // 100 m cells halved: an area of 5000 m2.
    const double way = std::hypot(wet.X - 850.0, wet.Y - 450.0);
    EXPECT_NEAR(report.displacement_squared, way * way / 5000.0, 1.0e-9);
  }
}

TEST(Diffusivity, KnownValuesAndZeroCoefficientWinsOverTheFloor) {
  Settings set;
  set.ket = set.kev = 0.0f;
  set.evmin = 1.0f;
  EXPECT_EQ(ET_HORIZONTAL(set, 4.0f, 0.05f, 1.0f), 0.0f);
  EXPECT_EQ(EV_VERTICAL(set, 4.0f, 2.0f, 1.0f, 1.0f), 0.0f);
  set.ket = set.kev = 0.25f;
  EXPECT_EQ(EV_VERTICAL(set, 4.0f, 2.0f, 1.0f, 1.0f), 1.0f);
  set.etmin = set.evmin = 0.0f;
  EXPECT_EQ(ET_HORIZONTAL(set, 4.0f, 0.05f, 2.0f), 0.1f);
  EXPECT_EQ(EV_VERTICAL(set, 4.0f, 1.0f, 2.0f, 2.0f), 0.140625f);  // (3 * 1)^2 / 4^3
  EXPECT_FLOAT_EQ(walk_scale(0.1f, 10.0), 0.2449490f);             // sqrt(0.06)
  EXPECT_EQ(breaking_factor(set, -3.0f, 2.0f), 1.0f);
  set.wave_breaking = true;
  EXPECT_EQ(breaking_factor(set, -3.0f, 2.0f), 11.0f);  // 1 + 5 * 2
  EXPECT_EQ(breaking_factor(set, 3.0f, 2.0f), 31.0f);   // 1 + 3 * 5 * 2
}

TEST(RouseHeight, IsAFractionOfTheDepthAndTakesFourDraws) {
  struct Row {
    float ustar, Ws, a;
  };
  for (const Row& row :
       {Row{0.05f, 0.01f, 0.02f}, Row{1.0f, 1.0e-5f, 0.02f}, Row{0.0f, 0.01f, 0.02f},
        Row{0.05f, 0.01f, 1.5f}, Row{0.05f, 0.01f, 1.0e-7f}, Row{0.001f, 0.1f, 0.02f},
        Row{0.05f, 0.01f, 0.0f}}) {
    RandomStream stream;
    seed_generator(stream, 3, 4);
    for (int i = 0; i < 200; ++i) {
      RandomStream other = stream;
      const float z = ROUSE_HEIGHT(stream, row.ustar, row.Ws, row.a);
      EXPECT_GE(z, 0.0f);
      EXPECT_LE(z, std::max(1.0f, row.a)) << row.ustar << " " << row.a;
      for (int k = 0; k < 4; ++k) UNIFORM_NUMBER(other);
      EXPECT_EQ(stream.state, other.state);
    }
  }
}

}  // namespace
}  // namespace dfl
