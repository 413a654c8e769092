#include "sediment/morphology.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "mesh/geometry.h"
#include "sediment/bed_fields.h"
#include "sediment/bed_run.h"

namespace dfl {
namespace {

TEST(NodeAverage, WeighsByAreaAndLeavesALoneNodeEmpty) {
  RunState run;
  test::set_mesh(run, {{0, 0, 1}, {30, 0, 1}, {30, 20, 1}, {0, 20, 1}, {99, 99, 1}},
                 {{1, 2, 3}, {1, 3, 4}, {1, 2, 4}});
  Array<float> elements, nodes;
  elements.allocate(3);
  for (int e = 1; e <= 3; ++e) {
    run.mesh.AREAelem(e) = e < 3 ? 300.0f : 50.0f;
    elements(e) = e < 3 ? 3.0f * static_cast<float>(e) - 2.0f : -2.0f;
  }
  NODE_AVERAGE(run.mesh, elements, nodes);
  // Node 1 touches all three, of 1, 4 and -2.
  EXPECT_FLOAT_EQ(nodes(1), (300.0f + 1200.0f - 100.0f) / 650.0f);
  EXPECT_FLOAT_EQ(nodes(4), (1200.0f - 100.0f) / 350.0f);
  EXPECT_EQ(nodes(5), 0.0f);
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

TEST(SmoothDzdt, SpreadsAPeakOverItsElementsAndLeavesDryNodes) {
  RunState run;
  test::bed_run(run, 4, 3, 2.0f);
  const int peak = 8, beside = 7, dry = 9;
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
}

TEST(MorphologyStep, PassiveBedIsRecordedAndActiveOneMovesWithinTheFastestRate) {
  const float rate[] = {0.001f, 0.5f, -0.5f, 0.001f};
  for (const bool active : {false, true}) {
    RunState run;
    moving_run(run, active);
    for (int n = 1; n <= 4; ++n) run.sediment.DZDT(n) = rate[n - 1];
    run.sediment.BEDmobile(4) = logical_false;
    for (int step = 0; step < 2; ++step) MORPHOLOGY_STEP(run);  // of 10 s
    const float moved[] = {2.98f, 1.0f, 5.0f, 3.0f}, recorded[] = {2.98f, -7.0f, 13.0f, 3.0f};
    for (int n = 1; n <= 4; ++n) {
      EXPECT_FLOAT_EQ(run.sediment.BEDlevel(n), active ? moved[n - 1] : recorded[n - 1]) << n;
      EXPECT_EQ(run.mesh.DEPTHnode(n), active ? run.sediment.BEDlevel(n) : 3.0f) << n;
      EXPECT_EQ(run.sediment.DEPTHstart(n), 3.0f);
    }
    // The hard bottom stands, but its change is counted.
    EXPECT_NEAR(run.sediment.BEDchange(4), active ? 0.02 : 0.0, 1.0e-8);
    if (!active) {
      EXPECT_EQ(run.sediment.BEDchange(1), 0.0);
    }
  }
}

TEST(MorphologyStep, SlopesFollowTheMovedBed) {
  RunState run;
  run.settings.slope_effects = true;
  moving_run(run, true);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    run.sediment.DZDT(n) = static_cast<float>(0.001 * run.mesh.Xnode(n));
  }
  MORPHOLOGY_STEP(run);  // rises by 0.01 of x
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    EXPECT_NEAR(run.sediment.BEDslopeX(n), 0.01f, 1.0e-6f);
    EXPECT_NEAR(run.sediment.BEDslopeY(n), 0.0f, 1.0e-6f);
  }
}

// Corners of the mesh moved so that areas differ from element to element.
void shear_nodes(RunState& run) {
  MeshState& mesh = run.mesh;
  for (int n = 1; n <= mesh.NUMnode; ++n) {
    const double x = mesh.Xnode(n), y = mesh.Ynode(n);
    mesh.Xnode(n) = x + 2.0 * std::sin(0.05 * x + 0.03 * y);
    mesh.Ynode(n) = y + 3.0 * std::sin(0.04 * x - 0.05 * y);
  }
  test::set_areas(mesh);
}

// Volume under a surface that is plane on each element.
template <class Values>
double volume(const MeshState& mesh, const Values& values) {
  double sum = 0.0;
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    const double of_nodes = static_cast<double>(values(mesh.ELnode1(e))) +
                            static_cast<double>(values(mesh.ELnode2(e))) +
                            static_cast<double>(values(mesh.ELnode3(e)));
    sum += static_cast<double>(mesh.AREAelem(e)) * of_nodes / 3.0;
  }
  return sum;
}

Array<float> sizes_of(const Array<float>& values) {
  Array<float> sizes = values;
  for (int n = 1; n <= sizes.size(); ++n) sizes(n) = std::abs(sizes(n));
  return sizes;
}

TEST(SmoothDzdt, KeepsTheVolumeButNotThePlainSum) {
  RunState run;
  test::bed_run(run, 12, 9, 2.0f);
  shear_nodes(run);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    run.sediment.DZDT(n) = static_cast<float>(1.0e-4 * std::sin(1.0 * n * n));
  }
  const auto plain_sum = [&] {
    double sum = 0.0;
    for (int n = 1; n <= run.mesh.NUMnode; ++n) sum += static_cast<double>(run.sediment.DZDT(n));
    return sum;
  };
  const double before = volume(run.mesh, run.sediment.DZDT), sum_before = plain_sum();
  const double size = volume(run.mesh, sizes_of(run.sediment.DZDT));
  for (int k = 0; k < 3; ++k) SMOOTH_DZDT(run);
  EXPECT_NEAR(volume(run.mesh, run.sediment.DZDT), before, 1.0e-6 * size);
  EXPECT_GT(std::abs(plain_sum() - sum_before), 0.05 * std::abs(sum_before));
  EXPECT_LT(volume(run.mesh, sizes_of(run.sediment.DZDT)), 0.5 * size);
}

// A basin with walls: at the nodes of its rim the water stands still.
TEST(Morphology, BudgetOfAClosedBasinCloses) {
  RunState run;
  run.settings.morphology = run.settings.active_morphology = true;
  constexpr int columns = 20, rows = 14;
  test::bed_run(run, columns, rows, 3.0f);
  shear_nodes(run);
  run.sediment.DEPTHstart = run.mesh.DEPTHnode;
  run.settings.time_step = 60.0;
  run.settings.morphology_smoothing = 2;
  for (int j = 1; j < rows; ++j) {
    for (int i = 1; i < columns; ++i) {
      const int n = j * (columns + 1) + i + 1;
      run.flow.Unode(n, 0) = static_cast<float>(1.1 * std::sin(0.3 * i) * std::cos(0.4 * j));
      run.flow.Vnode(n, 0) = static_cast<float>(-0.9 * std::cos(0.35 * i + 0.2 * j));
    }
  }
  for (run.clock.NStep = 1; run.clock.NStep <= 100; ++run.clock.NStep) {
    BED_FIELDS(run);
    MORPHOLOGY_STEP(run);
  }
  Array<double> sizes;
  sizes.allocate(run.mesh.NUMnode);
  double highest = 0.0;
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    sizes(n) = std::abs(run.sediment.BEDchange(n));
    highest = std::max(highest, sizes(n));
  }
  const double moved = volume(run.mesh, sizes);
  EXPECT_GT(highest, 0.01);  // m
  // What is left is the rounding of gradients and rates in 4 bytes.
  EXPECT_LT(std::abs(volume(run.mesh, run.sediment.BEDchange)), 2.0e-6 * moved);
}

// Through the ends of a channel the bed gains what the transport brings in more than it takes out:
// the transport at the ends, straight between nodes.
TEST(Morphology, BedOfAChannelGainsWhatCrossesItsEnds) {
  RunState run;
  constexpr int columns = 16, rows = 4;
  test::bed_run(run, columns, rows, 3.0f);
  const int across = columns + 1;
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    const double x = run.mesh.Xnode(n), y = run.mesh.Ynode(n);
    run.flow.Unode(n, 0) = static_cast<float>(1.3 - 0.004 * x + 0.002 * y);
  }
  BED_FIELDS(run);
  double gained = 0.0;
  for (int j = 0; j < rows; ++j) {
    const auto load = [&](int i, int row) {
      return static_cast<double>(run.sediment.QSED(row * across + i + 1));
    };
    gained += 10.0 * 0.5 * (load(0, j) + load(0, j + 1) - load(columns, j) - load(columns, j + 1));
  }
  gained /= static_cast<double>(run.settings.rhos) *
            (1.0 - static_cast<double>(run.settings.bed_porosity));  // kg/s to m3/s of bed
  EXPECT_GT(gained, 0.0);
  EXPECT_NEAR(volume(run.mesh, run.sediment.DZDT), gained, 1.0e-5 * gained);
}

// The discharge stays: fast over the hump. Its sand goes with the current, as fast as the transport
// changes with the bed level.
TEST(Morphology, HumpMovesDownstreamWithTheKinematicSpeed) {
  for (const float direction : {1.0f, -1.0f}) {
    RunState run;
    run.settings.morphology = run.settings.active_morphology = true;
    constexpr int columns = 120, rows = 2;
    constexpr float discharge = 4.0f, start_depth = 4.0f;
    test::bed_run(run, columns, rows, start_depth);
    run.settings.time_step = 600.0;
    run.settings.no_bedforms = true;
    MeshState& mesh = run.mesh;
    const auto hump = [](double x) { return 0.1 * std::exp(-std::pow((x - 600.0) / 100.0, 2.0)); };
    for (int n = 1; n <= mesh.NUMnode; ++n) {
      mesh.DEPTHnode(n) = start_depth - static_cast<float>(hump(mesh.Xnode(n)));
    }
    run.sediment.DEPTHstart = mesh.DEPTHnode;
    const auto flow_over = [&](float shift) {
      for (int n = 1; n <= mesh.NUMnode; ++n) {
        run.flow.Hnode(n) = mesh.DEPTHnode(n) + shift;
        run.flow.Unode(n, 0) = direction * discharge / run.flow.Hnode(n);
      }
    };
    // Change of the transport at the depth of the plain bed, of bed volume.
    const int plain = 1;
    const auto load_at = [&](float shift) {
      flow_over(shift);
      BED_FIELDS(run);
      return static_cast<double>(run.sediment.QSED(plain)) / 2650.0 / 0.6;
    };
    const double speed = (load_at(-0.02f) - load_at(0.02f)) / 0.04;

    const auto centre = [&] {
      double moment = 0.0, sum = 0.0;
      for (int i = 1; i <= columns + 1; ++i) {
        const double rise = static_cast<double>(start_depth - mesh.DEPTHnode(columns + 1 + i));
        moment += rise * mesh.Xnode(columns + 1 + i);
        sum += rise;
      }
      return moment / sum;
    };
    const double before = centre();
    constexpr int steps = 200;
    for (run.clock.NStep = 1; run.clock.NStep <= steps; ++run.clock.NStep) {
      flow_over(0.0f);
      BED_FIELDS(run);
      MORPHOLOGY_STEP(run);
    }
    const double moved = (centre() - before) * static_cast<double>(direction);
    const double expected = speed * steps * 600.0;
    EXPECT_GT(moved, 10.0);
    // The crest of 0.1 m on 4 m goes somewhat faster than a low hump would.
    EXPECT_NEAR(moved / expected, 1.0, 0.1);
  }
}

TEST(Morphology, EnsimDepthsDrawAWarning) {
  struct Case {
    bool ensim, morphology, slopes, warns;
  };
  for (const Case& c : {Case{true, true, false, true}, Case{true, false, true, true},
                        Case{true, false, false, false}, Case{false, true, true, false}}) {
    RunState run;
    run.settings.slope_effects = c.slopes;
    run.settings.morphology = c.morphology;
    test::bed_run(run, 1, 1, 2.0f);
    run.settings.ensim = c.ensim;
    const auto log = test::echoed(run, [&] {
      for (run.clock.NStep = 1; run.clock.NStep <= 3; ++run.clock.NStep) BED_FIELDS(run);
    });
    ASSERT_EQ(log.size(), c.warns ? 1u : 0u);
    EXPECT_TRUE(!c.warns || log[0].rfind("WARNING: ensim (depths upward)", 0) == 0);
  }
}

}  // namespace
}  // namespace dfl
