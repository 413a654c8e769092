// Tiny whole runs, from the control file to the output files.

#include <gtest/gtest.h>

#include "control/text_tools.h"
#include "runs/tiny_run.h"

namespace dfl {
namespace {

using test::TinyCase;

TEST(WholeRun, UniformFlowCarriesTheTracerAndTheBalanceCloses) {
  const test::TemporaryFolder folder;
  TinyCase c = test::tiny_case();
  // In "1d" the tracer moves with the depth average, whatever its height.
  test::add_cards(c, {":no_random_walk", ":no_turbulent_shear", ":advection_method 1d"});
  RunState run;
  test::run_case(run, c, folder);

  // 5 kg of 1 kg at 10 s; 0.1 kg/s of 1 kg for 121 steps of 10 s.
  EXPECT_EQ(run.parcels.NUMborn, 5 + 121);
  // Released at 10 s and moved in the step of its release: 0.1 m/s from x = 120 for 120 steps.
  const Parcel& light = run.parcels.PARCELS(2);
  EXPECT_NEAR(light.X, 120.0 + 0.1 * 1200.0, 1e-3);
  EXPECT_NEAR(light.Y, 210.0, 1e-6);
  EXPECT_FLOAT_EQ(light.Age, 1200.0f);
  // Nothing is lost inside the basin.
  int alive = 0;
  for (int id = 1; id <= run.parcels.NUMborn; ++id) alive += is_true(run.parcels.PARCELS(id).ALIVE);
  EXPECT_EQ(alive, run.parcels.NUMborn);
  const std::string balance = test::read_text(folder.path("tiny_balance.txt"));
  EXPECT_NE(balance.find("12345"), std::string::npos);

  // Output at steps 1, 31, 61, 91 and 121: frames stamped with the end of the step.
  const auto lines = test::lines_of(test::read_text(folder.path("tiny_particles.plt")));
  int zones = 0;
  for (const std::string& line : lines) zones += line.rfind("ZONE", 0) == 0;
  EXPECT_EQ(zones, 5);
}

TEST(WholeRun, ParcelsLeaveThroughTheOpenBoundaryOnly) {
  const test::TemporaryFolder folder;
  TinyCase c = test::tiny_case();
  c.velocity = test::frames(2, 600.0, 5, 25, 1.0f, 0.3f);
  test::add_cards(c, {":no_random_walk"});
  RunState run;
  test::run_case(run, c, folder);
  int lost = 0;
  for (int id = 1; id <= run.parcels.NUMborn; ++id) {
    const Parcel& parcel = run.parcels.PARCELS(id);
    if (is_true(parcel.ALIVE)) continue;
    ++lost;
    // Only an element that touches the wall and the open boundary at once loses parcels unexplained.
    EXPECT_TRUE(parcel.LOSS == lost_open_boundary || parcel.LOSS == lost_off_mesh);
  }
  EXPECT_GT(lost, 50);
}

TEST(WholeRun, SameSeedGivesTheSameBytesAndTwoRunsInOneProcessStayApart) {
  const test::TemporaryFolder folder_a, folder_b, folder_c;
  TinyCase c = test::tiny_case();
  TinyCase other = test::tiny_case();
  other.velocity = test::frames(2, 600.0, 5, 25, 0.4f, 0.2f);
  RunState run_a, run_b, run_c;
  test::run_case(run_a, c, folder_a);
  test::run_case(run_b, other, folder_b);  // between the two, another run with its own state
  test::run_case(run_c, c, folder_c);
  for (int id = 1; id <= run_a.parcels.NUMborn; ++id) {
    ASSERT_EQ(run_a.parcels.PARCELS(id).X, run_c.parcels.PARCELS(id).X);
    ASSERT_EQ(run_a.parcels.PARCELS(id).h, run_c.parcels.PARCELS(id).h);
  }
  EXPECT_EQ(test::read_text(folder_a.path("tiny_population.plt")).size(),
            test::read_text(folder_c.path("tiny_population.plt")).size());
  EXPECT_NE(run_a.parcels.PARCELS(2).X, run_b.parcels.PARCELS(2).X);
}

TEST(WholeRun, OtherSeedGivesOtherTracks) {
  const test::TemporaryFolder folder_a, folder_b;
  TinyCase c = test::tiny_case();
  RunState run_a, run_b;
  test::run_case(run_a, c, folder_a);
  test::add_cards(c, {":random_seed 777 888"});
  test::run_case(run_b, c, folder_b);
  EXPECT_NE(run_a.parcels.PARCELS(2).X, run_b.parcels.PARCELS(2).X);
}

TEST(WholeRun, NeighbourFileOfTheFirstRunServesTheSecond) {
  const test::TemporaryFolder folder;
  const TinyCase c = test::tiny_case();
  RunState run_a, run_b;
  test::run_case(run_a, c, folder);
  const std::string first = test::read_text(folder.path("tiny.nei"));
  test::run_case(run_b, c, folder);
  EXPECT_TRUE(run_a.mesh.NEIGHnew);
  EXPECT_FALSE(run_b.mesh.NEIGHnew);
  EXPECT_EQ(first, test::read_text(folder.path("tiny.nei")));
  for (int id = 1; id <= run_a.parcels.NUMborn; ++id) {
    ASSERT_EQ(run_a.parcels.PARCELS(id).X, run_b.parcels.PARCELS(id).X);
  }
}

TEST(WholeRun, NoParcelsStillRunsToTheEnd) {
  const test::TemporaryFolder folder;
  TinyCase c = test::tiny_case();
  test::add_cards(c, {":no_parcels", ":source_file none"});
  RunState run;
  test::run_case(run, c, folder);
  EXPECT_EQ(run.clock.NStep, 121);
  EXPECT_EQ(run.parcels.NUMparcels, 0);
  EXPECT_FALSE(file_exists(folder.path("tiny_particles.plt")));
}

}  // namespace
}  // namespace dfl
