#include "sediment/morphology.h"

#include <gtest/gtest.h>

#include "sediment/bed_run.h"

namespace dfl {
namespace {

// A lone node, number 1 of an extra column, belongs to no element.
void run_with_lone_node(RunState& run) {
  std::vector<test::TestNode> nodes = {{0, 0, 1}, {30, 0, 1}, {30, 20, 1}, {0, 20, 1}, {99, 99, 1}};
  test::set_mesh(run, nodes, {{1, 2, 3}, {1, 3, 4}, {1, 2, 4}});
  run.mesh.AREAelem(1) = 300.0f;
  run.mesh.AREAelem(2) = 300.0f;
  run.mesh.AREAelem(3) = 50.0f;
}

TEST(NodeAverage, KeepsTheAreaIntegral) {
  RunState run;
  run_with_lone_node(run);
  Array<float> elements, nodes;
  elements.allocate(3);
  elements(1) = 1.0f;
  elements(2) = 4.0f;
  elements(3) = -2.0f;
  NODE_AVERAGE(run.mesh, elements, nodes);
  // Node 1 touches all three: (300 + 1200 - 100) / 650.
  EXPECT_FLOAT_EQ(nodes(1), 1400.0f / 650.0f);
  EXPECT_FLOAT_EQ(nodes(4), (1200.0f - 100.0f) / 350.0f);
  EXPECT_EQ(nodes(5), 0.0f);  // no element
  const float areas[] = {650.0f, 350.0f, 600.0f, 350.0f};
  float integral = 0.0f;
  for (int n = 1; n <= 4; ++n) integral += areas[n - 1] * nodes(n);
  EXPECT_FLOAT_EQ(integral, 3.0f * (300.0f + 1200.0f - 100.0f));
}

TEST(BedSlopes, RisingBedIsPositive) {
  RunState run;
  test::bed_run(run, 4, 3, 2.0f);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    run.mesh.DEPTHnode(n) =
        static_cast<float>(10.0 - 0.02 * run.mesh.Xnode(n) + 0.05 * run.mesh.Ynode(n));
  }
  BED_SLOPES(run);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    EXPECT_NEAR(run.sediment.BEDslopeX(n), 0.02f, 1.0e-6f);
    EXPECT_NEAR(run.sediment.BEDslopeY(n), -0.05f, 1.0e-6f);
  }
}

TEST(SmoothDzdt, KeepsAConstantAndLeavesDryNodes) {
  RunState run;
  test::bed_run(run, 4, 3, 2.0f);
  run.sediment.DZDT.fill(0.003f);
  SMOOTH_DZDT(run);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) EXPECT_FLOAT_EQ(run.sediment.DZDT(n), 0.003f);

  // A peak spreads over the nodes of its elements; a node at min_depth keeps what it has.
  const int peak = 8, beside = 7, dry = 9;
  run.sediment.DZDT.fill(0.0f);
  run.sediment.DZDT(peak) = 0.6f;
  run.flow.Hnode(dry) = run.settings.min_depth;
  SMOOTH_DZDT(run);
  // Each of the six equal elements at the peak holds 0.2; two of the six at the neighbour do.
  EXPECT_FLOAT_EQ(run.sediment.DZDT(peak), 0.2f);
  EXPECT_FLOAT_EQ(run.sediment.DZDT(beside), 0.4f / 6.0f);
  EXPECT_EQ(run.sediment.DZDT(dry), 0.0f);
}

void moving_run(RunState& run, bool active) {
  run.settings.morphology = true;
  run.settings.active_morphology = active;
  test::bed_run(run, 2, 2, 3.0f);
  run.sediment.DEPTHstart.fill(3.0f);
  run.sediment.BEDlevel.fill(3.0f);
  run.sediment.DZDT.fill(0.001f);
  run.sediment.DZDT(2) = 0.5f;
  run.sediment.DZDT(3) = -0.5f;
  run.sediment.DZDT(4) = 0.001f;
  run.sediment.BEDmobile(4) = logical_false;
}

TEST(MorphologyStep, PassiveBedIsOnlyRecorded) {
  RunState run;
  moving_run(run, false);
  MORPHOLOGY_STEP(run);  // 10 s
  EXPECT_FLOAT_EQ(run.sediment.BEDlevel(1), 2.99f);
  EXPECT_FLOAT_EQ(run.sediment.BEDlevel(2), -2.0f);  // not held to 0.1 m/s
  EXPECT_EQ(run.sediment.BEDlevel(4), 3.0f);
  for (int n = 1; n <= 4; ++n) {
    EXPECT_EQ(run.mesh.DEPTHnode(n), 3.0f);
    EXPECT_EQ(run.sediment.BEDchange(n), 0.0);
  }
}

TEST(MorphologyStep, ActiveBedMovesWithinTheFastestRate) {
  RunState run;
  moving_run(run, true);
  for (int step = 0; step < 2; ++step) MORPHOLOGY_STEP(run);
  EXPECT_FLOAT_EQ(run.mesh.DEPTHnode(1), 2.98f);
  EXPECT_FLOAT_EQ(run.mesh.DEPTHnode(2), 1.0f);
  EXPECT_FLOAT_EQ(run.mesh.DEPTHnode(3), 5.0f);
  EXPECT_EQ(run.sediment.BEDlevel(2), run.mesh.DEPTHnode(2));
  // The hard bottom stands, but its change is counted.
  EXPECT_EQ(run.mesh.DEPTHnode(4), 3.0f);
  EXPECT_EQ(run.sediment.BEDlevel(4), 3.0f);
  EXPECT_NEAR(run.sediment.BEDchange(4), 0.02, 1.0e-8);
  EXPECT_EQ(run.sediment.DEPTHstart(2), 3.0f);
}

TEST(MorphologyStep, SlopesFollowTheMovedBed) {
  RunState run;
  run.settings.slope_effects = true;
  moving_run(run, true);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    run.sediment.BEDmobile(n) = logical_true;
    run.sediment.DZDT(n) = static_cast<float>(0.001 * run.mesh.Xnode(n));
  }
  MORPHOLOGY_STEP(run);  // rises by 0.01 of x
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    EXPECT_NEAR(run.sediment.BEDslopeX(n), 0.01f, 1.0e-6f);
    EXPECT_NEAR(run.sediment.BEDslopeY(n), 0.0f, 1.0e-6f);
  }
}

}  // namespace
}  // namespace dfl
