// Parcels on a telescoping grid in uniform flow: none is lost where the size of the cells changes.

#include <gtest/gtest.h>

#include <random>

#include "mesh/grid_files.h"
#include "mesh/grid_mesh.h"
#include "tests/parcels/track_case.h"

namespace dfl {
namespace {

constexpr double size = 40.0;
constexpr int columns = 16, rows = 12;

// Patches of half and quarter size all over the grid.
int patches(double x, double y) {
  const int i = static_cast<int>(x / size), j = static_cast<int>(y / size);
  return (i * 5 + j * 3) % 7 == 0 ? 2 : (i + 2 * j) % 3 == 0 ? 1 : 0;
}

struct PatchedGrid {
  explicit PatchedGrid(double bearing_in) : bearing(bearing_in) {
    const test::QuadtreeGrid grid(columns, rows, size, patches);
    folder.write("grid.tel", grid.text(x0, y0, bearing, [](double, double) { return 4.0f; }));
    folder.write("rvcards", test::telescoping_cards());
    test::quiet(run, folder.path("run"));
    run.messages.HOSTEDmode = true;
    test::use_grid(run, folder.path(""));
    READ_GRID_MESH(run);
    test::still_water(run);
    run.settings.no_random_walk = true;
    run.settings.method.advection = AdvectionMethod::d2;
    run.settings.method.velocity = VelocityMethod::uniform;
  }
  // A place along the axes of the grid in mesh coordinates.
  std::pair<double, double> place(double a, double b) const {
    const double turn = -bearing * std::acos(-1.0) / 180.0;  // clockwise
    return {x0 + std::cos(turn) * a - std::sin(turn) * b,
            y0 + std::sin(turn) * a + std::cos(turn) * b};
  }

  static constexpr double x0 = 3000.0, y0 = 1000.0;
  double bearing;
  test::TemporaryFolder folder;
  RunState run;
};

TEST(GridTracking, UniformFlowLosesNoParcelAcrossRefinement) {
  for (double bearing : {0.0, 27.0}) {
    PatchedGrid grid(bearing);
    std::mt19937_64 random(11);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    // Slow enough to stop in every cell, and fast enough to pass over one.
    for (double speed : {0.3, 1.0, 4.0}) {
      const double reach = 200.0;  // m that each parcel goes
      const int steps = static_cast<int>(reach / (speed * grid.run.settings.time_step));
      for (int k = 0; k < 60; ++k) {
        const double heading = 6.28 * unit(random);
        const float u = static_cast<float>(speed * std::cos(heading));
        const float v = static_cast<float>(speed * std::sin(heading));
        for (int n = 1; n <= grid.run.mesh.NUMnode; ++n) test::set_current(grid.run, n, u, v);
        const test::FieldsPointer fields = test::packed_fields(grid.run);
        // Far enough from the outside for the whole way.
        const auto [x, y] = grid.place(210.0 + (columns * size - 420.0) * unit(random),
                                       210.0 + (rows * size - 420.0) * unit(random));
        Parcel p = test::parcel_at(grid.run, x, y, 2.0f, 1000.0f, 0.0001f, 0.0f);
        ASSERT_NE(p.ELEMENT, 0);
        p.TAUcr = p.TAUcd = 1.0e-6f;
        RandomStream stream;
        for (int step = 1; step <= steps; ++step) {
          ++grid.run.clock.NStep;
          const TrackReport report = TRACK_PARCEL(grid.run, *fields, 2, p, stream);
          ASSERT_EQ(report.status, 1);
          ASSERT_TRUE(is_true(p.ALIVE)) << "parcel " << k << " step " << step;
          ASSERT_TRUE(in_element(grid.run.mesh, p.ELEMENT, p.X, p.Y));
        }
        // Weights and velocities have 4 bytes: 1e-6 of 200 m.
        EXPECT_NEAR(p.X, x + steps * 10.0 * static_cast<double>(u), 0.01);
        EXPECT_NEAR(p.Y, y + steps * 10.0 * static_cast<double>(v), 0.01);
      }
    }
  }
}

}  // namespace
}  // namespace dfl
