#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "control/run_clock.h"
#include "flow/dataset_runs.h"
#include "flow/flow_datasets.h"

namespace dfl {
namespace {

using test::CellRun;
using test::DatasetFile;
using test::day_2000;
using test::FlowRun;
using test::hyfs_run;
using test::LatticeRun;
using test::two_node_run;
using test::Values;
using test::write_two_nodes;

double seconds_2000() {
  return DATE_TO_SECONDS(REFyear, {2000, 1, 1, 0, 0, 0, 0});
}

void advance(RunState& run, double t) {
  run.clock.Tnow = t;
  FLOW_ADVANCE(run);
  FLOW_BLEND(run);
}

// ---------------------------------------------------------------- "hyfs"

void open_hyfs(RunState& run) {
  allocate_flow_arrays(run);
  OPEN_FLOW_HYFS(run);
}

TEST(FlowDatasets, NodeFramesWithChangingIntervalsAndOneSkipped) {
  FlowRun f(2);
  two_node_run(f, {60, 120, 180, 300}).run.settings.start_flow = 1000.0;
  open_hyfs(f.run);
  FLOW_START(f.run);
  const FlowState& flow = f.run.flow;
  EXPECT_EQ(flow.TIMEearliest, 1000.0);
  EXPECT_EQ(flow.TIMElast, 1300.0);
  const struct {
    double t;
    float weight;
    double held;  // time in the file that the flow stands for
  } cases[] = {
      {1000.0, 0.0f, 60.0},   {1060.0, 0.0f, 60.0},
      {1075.0, 0.25f, 75.0},  {1120.0, 1.0f, 120.0},  // the pair (60, 120)
      {1210.0, 0.25f, 210.0},  // frame 3 is passed over, and its time makes the interval 120 s
      {1300.0, 1.0f, 300.0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.t);
    advance(f.run, c.t);
    EXPECT_EQ(flow.FLOWfrac, c.weight);
    EXPECT_FLOAT_EQ(flow.ETAnode(1), static_cast<float>(c.held / 1000.0));
    EXPECT_FLOAT_EQ(flow.Unode(1, 0), static_cast<float>(c.held / 100.0));
    EXPECT_FLOAT_EQ(flow.Vnode(2, 0), 3.0f);
    EXPECT_FLOAT_EQ(flow.Hnode(2), 11.0f);
  }
  EXPECT_EQ(flow.dTime, 120.0f);
  EXPECT_EXIT(advance(f.run, 1300.5), testing::ExitedWithCode(0), "HYDRO. DATA FINISHES AT:");
}

TEST(FlowDatasets, OneStepIsHeldAndCoversEveryTime) {
  FlowRun f(2);
  two_node_run(f, {500}).run.settings.stop_run = 1.0e9;
  open_hyfs(f.run);
  FLOW_START(f.run);
  for (const double t : {0.0, 500.0, 1.0e9}) {
    advance(f.run, t);
    EXPECT_EQ(f.run.flow.FLOWfrac, 0.0f);
    EXPECT_FLOAT_EQ(f.run.flow.Unode(1, 0), 5.0f);
  }
}

TEST(FlowDatasets, ReferenceTimeStartsTheFlowUnlessACardDoes) {
  const struct {
    double card;  // below 0: none
    double reference_day;
    double start;
  } cases[] = {
      {-999.0, day_2000, seconds_2000()},
      {-999.0, day_2000 + 0.5 + 1.0 / 86400.0, seconds_2000() + 43201.0},
      {77.0, day_2000, 77.0},
      {-999.0, -1.0, -999.0},  // none in the file: no failure
      // Before the reference year: 12 leap days from 1904 to 1948.
      {-999.0, 2415020.5, -(50.0 * 365.0 + 12.0) * 86400.0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.reference_day);
    FlowRun f(2);
    f.console_to_file();
    {
      DatasetFile file(f.folder.path("flow.h5"));
      file.reference_day = c.reference_day;
      write_two_nodes(file, {0, 60});
    }
    hyfs_run(f).run.settings.start_flow = c.card;
    f.run.settings.stop_run = -1.0e10;
    open_hyfs(f.run);
    EXPECT_EQ(f.run.settings.start_flow, c.start);
    FLOW_START(f.run);
    EXPECT_EQ(f.run.flow.TIMEfirst, c.start == -999.0 ? 0.0 : c.start);
    const bool warned = f.console_text().find("start_flow is not given") != std::string::npos;
    EXPECT_EQ(warned, c.start == -999.0);
  }
}

TEST(FlowDatasets, MarksAndNumbersThatAreNoneAreDry) {
  constexpr float none = std::numeric_limits<float>::quiet_NaN();
  FlowRun f(2);
  {
    DatasetFile file(f.folder.path("flow.h5"));
    file.info.values = 2;
    file.scalar("z", {0, 60}, {{none, 1.0f}, {-99999.0f, 1.0f}});
    file.vector("uv", {0, 60},
                {{1, 1, -999, 2}, {none, 1, 1, std::numeric_limits<float>::infinity()}});
  }
  open_hyfs(hyfs_run(f).run);
  FLOW_START(f.run);
  advance(f.run, 30.0);
  const FlowState& flow = f.run.flow;
  EXPECT_EQ(flow.ETAnode(1), dry_surface);
  EXPECT_EQ(flow.ETAnode(2), 1.0f);
  EXPECT_EQ(flow.Unode(1, 0), 0.0f);
  EXPECT_EQ(flow.Vnode(1, 0), 1.0f);
  EXPECT_EQ(flow.Unode(2, 0), 0.0f);
  EXPECT_EQ(flow.Vnode(2, 0), 0.0f);
}

TEST(FlowDatasets, ElevationMayStandInAFileOfItsOwn) {
  FlowRun f(2);
  {
    DatasetFile file(f.folder.path("flow.h5"));
    file.info.values = 2;
    file.vector("uv", {0, 60}, {{1, 2, 3, 4}, {5, 6, 7, 8}});
    DatasetFile level(f.folder.path("level.h5"));
    level.info.values = 2;
    level.scalar("z", {0, 60}, {{1, 2}, {3, 4}});
  }
  hyfs_run(f).run.settings.flow_file_z = f.folder.path("level.h5");
  open_hyfs(f.run);
  FLOW_START(f.run);
  EXPECT_EQ(f.run.flow.ETAnew(2), 2.0f);
  EXPECT_EQ(f.run.flow.Vnew(2, 0), 4.0f);
}

TEST(FlowDatasets, NodeFileKeepsItsTimesAndWarnsOfOtherUnits) {
  FlowRun f(2);
  f.console_to_file();
  {
    DatasetFile file(f.folder.path("flow.h5"));
    file.info.time_units = "Hours";
    write_two_nodes(file, {0, 2});
  }
  open_hyfs(hyfs_run(f).run);
  EXPECT_EQ(f.run.flow.TIMESflow(2), 2.0);
  EXPECT_NE(f.console_text().find("in \"Hours\": they are taken as seconds"), std::string::npos);
}

// ---------------------------------------------------------------- "n2d"

TEST(FlowDatasets, UniformFlowAlongATurnedGridIsTurnedToTheMesh) {
  CellRun f(3, 2, 30.0);
  const Values level(6, 0.5f);
  Values flow;
  for (int c = 0; c < 6; ++c) flow.insert(flow.end(), {2.0f, 0.0f});
  f.write({0, 60}, {level, level}, {flow, flow});
  f.open();
  EXPECT_EQ(f.run.flow.datasets.ULOC, 3);
  EXPECT_EQ(f.run.flow.datasets.VLOC, 4);
  FLOW_START(f.run);
  // The first axis of the grid points 30 degrees clockwise from x: u along it has the parts
  // u cos 30 and -u sin 30.
  for (int n = 1; n <= f.run.mesh.NUMnode; ++n) {
    EXPECT_NEAR(f.run.flow.ETAnew(n), 0.5f, 1.0e-6f);
    EXPECT_NEAR(f.run.flow.Unew(n, 0), 2.0 * std::cos(30.0 * 3.14159265 / 180.0), 1.0e-5);
    EXPECT_NEAR(f.run.flow.Vnew(n, 0), -1.0, 1.0e-5);
  }
}

TEST(FlowDatasets, CellWithoutOneComponentGivesNoSpeedAndADryCellADryNode) {
  CellRun f(2, 1, 0.0);
  // Cell 1 is dry; cell 2 has no v. Nodes 1 and 4 touch cell 1 alone, 3 and 6 cell 2 alone.
  f.write({0, 60}, {{-999.0f, 1.0f}, {-999.0f, 1.0f}},
          {{4.0f, 4.0f, 2.0f, -999.0f}, {4.0f, 4.0f, 2.0f, -99999.0f}}, "Seconds", "centre",
          "centre");
  f.open();
  FLOW_START(f.run);
  const FlowState& flow = f.run.flow;
  EXPECT_LE(flow.ETAnew(1), dry_mark);
  EXPECT_EQ(flow.ETAnew(2), 1.0f);
  EXPECT_EQ(flow.ETAnew(3), 1.0f);
  EXPECT_EQ(flow.Unew(1, 0), 4.0f);
  EXPECT_EQ(flow.Vnew(1, 0), 4.0f);
  EXPECT_NEAR(flow.Unew(2, 0), 3.0f, 1.0e-6f);  // both cells have u, one has v
  EXPECT_EQ(flow.Vnew(2, 0), 4.0f);
  for (const int n : {3, 6}) {
    EXPECT_EQ(flow.Unew(n, 0), 0.0f);
    EXPECT_EQ(flow.Vnew(n, 0), 0.0f);
  }
}

TEST(FlowDatasets, CellsOfATelescopingGridAreMappedFromTheirOwnAxes) {
  CellRun f(2, 1, 30.0);
  f.run.settings.rvs_mesh = true;
  for (int c = 1; c <= 2; ++c) {
    f.run.grid.CELLS(c).X = 10.0 * c - 5.0;
    f.run.grid.CELLS(c).Y = 5.0;
  }
  f.write({0, 60}, {{1, 3}, {1, 3}}, {{2, 0, 4, 0}, {2, 0, 4, 0}}, "Seconds", "centre", "centre");
  f.open();
  FLOW_START(f.run);
  // Nodes 2 and 5 lie as far from the one as from the other cell.
  for (const int n : {2, 5}) {
    EXPECT_NEAR(f.run.flow.ETAnew(n), 2.0f, 1.0e-5f);
    EXPECT_NEAR(f.run.flow.Vnew(n, 0), -1.5f, 1.0e-5f);
  }
}

TEST(FlowDatasets, UnitWordAndReferenceOfCells) {
  const struct {
    const char* units;
    float step;   // the card
    double card;  // start_flow
    double last;  // time of step 2
    double start;
  } cases[] = {
      {"HOURS", 7.0f, -999.0, 7200.0, seconds_2000()},
      {"hours since", 7.0f, 5.0, 7200.0, 5.0},
      {"Seconds", 7.0f, 5.0, 2.0, 5.0},
      {"Minutes", 60.0f, 5.0, 120.0, 5.0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.units);
    CellRun f(1, 1, 0.0);
    f.run.settings.n2d_step = c.step;
    f.run.settings.start_flow = c.card;
    f.write({0, 2}, {{1}, {2}}, {{1, 1}, {2, 2}}, c.units);
    f.open();
    EXPECT_EQ(f.run.flow.TIMESflow(2), c.last);
    EXPECT_EQ(f.run.flow.dTime, static_cast<float>(c.last));
    EXPECT_EQ(f.run.settings.start_flow, c.start);
  }
}

// ---------------------------------------------------------------- 3-D lattices

TEST(FlowDatasets, LatticeCellsComeToTheirNodes) {
  LatticeRun f(FlowFormat::gr3d, 4, 3, 2);
  {
    DatasetFile file(f.folder.path("flow.h5"));
    f.write(file, "z", 1, [](int i, int j, int) { return static_cast<float>(i + 10 * j); });
    f.write(file, "u", 2, [](int i, int, int k) { return static_cast<float>(i * k); });
    f.write(file, "v", 2, [](int, int j, int k) { return static_cast<float>(j + k); });
    f.write(file, "w", 2, [](int, int, int k) { return 0.1f * static_cast<float>(k); });
    f.write(file, "s", 2, [](int i, int, int k) { return i == 1 && k == 1 ? -999.0f : 20.0f; });
    f.write(file, "t", 2, [](int, int, int k) { return static_cast<float>(10 * k); });
  }
  f.open();
  FLOW_START(f.run);
  const FlowState& flow = f.run.flow;
  // Cells are 3 by 2. Inner node: the mean of four; side: of two; corner: its one.
  const struct {
    int i, j;
    float z, u1;  // u at level 1; twice that at level 2
  } cases[] = {{1, 1, 11.0f, 1.0f}, {4, 1, 13.0f, 3.0f}, {1, 3, 21.0f, 1.0f}, {4, 3, 23.0f, 3.0f},
               {2, 1, 11.5f, 1.5f}, {3, 3, 22.5f, 2.5f}, {1, 2, 16.0f, 1.0f}, {4, 2, 18.0f, 3.0f},
               {2, 2, 16.5f, 1.5f}, {3, 2, 17.5f, 2.5f}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.i) + " " + std::to_string(c.j));
    const int n = f.node(c.i, c.j);
    EXPECT_FLOAT_EQ(flow.ETAnew(n), c.z);
    EXPECT_FLOAT_EQ(flow.Unew(n, 1), c.u1);
    EXPECT_FLOAT_EQ(flow.Unew(n, 2), 2.0f * c.u1);
    EXPECT_FLOAT_EQ(flow.Unew(n, 0), 1.5f * c.u1);
    EXPECT_FLOAT_EQ(flow.Vnew(n, 0), 0.5f * (flow.Vnew(n, 1) + flow.Vnew(n, 2)));
    EXPECT_FLOAT_EQ(flow.Wnew(n, 2), 0.2f);
    EXPECT_FLOAT_EQ(flow.Wold(n, 2), 0.2f);
    EXPECT_FLOAT_EQ(flow.TEMnew(n, 2), 20.0f);
    // A cell without salinity has that of the card.
    EXPECT_FLOAT_EQ(flow.SALnew(n, 1), c.i <= 2 ? 34.0f : 20.0f);
    EXPECT_FLOAT_EQ(flow.SALnew(n, 2), 20.0f);
  }
  EXPECT_FLOAT_EQ(flow.Vnew(f.node(2, 2), 1), 2.5f);
  EXPECT_FLOAT_EQ(flow.SIGMA(1), 0.25f);
  EXPECT_FLOAT_EQ(flow.SIGMA(2), 0.75f);
}

TEST(FlowDatasets, NodeBesideALatticeCellWithoutValueIsDry) {
  LatticeRun f(FlowFormat::gr3d, 3, 2, 1);
  {
    DatasetFile file(f.folder.path("flow.h5"));
    const auto dry_left = [](int i, int, int) { return i == 1 ? -999.0f : 1.0f; };
    for (const char* path : {"z", "u", "v", "w", "s", "t"}) f.write(file, path, 1, dry_left);
  }
  f.open();
  FLOW_START(f.run);
  advance(f.run, 30.0);
  const FlowState& flow = f.run.flow;
  for (const int n : {f.node(1, 1), f.node(2, 1)}) {
    EXPECT_EQ(flow.ETAnode(n), dry_surface);
    EXPECT_EQ(flow.Unode(n, 0), 0.0f);
    EXPECT_EQ(flow.Unode(n, 1), 0.0f);
    EXPECT_EQ(flow.Wnode(n, 1), 0.0f);
    EXPECT_EQ(flow.TEMnode(n, 1), f.run.settings.temperature);
  }
  EXPECT_EQ(flow.Unode(f.node(3, 1), 1), 1.0f);
  EXPECT_EQ(flow.ETAnode(f.node(3, 1)), 1.0f);
}

// A column of water between -10 and 2 m in four levels, planes at its quarters; linear shear with
// u = 1 at the surface and 0 at the bed on the planes of the level tops... at plane k of 5:
// (k-1)/4.
TEST(FlowDatasets, PlanesComeToLevelsAndSidesToNodes) {
  LatticeRun f(FlowFormat::n3d, 3, 3, 4);
  {
    DatasetFile file(f.folder.path("flow.h5"));
    // The last column is dry: all planes in one height.
    f.write(file, "grid/z", 5, [](int i, int, int k) {
      return i == 3 ? -1.0f : -10.0f + 12.0f * 0.25f * static_cast<float>(k - 1);
    });
    f.write(file, "grid/u", 5, [](int i, int j, int k) {
      return i == 3 && j == 3 && k == 1 ? -999.0f : static_cast<float>(10 * i + k);
    });
    f.write(file, "grid/v", 5, [](int, int j, int k) { return static_cast<float>(j * k); });
    f.write(file, "grid/w", 5, [](int, int, int k) { return static_cast<float>(k * k); });
    f.write(file, "grid/s", 5, [](int, int, int k) { return static_cast<float>(30 + k); });
  }
  f.open();
  FLOW_START(f.run);
  const FlowState& flow = f.run.flow;
  const int n = f.node(2, 2), dry = f.node(3, 1);
  EXPECT_FLOAT_EQ(flow.ETAnew(n), 2.0f);
  for (int k = 1; k <= 4; ++k) {
    SCOPED_TRACE(k);
    const float level = static_cast<float>(k);
    EXPECT_FLOAT_EQ(flow.SIGnew(n, k), (level - 0.5f) / 4.0f);
    EXPECT_EQ(flow.SIGnew(dry, k), 0.0f);
    EXPECT_FLOAT_EQ(flow.Unew(n, k), 25.0f + level);             // mean of sides 2 and 3
    EXPECT_FLOAT_EQ(flow.Unew(f.node(3, 2), k), 30.0f + level);  // the last column
    EXPECT_FLOAT_EQ(flow.Vnew(n, k), 2.5f * level);
    EXPECT_FLOAT_EQ(flow.Vnew(f.node(2, 3), k), 3.0f * level);  // the last row
    EXPECT_FLOAT_EQ(flow.Wnew(n, k), (level * level + (level + 1) * (level + 1)) * 0.5f);
    EXPECT_FLOAT_EQ(flow.SALnew(n, k), 30.0f + level);
  }
  EXPECT_FLOAT_EQ(flow.Unew(n, 0), 27.5f);
  // One level without a value leaves none for the average.
  EXPECT_EQ(flow.Unew(f.node(3, 3), 0), dry_surface);
  EXPECT_FLOAT_EQ(flow.Vnew(n, 0), 2.5f * 2.5f);
  advance(f.run, 30.0);  // both frames are alike
  for (int k = 1; k <= 4; ++k) EXPECT_FLOAT_EQ(flow.SIGnode(n, k), flow.SIGnew(n, k));
  EXPECT_FLOAT_EQ(flow.Unode(n, 0), 27.5f);
  EXPECT_EQ(flow.Unode(f.node(3, 3), 0), 0.0f);
}

TEST(FlowDatasets, LevelsMoveOnWithTheFrames) {
  LatticeRun f(FlowFormat::n3d, 2, 2, 1);
  {
    DatasetFile file(f.folder.path("flow.h5"));
    file.info.values = 8;
    file.info.time_units = "Hours";
    const std::vector<double> times = {0, 1, 2, 3};
    std::vector<Values> steps;
    for (int k = 0; k < 4; ++k) steps.emplace_back(8, static_cast<float>(k));
    for (const char* path : {"grid/z", "grid/u", "grid/v", "grid/w", "grid/s"}) {
      file.scalar(path, times, steps);
    }
  }
  f.open();
  FLOW_START(f.run);
  EXPECT_EQ(f.run.flow.TIMElast, 10800.0);
  struct Case {
    double t;
    float value;
  };
  for (const Case& c : {Case{1800, 0.5f}, Case{9000, 2.5f}, Case{10800, 3.0f}}) {
    advance(f.run, c.t);
    EXPECT_FLOAT_EQ(f.run.flow.ETAnode(1), c.value);
    EXPECT_FLOAT_EQ(f.run.flow.Unode(4, 1), c.value);
    EXPECT_FLOAT_EQ(f.run.flow.Wnode(4, 1), c.value);
    EXPECT_FLOAT_EQ(f.run.flow.SALnode(4, 1), c.value);
  }
}

TEST(FlowDatasets, LatticeCellsWarnWhereTheirUnitIsNotTheCards) {
  for (const float step : {1.0f, 60.0f, 3600.0f}) {
    SCOPED_TRACE(step);
    LatticeRun f(FlowFormat::gr3d, 2, 2, 1);
    f.run.settings.n2d_step = step;
    f.console_to_file();
    {
      DatasetFile file(f.folder.path("flow.h5"));
      file.info.time_units = "Hours";
      const auto one = [](int, int, int) { return 1.0f; };
      for (const char* path : {"z", "u", "v", "w", "s", "t"}) f.write(file, path, 1, one);
    }
    f.open();
    EXPECT_EQ(f.run.flow.dTime, 60.0f * step);
    const std::string warning = step == 60.0f ? "n2d_step, 60.000 s each" : "seconds";
    EXPECT_EQ(
        f.console_text().find("in \"Hours\": they are taken as " + warning) != std::string::npos,
        step != 3600.0f);
  }
}

TEST(FlowDatasets, UnevenStepsAndOtherTimesOfTheVelocityAreTold) {
  LatticeRun f(FlowFormat::n3d, 2, 2, 1);
  f.run.settings.hyfs_v_path = "grid/v";  // a full path
  f.console_to_file();
  {
    DatasetFile file(f.folder.path("flow.h5"));
    const auto one = [](int, int, int) { return 1.0f; };
    for (const char* path : {"grid/z", "grid/u", "grid/w", "grid/s"}) {
      f.write(file, path, 2, one, {0, 60, 120, 150});
    }
    f.write(file, "grid/v", 2, one, {0, 60, 121, 150});
  }
  f.open();
  const std::string console = f.console_text();
  EXPECT_NE(console.find("\"grid/z\": step 4 does not follow at the interval"), std::string::npos);
  EXPECT_NE(console.find("\"grid/v\": the time of step 3 is not that of the elevation"),
            std::string::npos);
  EXPECT_EQ(console.find("\"grid/u\""), std::string::npos);
  // At even steps the last would stand at 180 s; there is none behind it to go to.
  FLOW_START(f.run);
  EXPECT_EQ(f.run.flow.TIMElast, 150.0);
}

// ---------------------------------------------------------------- bottom flow

TEST(FlowDatasets, BottomFlowIsBlendedWithTheMainFlow) {
  FlowRun f(2);
  two_node_run(f, {0, 60, 120});
  test::bottom_flow(f, 3);
  f.run.settings.bottom_mask_file = f.folder.write("mask", "title\n2\n1 0\n2 1\n");
  OPEN_BOTTOM_FLOW(f.run);
  open_hyfs(f.run);
  FLOW_START(f.run);
  EXPECT_FALSE(is_true(f.run.flow.BOTTOMmask(1)));
  EXPECT_TRUE(is_true(f.run.flow.BOTTOMmask(2)));
  EXPECT_EQ(f.run.flow.datasets.dTimebottom, 60.0f);
  struct Case {
    double t;
    float ub;
  };
  for (const Case& c : {Case{0, 0}, Case{15, 1.5f}, Case{60, 6}, Case{90, 9}, Case{120, 12}}) {
    SCOPED_TRACE(c.t);
    advance(f.run, c.t);
    EXPECT_FLOAT_EQ(f.run.flow.UBnode(1), c.ub);
    EXPECT_FLOAT_EQ(f.run.flow.VBnode(2), 3.0f);
  }
}

TEST(FlowDatasets, BottomFlowThatEndsEarlyStopsTheRun) {
  FlowRun f(2);
  two_node_run(f, {0, 60, 120});
  test::bottom_flow(f, 2);
  OPEN_BOTTOM_FLOW(f.run);
  open_hyfs(f.run);
  FLOW_START(f.run);
  advance(f.run, 60.0);
  EXPECT_EXIT(advance(f.run, 61.0), testing::ExitedWithCode(0),
              "bottom.h5: expected bottom flow until 1950/01/01 00:01:01, found its last step at "
              "1950/01/01 00:01:00");
}

// ---------------------------------------------------------------- NetCDF

constexpr const char* adcirc_cdl = R"(netcdf flow {
dimensions: time = UNLIMITED; node = 2;
variables:
  double time(time); time:units = "seconds since 2000-01-01 00:00:00 UTC"; time:base_date = "x";
  double zeta(time, node); zeta:_FillValue = -99999.; zeta:location = "node"; zeta:mesh = "m";
  double u-vel(time, node); u-vel:_FillValue = -99999.; u-vel:location = "node";
  double v-vel(time, node); v-vel:_FillValue = -99999.; v-vel:location = "node";
data:
  time = 3600, 7200; zeta = 0.5, _, 1.5, _;
  u-vel = 1, _, 3, _; v-vel = -1, _, -3, _;
}
)";

TEST(FlowDatasets, FlowOfANetcdfFileAsItStands) {
  FlowRun f(2);
  if (!test::make_netcdf(f.folder, "flow.nc", adcirc_cdl)) GTEST_SKIP() << "no ncgen";
  Settings& s = hyfs_run(f).run.settings;
  s.flow_file_uv = f.folder.path("flow.nc");
  s.hyfs_wse_path = "zeta";
  s.hyfs_vel_path = "u-vel,v-vel";
  s.start_flow = -999.0;
  open_hyfs(f.run);
  FLOW_START(f.run);
  EXPECT_EQ(f.run.flow.TIMEfirst, seconds_2000() + 3600.0);
  EXPECT_EQ(f.run.flow.dTime, 3600.0f);
  advance(f.run, seconds_2000() + 5400.0);
  EXPECT_FLOAT_EQ(f.run.flow.ETAnode(1), 1.0f);
  EXPECT_FLOAT_EQ(f.run.flow.Unode(1, 0), 2.0f);
  EXPECT_FLOAT_EQ(f.run.flow.Vnode(1, 0), -2.0f);
  EXPECT_EQ(f.run.flow.ETAnode(2), dry_surface);
  EXPECT_EQ(f.run.flow.Unode(2, 0), 0.0f);
}

}  // namespace
}  // namespace dfl
