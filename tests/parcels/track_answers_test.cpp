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

// A flat basin of 20 by 10 cells of 100 m, 4 m deep. Open on the right where asked.
struct Basin {
  explicit Basin(bool open_right = false, int columns = 20, int rows = 10) {
    std::vector<test::TestNode> nodes;
    std::vector<test::TestElement> elements;
    test::rectangle_mesh(columns, rows, 100.0, 4.0f, nodes, elements);
    test::set_mesh(run, nodes, elements);
    const auto number = [&](int i, int j) { return j * (columns + 1) + i + 1; };
    std::vector<int> land, right;
    for (int j = 0; j <= rows; ++j) right.push_back(number(columns, j));
    for (int i = columns; i > 0; --i) land.push_back(number(i, rows));
    for (int j = rows; j > 0; --j) land.push_back(number(0, j));
    for (int i = 0; i <= columns; ++i) land.push_back(number(i, 0));
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
  void pack() { fields = test::packed_fields(run); }
  TrackReport track(Parcel& p, int order = 2) {
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
    basin.pack();
    Parcel p = test::parcel_at(basin.run, 150.0, 250.0, 2.0f, light, 0.0001f, 0.0f);
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
  basin.pack();
  Parcel p = test::parcel_at(basin.run, 1400.0, 500.0, 2.0f, light, 0.0001f, 0.0f);
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
  basin.pack();
  constexpr int parcels = 4000, steps = 10;
  double sum_x = 0.0, sum_y = 0.0;
  for (int i = 0; i < parcels; ++i) {
    Parcel p = test::parcel_at(basin.run, 1000.0, 500.0, 2.0f, light, 0.0001f, 0.0f);
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
  basin.pack();
  Parcel p = test::parcel_at(basin.run, 450.0, 450.0, 2.0f, sand, 0.0001f, 0.01f);
  int steps = 0;
  while (!is_true(p.DORMANT) && steps < 100) {
    basin.track(p);
    ++steps;
  }
  EXPECT_EQ(steps, 20);  // 2 m at 0.01 m/s in steps of 10 s
  EXPECT_EQ(p.h, 3.0f * 0.0003f / 4.0f);
  EXPECT_NEAR(p.Z, -4.0f + p.h, 1.0e-6f);
  EXPECT_EQ(p.MOBILITY, 0.0f);
}

TEST(Tracking, LightParcelIsMirroredAtTheSurface) {
  Basin basin;
  basin.run.settings.method.advection = AdvectionMethod::d3;
  basin.pack();
  Parcel p = test::parcel_at(basin.run, 450.0, 450.0, 3.9f, light, 0.0001f, -0.02f);
  basin.track(p);  // rises 0.2 m to 4.1 m in 4 m of water
  EXPECT_NEAR(p.h, 3.9f, 1.0e-5f);
}

TEST(Tracking, WallStopsAParcelWhereItsPathMeetsIt) {
  for (float v : {1.0f, -1.0f}) {
    Basin basin;
    basin.run.settings.method.advection = AdvectionMethod::d2;
    basin.uniform_current(0.5f, v);
    basin.pack();
    const double y = v > 0.0f ? 991.0 : 9.0, wall = v > 0.0f ? 1000.0 : 0.0;
    Parcel p = test::parcel_at(basin.run, 1050.0, y, 2.0f, light, 0.0001f, 0.0f);
    p.TAUcr = p.TAUcd = 1.0e-6f;
    basin.track(p, 2);
    EXPECT_TRUE(is_true(p.ALIVE));
    EXPECT_NEAR(p.X, 1054.5, 1.1);
    EXPECT_NEAR(p.Y, wall, 1.1);  // MESHtol is 1 m
    EXPECT_TRUE(in_element(basin.run.mesh, p.ELEMENT, p.X, p.Y));
  }
}

TEST(Tracking, OpenBoundaryTakesAParcelOutAndKeepsItsLastPlace) {
  Basin basin(true);
  basin.run.settings.method.advection = AdvectionMethod::d2;
  basin.uniform_current(1.0f, 0.1f);
  basin.pack();
  Parcel p = test::parcel_at(basin.run, 1995.0, 550.0, 2.0f, light, 0.0001f, 0.0f);
  p.TAUcr = p.TAUcd = 1.0e-6f;
  ASSERT_TRUE(is_true(basin.run.mesh.OPENelem(p.ELEMENT)));
  const TrackReport report = basin.track(p);
  EXPECT_EQ(report.status, -1);
  EXPECT_EQ(p.LOSS, lost_open_boundary);
  EXPECT_FALSE(is_true(p.ALIVE));
  EXPECT_EQ(p.X, 1995.0);
  EXPECT_EQ(p.Y, 550.0);
}

TEST(Tracking, CornerOfLandAndOpenBoundaryTakesNeithersLogic) {
  Basin basin(true);
  basin.run.settings.method.advection = AdvectionMethod::d2;
  basin.uniform_current(1.0f, 0.0f);
  basin.pack();
  Parcel p = test::parcel_at(basin.run, 1998.0, 5.0, 2.0f, light, 0.0001f, 0.0f);
  p.TAUcr = p.TAUcd = 1.0e-6f;
  ASSERT_TRUE(is_true(basin.run.mesh.OPENelem(p.ELEMENT)));
  ASSERT_TRUE(is_true(basin.run.mesh.LANDelem(p.ELEMENT)));
  EXPECT_EQ(basin.track(p).status, -2);
}

TEST(Tracking, PositionThatIsNoNumberEndsTheParcel) {
  for (float bad :
       {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
    Basin basin;
    basin.run.settings.method.advection = AdvectionMethod::d3;
    for (int n = 1; n <= basin.run.mesh.NUMnode; ++n) basin.run.flow.Unode(n, 0) = bad;
    basin.pack();
    Parcel p = test::parcel_at(basin.run, 1050.0, 50.0, 2.0f, light, 0.0001f, 0.0f);
    EXPECT_EQ(basin.track(p).status, -2);
    EXPECT_EQ(p.X, 1050.0);
  }
}

TEST(Tracking, DryPlaceHoldsAParcelBelowLeastDepthOnly) {
  for (const bool dry : {true, false}) {
    Basin basin;
    basin.run.settings.method.advection = AdvectionMethod::d3;
    basin.run.settings.min_depth = 0.25f;
    const float depth = dry ? std::nextafter(0.25f, 0.0f) : 0.25f;
    for (int n = 1; n <= basin.run.mesh.NUMnode; ++n) basin.run.flow.Hnode(n) = depth;
    basin.uniform_current(0.5f, 0.0f);
    basin.pack();
    // At a node the weights are 1, 0 and 0: the depth is that of the node.
    Parcel p = test::parcel_at(basin.run, 500.0, 500.0, 0.2f, light, 0.0001f, 0.0f);
    const TrackReport report = basin.track(p);
    EXPECT_EQ(report.dry, dry);
    EXPECT_EQ(p.X == 500.0, dry);
    EXPECT_EQ(p.h, 0.2f);
  }
}

TEST(Tracking, StrongCurrentPicksAGrainUpToTheCentreOfMotion) {
  Basin basin;
  basin.run.settings.debug = true;  // the chance is drawn as 0, so that any rate lifts
  basin.uniform_current(1.5f, 0.0f);
  basin.pack();
  Parcel p = test::parcel_at(basin.run, 450.0, 450.0, 0.000225f, sand, 0.0001f, 0.006f);
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

TEST(Tracking, WeakCurrentLeavesAGrainAndBuriesIt) {
  for (const auto& [order, share] : {std::pair{2, 0.5f}, std::pair{4, 0.125f}}) {
    Basin basin;
    basin.uniform_current(0.05f, 0.0f);
    for (int e = 1; e <= basin.run.mesh.NUMelem; ++e) basin.run.sediment.BEDrate(e) = 1.0e-4f;
    basin.pack();
    Parcel p = test::parcel_at(basin.run, 450.0, 450.0, 0.000225f, sand, 0.0001f, 0.006f);
    p.DORMANT = logical_true;
    basin.track(p, order);
    EXPECT_TRUE(is_true(p.DORMANT));
    EXPECT_EQ(p.X, 450.0);
    EXPECT_FLOAT_EQ(p.BURIAL, 1.0e-4f * 10.0f * share);
    EXPECT_LT(p.MOBILITY, 1.0f);
  }
}

TEST(Tracking, LandingIsForHeightsUpToAQuarterOfTheGrainRoughness) {
  const float floor = 3.0f * 0.0003f / 4.0f;
  for (const bool above : {false, true}) {
    Basin basin;
    basin.run.settings.bed_interaction = false;
    basin.pack();
    const float height = above ? std::nextafter(floor, 1.0f) : floor;
    Parcel p = test::parcel_at(basin.run, 450.0, 450.0, height, sand, 0.0001f, 0.0f);
    p.DORMANT = logical_false;
    basin.track(p);
    EXPECT_EQ(is_true(p.DORMANT), !above);
  }
}

TEST(Tracking, GrainThatLandsInAnyStageStaysDown) {
  // It falls 0.5 m a step: the bed is met in the first stage of order 4 from 0.1 m, and in the last
  // from 0.4 m; without the rule it would come back to its start height.
  for (const float height : {0.1f, 0.4f}) {
    for (const int order : {2, 4}) {
      Basin basin;
      basin.pack();
      Parcel p = test::parcel_at(basin.run, 450.0, 450.0, height, sand, 0.0005f, 0.05f);
      basin.track(p, order);
      EXPECT_TRUE(is_true(p.DORMANT)) << height << " " << order;
      EXPECT_EQ(p.h, 3.0f * 0.0003f / 4.0f);
    }
  }
}

TEST(Tracking, WithFlatAdvectionAnImmobileGrainStandsStill) {
  Basin basin;
  basin.run.settings.method.advection = AdvectionMethod::d2;
  basin.uniform_current(0.1f, 0.0f);
  basin.pack();
  Parcel p = test::parcel_at(basin.run, 450.0, 450.0, 1.0f, sand, 0.0005f, 0.05f);
  p.TAUcr = p.TAUcd = 10.0f;
  basin.track(p);
  EXPECT_EQ(p.X, 450.0);
  EXPECT_TRUE(is_true(p.DORMANT));
  EXPECT_LT(p.MOBILITY, 1.0f);
}

TEST(Tracking, OrderOtherThanTwoOrFourStopsTheRun) {
  Basin basin;
  basin.pack();
  Parcel p = test::parcel_at(basin.run, 450.0, 450.0, 1.0f, sand, 0.0005f, 0.05f);
  basin.run.messages.console_out = stderr;
  EXPECT_EXIT(basin.track(p, 3), testing::ExitedWithCode(0), "Iorder must be 2 or 4");
}

TEST(Tracking, UnknownProfileStopsTheRun) {
  Basin basin;
  basin.run.settings.method.velocity = VelocityMethod::unknown;
  basin.pack();
  Parcel p = test::parcel_at(basin.run, 450.0, 450.0, 1.0f, sand, 0.0005f, 0.05f);
  basin.run.messages.console_out = stderr;
  EXPECT_EXIT(basin.track(p), testing::ExitedWithCode(0), "Selected VELOCITY_METHOD not available");
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
    basin.pack();
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

TEST(Diffusivity, ZeroCoefficientWinsOverTheFloor) {
  Settings set;
  set.ket = set.kev = 0.0f;
  set.evmin = 1.0f;
  EXPECT_EQ(ET_HORIZONTAL(set, 4.0f, 0.05f, 1.0f), 0.0f);
  EXPECT_EQ(EV_VERTICAL(set, 4.0f, 2.0f, 1.0f, 1.0f), 0.0f);
  set.ket = 0.25f;
  EXPECT_EQ(ET_HORIZONTAL(set, 4.0f, 0.05f, 1.0f), 0.05f);
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

TEST(RouseHeight, FineGrainsStandHigherThanCoarseOnes) {
  const auto mean = [](float Ws) {
    RandomStream stream;
    seed_generator(stream, 3, 4);
    double sum = 0.0;
    for (int i = 0; i < 2000; ++i) {
      sum += static_cast<double>(ROUSE_HEIGHT(stream, 0.05f, Ws, 0.01f));
    }
    return sum / 2000.0;
  };
  EXPECT_GT(mean(0.0001f), 0.4);  // nearly even over the depth
  EXPECT_LT(mean(0.02f), 0.15);
}

}  // namespace
}  // namespace dfl
