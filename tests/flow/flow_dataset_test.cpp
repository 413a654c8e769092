#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>

#include "control/run_clock.h"
#include "flow/dataset_files.h"
#include "flow/flow_datasets.h"
#include "flow/flow_files.h"
#include "flow/vertical_profile.h"

namespace dfl {
namespace {

using test::DatasetFile;
using test::FlowRun;
using test::Values;

constexpr double day_2000 = 2451544.5;  // Julian day of 2000-01-01 00:00

double seconds_2000() {
  return DATE_TO_SECONDS(REFyear, {2000, 1, 1, 0, 0, 0, 0});
}

void advance(RunState& run, double t) {
  run.clock.Tnow = t;
  FLOW_ADVANCE(run);
  FLOW_BLEND(run);
}

// ---------------------------------------------------------------- "hyfs"

FlowRun& hyfs_run(FlowRun& f) {
  f.run.settings.method.flow = FlowFormat::hyfs;
  f.run.settings.flow_format = "hyfs";
  f.run.settings.flow_file_z = f.run.settings.flow_file_uv = f.folder.path("flow.h5");
  f.run.settings.hyfs_wse_path = "z";
  f.run.settings.hyfs_vel_path = "uv";
  return f;
}

void open_hyfs(RunState& run) {
  allocate_flow_arrays(run);
  OPEN_FLOW_HYFS(run);
}

// Two nodes; at time t elevation t / 1000 and 1, velocity t / 100 and 0, 2 and 3.
void write_two_nodes(DatasetFile& file, const std::vector<double>& times) {
  std::vector<Values> z, uv;
  for (const double t : times) {
    const float s = static_cast<float>(t);
    z.push_back({s / 1000.0f, 1.0f});
    uv.push_back({s / 100.0f, 0.0f, 2.0f, 3.0f});
  }
  file.info.values = 2;
  file.scalar("z", times, z);
  file.vector("uv", times, uv);
}

TEST(FlowDatasets, NodeFramesWithChangingIntervalsAndOneSkipped) {
  FlowRun f(2);
  {
    DatasetFile file(f.folder.path("flow.h5"));
    write_two_nodes(file, {60, 120, 180, 300});
  }
  hyfs_run(f).run.settings.start_flow = 1000.0;
  open_hyfs(f.run);
  FLOW_START(f.run);
  const FlowState& flow = f.run.flow;
  EXPECT_EQ(flow.TIMEearliest, 1000.0);
  EXPECT_EQ(flow.TIMElast, 1300.0);
  struct Case {
    double t;
    float weight;
    double held;  // time in the file that the flow stands for
  };
  const Case cases[] = {
      {1000.0, 0.0f, 60.0},   {1060.0, 0.0f, 60.0},
      {1075.0, 0.25f, 75.0},  {1120.0, 1.0f, 120.0},  // the pair (60, 120)
      {1210.0, 0.25f, 210.0},  // frame 3 is passed over, and its time makes the interval 120 s
      {1300.0, 1.0f, 300.0},
  };
  for (const Case& c : cases) {
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
  {
    DatasetFile file(f.folder.path("flow.h5"));
    write_two_nodes(file, {500});
  }
  hyfs_run(f).run.settings.stop_run = 1.0e9;
  open_hyfs(f.run);
  FLOW_START(f.run);
  for (const double t : {0.0, 500.0, 1.0e9}) {
    advance(f.run, t);
    EXPECT_EQ(f.run.flow.FLOWfrac, 0.0f);
    EXPECT_FLOAT_EQ(f.run.flow.Unode(1, 0), 5.0f);
  }
}

TEST(FlowDatasets, ReferenceTimeStartsTheFlowUnlessACardDoes) {
  struct Case {
    double card;  // below 0: none
    double reference_day;
    double start;
  };
  const Case cases[] = {
      {-999.0, day_2000, seconds_2000()},
      {-999.0, day_2000 + 0.5 + 1.0 / 86400.0, seconds_2000() + 43201.0},
      {77.0, day_2000, 77.0},
      {-999.0, -1.0, -999.0},  // none in the file: no failure
      // Before the reference year: 12 leap days from 1904 to 1948.
      {-999.0, 2415020.5, -(50.0 * 365.0 + 12.0) * 86400.0},
  };
  for (const Case& c : cases) {
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

// One row of `cells` square cells of 10 m in a grid turned by `angle` degrees, all active; mesh
// nodes at their corners, and `rows` rows of them.
struct CellRun : FlowRun {
  CellRun(int columns, int rows, double angle) : FlowRun((columns + 1) * (rows + 1)) {
    run.settings.method.flow = FlowFormat::n2d;
    run.settings.flow_format = "n2d";
    run.settings.flow_file_z = folder.path("level.h5");
    run.settings.flow_file_uv = folder.path("flow.h5");
    run.settings.hyfs_wse_path = "z";
    run.settings.hyfs_vel_path = "uv";
    GridState& grid = run.grid;
    grid.NumI = columns;
    grid.NumJ = rows;
    grid.NUMcells = grid.NUMactive = columns * rows;
    grid.GRIDangle = angle;
    grid.CELLS.allocate(grid.NUMcells);
    grid.CELLnodes.allocate(grid.NUMcells, 1, 4);
    run.mesh.Xnode.allocate(run.mesh.NUMnode);
    run.mesh.Ynode.allocate(run.mesh.NUMnode);
    const double s = std::sin(angle * 3.14159265 / 180.0), c = std::cos(angle * 3.14159265 / 180.0);
    const auto place = [&](double p, double q, double& x, double& y) {
      x = c * p + s * q;
      y = -s * p + c * q;
    };
    for (int j = 0; j <= rows; ++j) {
      for (int i = 0; i <= columns; ++i) {
        const int n = j * (columns + 1) + i + 1;
        place(10.0 * i, 10.0 * j, run.mesh.Xnode(n), run.mesh.Ynode(n));
        if (i == columns || j == rows) continue;
        Cell& cell = grid.CELLS(j * columns + i + 1);
        cell.DX = cell.DY = 10.0;
        place(10.0 * i + 5.0, 10.0 * j + 5.0, cell.X, cell.Y);
        const int corners[] = {n, n + 1, n + columns + 1, n + columns + 2};
        for (int k = 1; k <= 4; ++k) grid.CELLnodes(j * columns + i + 1, k) = corners[k - 1];
      }
    }
  }
  void write(const std::vector<double>& times, const std::vector<Values>& z,
             const std::vector<Values>& uv, const std::string& units = "Seconds",
             const std::string& z_place = "centre", const std::string& uv_place = "faces") {
    const std::int64_t cells = run.grid.NUMcells;
    DatasetFile level(folder.path("level.h5")), flow(folder.path("flow.h5"));
    level.info.values = flow.info.values = cells;
    level.info.time_units = flow.info.time_units = units;
    level.reference_day = day_2000;
    level.info.location = z_place;
    level.scalar("z", times, z);
    flow.info.location = uv_place;
    flow.vector("uv", times, uv);
  }
  void open() {
    allocate_flow_arrays(run);
    OPEN_FLOW_N2D(run);
  }
};

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
  struct Case {
    const char* units;
    float step;   // the card
    double card;  // start_flow
    double last;  // time of step 2
    double start;
  };
  const Case cases[] = {
      {"HOURS", 7.0f, -999.0, 7200.0, seconds_2000()},
      {"hours since", 7.0f, 5.0, 7200.0, 5.0},
      {"Seconds", 7.0f, 5.0, 2.0, 5.0},
      {"Minutes", 60.0f, 5.0, 120.0, 5.0},
  };
  for (const Case& c : cases) {
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

struct LatticeRun : FlowRun {
  LatticeRun(FlowFormat format, int NumI, int NumJ, int layers) : FlowRun(NumI * NumJ, false) {
    const bool n3d = format == FlowFormat::n3d;
    run.settings.method.flow = format;
    run.settings.flow_format = n3d ? "n3d" : "gr3d";
    run.settings.flow_file_uv = folder.path("flow.h5");
    run.settings.hyfs_wse_path = "z";
    run.settings.hyfs_vel_path = "u,v,w";
    run.settings.hyfs_u_path = "u";
    run.settings.hyfs_v_path = "v";
    run.settings.hyfs_w_path = "w";
    run.settings.hyfs_sal_path = "s";
    run.settings.hyfs_temp_path = "t";
    run.settings.hyfs_n3d_path = "grid";
    run.settings.salinity = 0.034f;
    run.grid.NumI = NumI;
    run.grid.NumJ = NumJ;
    run.grid.NUMactive = (NumI - 1) * (NumJ - 1);
    run.flow.NUMlayers = layers;
    run.flow.IDEN = n3d ? 6 : 5;
  }
  // One value for each place of a step, with k the level or plane, i and j from 1.
  using Field = std::function<float(int i, int j, int k)>;
  Values step(const Field& field, int levels) const {
    const bool n3d = run.flow.IDEN == 6;
    const int ni = run.grid.NumI - (n3d ? 0 : 1), nj = run.grid.NumJ - (n3d ? 0 : 1);
    Values values;
    for (int k = 1; k <= levels; ++k) {
      for (int j = 1; j <= nj; ++j) {
        for (int i = 1; i <= ni; ++i) values.push_back(field(i, j, k));
      }
    }
    return values;
  }
  void write(DatasetFile& file, const std::string& path, const Field& field, int levels,
             const std::vector<double>& times = {0, 60}) const {
    const Values values = step(field, levels);
    file.info.values = static_cast<std::int64_t>(values.size());
    file.scalar(path, times, std::vector<Values>(times.size(), values));
  }
  void open() {
    run.flow.IDEN == 6 ? OPEN_FLOW_N3D(run) : OPEN_FLOW_GR3D(run);
    allocate_flow_arrays(run);
    run.flow.IDEN == 6 ? OPEN_SCALARS_N3D(run) : OPEN_SCALARS_GR3D(run);
  }
  int node(int i, int j) const { return (j - 1) * run.grid.NumI + i; }
};

TEST(FlowDatasets, LatticeCellsComeToTheirNodes) {
  LatticeRun f(FlowFormat::gr3d, 4, 3, 2);
  {
    DatasetFile file(f.folder.path("flow.h5"));
    f.write(
        file, "z", [](int i, int j, int) { return static_cast<float>(i + 10 * j); }, 1);
    f.write(
        file, "u", [](int i, int, int k) { return static_cast<float>(i * k); }, 2);
    f.write(
        file, "v", [](int, int j, int k) { return static_cast<float>(j + k); }, 2);
    f.write(
        file, "w", [](int, int, int k) { return 0.1f * static_cast<float>(k); }, 2);
    f.write(
        file, "s", [](int i, int, int k) { return i == 1 && k == 1 ? -999.0f : 20.0f; }, 2);
    f.write(
        file, "t", [](int, int, int k) { return static_cast<float>(10 * k); }, 2);
  }
  f.open();
  FLOW_START(f.run);
  const FlowState& flow = f.run.flow;
  // Cells are 3 by 2. Inner node: the mean of four; side: of two; corner: its one.
  struct Case {
    int i, j;
    float z, u1;  // u at level 1; twice that at level 2
  };
  const Case cases[] = {{1, 1, 11.0f, 1.0f}, {4, 1, 13.0f, 3.0f}, {1, 3, 21.0f, 1.0f},
                        {4, 3, 23.0f, 3.0f}, {2, 1, 11.5f, 1.5f}, {3, 3, 22.5f, 2.5f},
                        {1, 2, 16.0f, 1.0f}, {4, 2, 18.0f, 3.0f}, {2, 2, 16.5f, 1.5f},
                        {3, 2, 17.5f, 2.5f}};
  for (const Case& c : cases) {
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
    for (const char* path : {"z", "u", "v", "w", "s", "t"}) f.write(file, path, dry_left, 1);
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
    f.write(
        file, "grid/z",
        [](int i, int, int k) {
          return i == 3 ? -1.0f : -10.0f + 12.0f * 0.25f * static_cast<float>(k - 1);
        },
        5);
    f.write(
        file, "grid/u", [](int i, int, int k) { return static_cast<float>(10 * i + k); }, 5);
    f.write(
        file, "grid/v", [](int, int j, int k) { return static_cast<float>(j * k); }, 5);
    f.write(
        file, "grid/w", [](int, int, int k) { return static_cast<float>(k * k); }, 5);
    f.write(
        file, "grid/s", [](int, int, int k) { return static_cast<float>(30 + k); }, 5);
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
  EXPECT_FLOAT_EQ(flow.Vnew(n, 0), 2.5f * 2.5f);
}

TEST(FlowDatasets, VelocityAtAHeightFollowsTheLevelsOfTheNode) {
  // Shear u = 2 sigma over two columns of one and two metres, evenly spaced planes.
  LatticeRun f(FlowFormat::n3d, 2, 2, 8);
  {
    DatasetFile file(f.folder.path("flow.h5"));
    f.write(
        file, "grid/z",
        [](int i, int, int k) {
          return static_cast<float>(i) * (static_cast<float>(k - 1) / 8.0f - 1.0f);
        },
        9);
    // Sides carry the velocity of the level whose plane they share, at its middle.
    const auto shear = [](int, int, int k) { return 2.0f * (static_cast<float>(k) - 0.5f) / 8.0f; };
    f.write(file, "grid/u", shear, 9);
    for (const char* path : {"grid/v", "grid/w", "grid/s"}) {
      f.write(
          file, path, [](int, int, int) { return 0.0f; }, 9);
    }
  }
  f.open();
  FLOW_START(f.run);
  advance(f.run, 30.0);
  const FlowState& flow = f.run.flow;
  for (int n = 1; n <= 4; ++n) {
    const float H = n % 2 == 1 ? 1.0f : 2.0f;
    EXPECT_FLOAT_EQ(flow.Unode(n, 0), 1.0f);  // depth average of 2 sigma
    for (const float r : {0.03f, 0.25f, 0.5f, 0.8f}) {
      EXPECT_NEAR(VERT_INTERP(flow, FlowFormat::n3d, r * H, H, 0, EndRule::to_zero, EndRule::hold,
                              flow.Unode, n),
                  2.0f * r, 1.0e-5f)
          << n << " " << r;
    }
  }
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

TEST(FlowDatasets, UnevenStepsAndOtherTimesOfTheVelocityAreTold) {
  LatticeRun f(FlowFormat::n3d, 2, 2, 1);
  f.run.settings.hyfs_v_path = "grid/v";  // a full path
  f.console_to_file();
  {
    DatasetFile file(f.folder.path("flow.h5"));
    const auto one = [](int, int, int) { return 1.0f; };
    for (const char* path : {"grid/z", "grid/u", "grid/w", "grid/s"}) {
      f.write(file, path, one, 2, {0, 60, 120, 240});
    }
    f.write(file, "grid/v", one, 2, {0, 60, 121, 240});
  }
  f.open();
  const std::string console = f.console_text();
  EXPECT_NE(console.find("\"grid/z\": step 4 does not follow at the interval"), std::string::npos);
  EXPECT_NE(console.find("\"grid/v\": the time of step 3 is not that of the elevation"),
            std::string::npos);
  EXPECT_EQ(console.find("\"grid/u\""), std::string::npos);
}

// ---------------------------------------------------------------- bottom flow

TEST(FlowDatasets, BottomFlowIsBlendedWithTheMainFlow) {
  FlowRun f(2);
  {
    DatasetFile file(f.folder.path("flow.h5"));
    write_two_nodes(file, {0, 60, 120});
    DatasetFile bottom(f.folder.path("bottom.h5"));
    bottom.info.values = 2;
    bottom.vector("ub", {0, 60, 120}, {{0, 1, 2, 3}, {6, 1, 2, 3}, {12, 1, 2, 3}});
  }
  Settings& s = hyfs_run(f).run.settings;
  s.method.velocity = VelocityMethod::two_point;
  s.method.bottom_flow = FlowFormat::hyfs;
  s.bottom_flow_file = f.folder.path("bottom.h5");
  s.hyfs_bot_path = "ub";
  s.bottom_mask_file = f.folder.write("mask", "title\n2\n1 0\n2 1\n");
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
  {
    DatasetFile file(f.folder.path("flow.h5"));
    write_two_nodes(file, {0, 60, 120});
    DatasetFile bottom(f.folder.path("bottom.h5"));
    bottom.info.values = 2;
    bottom.vector("ub", {0, 60}, {{0, 1, 2, 3}, {6, 1, 2, 3}});
  }
  Settings& s = hyfs_run(f).run.settings;
  s.method.velocity = VelocityMethod::two_point;
  s.method.bottom_flow = FlowFormat::hyfs;
  s.bottom_flow_file = f.folder.path("bottom.h5");
  s.hyfs_bot_path = "ub";
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

// ---------------------------------------------------------------- bad files

struct BadFile {
  const char* what;
  FlowFormat format;
  std::function<void(FlowRun&, DatasetFile&)> write;  // of flow.h5, with two nodes, cells or planes
  const char* message;
};

void PrintTo(const BadFile& file, std::ostream* out) {
  *out << file.what;
}

constexpr double no_time = std::numeric_limits<double>::quiet_NaN();

void steps_of(DatasetFile& file, const std::string& path, int values, int steps, bool pairs) {
  file.info.values = values;
  std::vector<double> times;
  for (int k = 0; k < steps; ++k) times.push_back(60.0 * k);
  const std::vector<Values> all(
      times.size(), Values(static_cast<std::size_t>(pairs ? 2 * values : values), 1.0f));
  pairs ? file.vector(path, times, all) : file.scalar(path, times, all);
}

// Datasets of a lattice of 2 by 2 nodes in two levels, but for one of other size.
void lattice_datasets(DatasetFile& file, bool n3d, const std::string& odd, int values, int steps) {
  const std::string folder = n3d ? "grid/" : "";
  for (const char* name : {"z", "u", "v", "w", "s", "t"}) {
    const int usual = n3d ? 12 : std::string(name) == "z" ? 1 : 2;
    const bool other = odd == name;
    steps_of(file, folder + name, other ? values : usual, other ? steps : 2, false);
  }
}

const BadFile bad_files[] = {
    {"no elevation", FlowFormat::hyfs,
     [](FlowRun&, DatasetFile& d) { steps_of(d, "uv", 2, 2, true); },
     "flow.h5: \"z\": nothing of that name(.|\n)*ERROR: HF_OPEN_GROUP\\(ADCIRC-Z\\) error"},
    {"no velocity", FlowFormat::hyfs,
     [](FlowRun&, DatasetFile& d) { steps_of(d, "z", 2, 2, false); },
     "ERROR: HF_OPEN_GROUP\\(ADCIRC-V\\) error"},
    {"no steps", FlowFormat::hyfs,
     [](FlowRun&, DatasetFile& d) {
       steps_of(d, "z", 2, 0, false);
       steps_of(d, "uv", 2, 2, true);
     },
     "no time step(.|\n)*ERROR: HF_GET_DATASET_NUM_TIMES\\(ADCIRC-Z\\) error"},
    {"no velocity steps", FlowFormat::hyfs,
     [](FlowRun&, DatasetFile& d) {
       steps_of(d, "z", 2, 2, false);
       steps_of(d, "uv", 2, 0, true);
     },
     "ERROR: HF_GET_DATASET_NUM_TIMES\\(ADCIRC-V\\) error"},
    {"steps missing", FlowFormat::hyfs,
     [](FlowRun&, DatasetFile& d) {
       steps_of(d, "z", 2, 3, false);
       steps_of(d, "uv", 2, 2, true);
     },
     "ERROR: \\*\\*\\* The number of time steps in the Z and U parts of the ADCIRC HYFS file do "
     "not "
     "match\\*\\*\\*"},
    {"elevation of another mesh", FlowFormat::hyfs,
     [](FlowRun&, DatasetFile& d) {
       steps_of(d, "z", 3, 2, false);
       steps_of(d, "uv", 2, 2, true);
     },
     "3 values a step, expected 2(.|\n)*ERROR: \\*\\*\\* The number of nodes in the ADCIRC HYFS "
     "file "
     "does not match the mesh file \\*\\*\\*"},
    {"velocity of another mesh", FlowFormat::hyfs,
     [](FlowRun&, DatasetFile& d) {
       steps_of(d, "z", 2, 2, false);
       steps_of(d, "uv", 3, 2, true);
     },
     "\"uv\": 3 values a step(.|\n)*The number of nodes in the ADCIRC HYFS file"},
    {"a scalar for the velocity", FlowFormat::hyfs,
     [](FlowRun&, DatasetFile& d) {
       steps_of(d, "z", 2, 2, false);
       steps_of(d, "uv", 2, 2, false);
     },
     "ERROR: HF_READ_VECTOR_VALUES_TIMESTEP\\(ADCIRC-V\\) error"},
    {"a vector for the elevation", FlowFormat::hyfs,
     [](FlowRun&, DatasetFile& d) {
       steps_of(d, "z", 2, 2, true);
       steps_of(d, "uv", 2, 2, true);
     },
     "ERROR: HF_READ_SCALAR_VALUES_TIMESTEP\\(ADCIRC-Z\\) error"},
    {"a time that is none", FlowFormat::hyfs,
     [](FlowRun&, DatasetFile& d) {
       d.info.values = 2;
       d.scalar("z", {0, no_time}, {{1, 1}, {1, 1}});
       steps_of(d, "uv", 2, 2, true);
     },
     "flow.h5: \"z\": expected a time at step 2, found none"},
    {"times that fall", FlowFormat::hyfs,
     [](FlowRun&, DatasetFile& d) {
       d.info.values = 2;
       d.scalar("z", {0, 600, 500.5}, {{1, 1}, {1, 1}, {1, 1}});
       steps_of(d, "uv", 2, 3, true);
     },
     "expected times that grow, found 500.500 behind 600.000 at step 3"},
    {"cells: no elevation", FlowFormat::n2d,
     [](FlowRun&, DatasetFile& d) { steps_of(d, "uv", 2, 2, true); },
     "ERROR: HF_OPEN_GROUP\\(RVS-Z\\) error"},
    {"cells: no reference time", FlowFormat::n2d,
     [](FlowRun& f, DatasetFile& d) {
       f.run.settings.start_flow = -999.0;
       steps_of(d, "z", 2, 2, false);
     },
     "ERROR: HF_READ_REFTIME error"},
    {"cells: senseless reference time", FlowFormat::n2d,
     [](FlowRun& f, DatasetFile& d) {
       f.run.settings.start_flow = -999.0;
       d.reference_day = 1.0e12;
       steps_of(d, "z", 2, 2, false);
     },
     "ERROR: HF_JULIAN_TO_CALENDAR error"},
    {"cells: steps missing", FlowFormat::n2d,
     [](FlowRun&, DatasetFile& d) {
       steps_of(d, "z", 2, 3, false);
       steps_of(d, "uv", 2, 2, true);
     },
     "in the Z and U parts of the ADCIRC HYFS file do not match"},
    {"cells: another grid", FlowFormat::n2d,
     [](FlowRun&, DatasetFile& d) {
       steps_of(d, "z", 3, 2, false);
       steps_of(d, "uv", 2, 2, true);
     },
     "The number of nodes in the RVS HYFS file does not match the mesh file"},
    {"cells: elevation at nodes", FlowFormat::n2d,
     [](FlowRun&, DatasetFile& d) {
       steps_of(d, "z", 2, 2, false);
       steps_of(d, "uv", 2, 2, true);
     },
     "ERROR: GRID_LOC_CENTER\\(RVS-Z\\) error"},
    {"cells: elevation at faces", FlowFormat::n2d,
     [](FlowRun&, DatasetFile& d) {
       d.info.location = "i-face";
       steps_of(d, "z", 2, 2, false);
       steps_of(d, "uv", 2, 2, true);
     },
     "ERROR: GRID_LOC_CENTER\\(RVS-Z\\) error"},
    {"cells: u at the other face", FlowFormat::n2d,
     [](FlowRun&, DatasetFile& d) {
       d.info.location = "centre";
       steps_of(d, "z", 2, 2, false);
       d.info.location = "j-face";
       steps_of(d, "uv", 2, 2, true);
     },
     "ERROR: GRID_LOC_FACE_I\\(RVS-V\\) error"},
    {"cells: v at the other face", FlowFormat::n2d,
     [](FlowRun&, DatasetFile& d) {
       d.info.location = "centre";
       steps_of(d, "z", 2, 2, false);
       d.info.location = "i-face";
       steps_of(d, "uv", 2, 2, true);
     },
     "ERROR: GRID_LOC_FACE_J\\(RVS-V\\) error"},
    {"lattice cells: too many", FlowFormat::gr3d,
     [](FlowRun&, DatasetFile& d) { lattice_datasets(d, false, "z", 4, 2); },
     "The number of nodes in the GR3D HYFS file does not match the mesh file"},
    {"lattice cells: steps missing", FlowFormat::gr3d,
     [](FlowRun&, DatasetFile& d) { lattice_datasets(d, false, "v", 2, 1); },
     "in the Z and U parts of the GR3D HYFS file do not match"},
    {"lattice cells: one level", FlowFormat::gr3d,
     [](FlowRun& f, DatasetFile& d) {
       f.run.settings.hyfs_vel_path = "u,v,w";
       for (const char* path : {"u", "v", "w", "z"}) steps_of(d, path, 1, 2, false);
     },
     "The number of nodes in the GR3D HYFS file does not match the mesh file"},
    {"lattice cells: pairs for triples", FlowFormat::gr3d,
     [](FlowRun& f, DatasetFile& d) {
       f.run.settings.hyfs_vel_path = "u,v";
       lattice_datasets(d, false, "", 0, 0);
     },
     "ERROR: HF_READ_VECTOR_VALUES_TIMESTEP\\(ADCIRC-V\\) error"},
    {"lattice cells: no salinity", FlowFormat::gr3d,
     [](FlowRun& f, DatasetFile& d) {
       f.run.settings.hyfs_sal_path = "salt";
       lattice_datasets(d, false, "", 0, 0);
     },
     "ERROR: HF_OPEN_GROUP\\(GR3D-S\\) error"},
    {"lattice cells: salinity of one level", FlowFormat::gr3d,
     [](FlowRun&, DatasetFile& d) { lattice_datasets(d, false, "s", 1, 2); },
     "\"s\": 1 values a step, expected 2"},
    {"lattice cells: temperature steps missing", FlowFormat::gr3d,
     [](FlowRun&, DatasetFile& d) { lattice_datasets(d, false, "t", 2, 1); },
     "flow.h5: \"t\": expected 2 time steps, as the flow has"},
    {"planes: unit in capitals", FlowFormat::n3d,
     [](FlowRun&, DatasetFile& d) {
       d.info.time_units = "HOURS";
       lattice_datasets(d, true, "", 0, 0);
     },
     "ERROR: Unexpected time units is N3D hydro file"},
    {"planes: no v", FlowFormat::n3d,
     [](FlowRun& f, DatasetFile& d) {
       f.run.settings.hyfs_v_path = "north";
       lattice_datasets(d, true, "", 0, 0);
     },
     "\"grid/north\": nothing of that name(.|\n)*ERROR: HF_OPEN_GROUP\\(N3D-V\\) error"},
    {"planes: v of other size", FlowFormat::n3d,
     [](FlowRun&, DatasetFile& d) { lattice_datasets(d, true, "v", 8, 2); },
     "The number of nodes in the N3D HYFS Vfile does not match the mesh file"},
    {"planes: z of other size", FlowFormat::n3d,
     [](FlowRun&, DatasetFile& d) { lattice_datasets(d, true, "z", 8, 2); },
     "The number of nodes in the N3D HYFS Zfile does not match the mesh file"},
    {"planes: w steps missing", FlowFormat::n3d,
     [](FlowRun&, DatasetFile& d) { lattice_datasets(d, true, "w", 12, 1); },
     "in the Z and W parts of the N3D HYFS file do not match"},
    {"planes: v steps missing", FlowFormat::n3d,
     [](FlowRun&, DatasetFile& d) { lattice_datasets(d, true, "v", 12, 1); },
     "in the Z and V parts of the N3D HYFS file do not match"},
    {"planes: u steps missing", FlowFormat::n3d,
     [](FlowRun&, DatasetFile& d) { lattice_datasets(d, true, "u", 12, 1); },
     "in the Z and U parts of the N3D HYFS file do not match"},
};

class BadFlowDatasets : public testing::TestWithParam<BadFile> {};

void open_and_start(FlowRun& f, FlowFormat format) {
  RunState& run = f.run;
  if (run.flow.FLOW2D) allocate_flow_arrays(run);
  if (format == FlowFormat::hyfs) OPEN_FLOW_HYFS(run);
  if (format == FlowFormat::n2d) OPEN_FLOW_N2D(run);
  if (format == FlowFormat::gr3d) OPEN_FLOW_GR3D(run);
  if (format == FlowFormat::n3d) OPEN_FLOW_N3D(run);
  if (!run.flow.FLOW2D) allocate_flow_arrays(run);
  if (format == FlowFormat::gr3d) OPEN_SCALARS_GR3D(run);
  if (format == FlowFormat::n3d) OPEN_SCALARS_N3D(run);
  FLOW_START(run);
}

// Two nodes, two cells, or a lattice of 2 by 2 nodes in two levels.
std::unique_ptr<FlowRun> bad_run(FlowFormat format) {
  std::unique_ptr<FlowRun> f;
  if (format == FlowFormat::gr3d || format == FlowFormat::n3d) {
    f = std::make_unique<LatticeRun>(format, 2, 2, 2);
  } else if (format == FlowFormat::n2d) {
    f = std::make_unique<CellRun>(2, 1, 0.0);
    f->run.settings.flow_file_z = f->folder.path("flow.h5");
  } else {
    f = std::make_unique<FlowRun>(2);
    hyfs_run(*f);
  }
  return f;
}

TEST_P(BadFlowDatasets, StopWithTheirMessage) {
  const BadFile& bad = GetParam();
  const std::unique_ptr<FlowRun> f = bad_run(bad.format);
  {
    DatasetFile file(f->folder.path("flow.h5"));
    bad.write(*f, file);
  }
  EXPECT_EXIT(open_and_start(*f, bad.format), testing::ExitedWithCode(0), bad.message);
}

INSTANTIATE_TEST_SUITE_P(Table, BadFlowDatasets, testing::ValuesIn(bad_files));

TEST(FlowDatasetsDeathTest, FilesThatAreNoneAtAll) {
  struct Case {
    const char* what;
    FlowFormat format;
    std::function<void(const std::string& path)> make;
    const char* message;
  };
  const auto nothing = [](const std::string&) {};
  const auto folder = [](const std::string& path) { std::filesystem::create_directory(path); };
  const auto text = [](const std::string& path) { std::ofstream(path) << "t\n2 2 60 1 1\n"; };
  const auto empty = [](const std::string& path) { std::ofstream(path) << ""; };
  const Case cases[] = {
      {"none", FlowFormat::hyfs, nothing,
       "flow.h5: cannot be opened(.|\n)*HF_OPEN_FILE\\(ADCIRC\\) error"},
      {"folder", FlowFormat::hyfs, folder, "ERROR: HF_OPEN_FILE\\(ADCIRC\\) error"},
      {"text", FlowFormat::hyfs, text,
       "flow.h5: not an HDF5 file(.|\n)*HF_OPEN_FILE\\(ADCIRC\\) error"},
      {"empty", FlowFormat::hyfs, empty, "ERROR: HF_OPEN_FILE\\(ADCIRC\\) error"},
      {"text", FlowFormat::n2d, text, "ERROR: HF_OPEN_FILE\\(RVS\\) \\[FNAMElevels\\] error"},
      {"text", FlowFormat::gr3d, text, "ERROR: HF_OPEN_FILE\\(GR3D\\) error"},
      {"folder", FlowFormat::n3d, folder, "ERROR: HF_OPEN_FILE\\(N3D\\) error"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const std::unique_ptr<FlowRun> f = bad_run(c.format);
    c.make(f->folder.path("flow.h5"));
    EXPECT_EXIT(open_and_start(*f, c.format), testing::ExitedWithCode(0), c.message);
  }
  const std::unique_ptr<FlowRun> f = bad_run(FlowFormat::n2d);
  { DatasetFile file(f->folder.path("level.h5")); }
  f->run.settings.flow_file_z = f->folder.path("level.h5");
  text(f->folder.path("flow.h5"));
  EXPECT_EXIT(OPEN_FLOW_N2D(f->run), testing::ExitedWithCode(0),
              "ERROR: HF_OPEN_FILE\\(RVS\\) \\[FNAMEflows\\] error");
}

TEST(FlowDatasetsDeathTest, FileCutOffAnywhere) {
  std::string whole;
  {
    const std::unique_ptr<FlowRun> f = bad_run(FlowFormat::hyfs);
    {
      DatasetFile file(f->folder.path("flow.h5"));
      write_two_nodes(file, {0, 60, 120});
    }
    whole = test::read_text(f->folder.path("flow.h5"));
  }
  for (std::size_t part = 0; part < 16; ++part) {
    SCOPED_TRACE(part);
    const std::unique_ptr<FlowRun> f = bad_run(FlowFormat::hyfs);
    f->folder.write("flow.h5", whole.substr(0, whole.size() * part / 16));
    EXPECT_EXIT(open_and_start(*f, FlowFormat::hyfs), testing::ExitedWithCode(0),
                "ERROR: HF_OPEN_FILE\\(ADCIRC\\) error");
  }
}

TEST(FlowDatasetsDeathTest, TextWhereNumbersStandAndDamagedTimesOfNetcdf) {
  struct Case {
    const char* what;
    const char* cdl;
    const char* message;
  };
  const Case cases[] = {
      {"text", R"(netcdf a { dimensions: time = UNLIMITED; node = 2; variables:
        double time(time); time:units = "seconds since 2000-01-01"; char zeta(time, node);
        float u-vel(time, node); float v-vel(time, node);
        data: time = 0, 60; zeta = "ab", "cd"; u-vel = 1, 2, 3, 4; v-vel = 1, 2, 3, 4; })",
       "holds no numbers(.|\n)*ERROR: HF_GET_DATASET_NUM_TIMES\\(ADCIRC-Z\\) error"},
      {"time", R"(netcdf a { dimensions: time = UNLIMITED; node = 2; variables:
        double time(time); time:units = "seconds since 2000-01-01"; float zeta(time, node);
        float u-vel(time, node); float v-vel(time, node);
        data: time = 0, NaN; zeta = 1, 2, 3, 4; u-vel = 1, 2, 3, 4; v-vel = 1, 2, 3, 4; })",
       "expected a time at step 2, found none"},
      // Reserved, never written: the fill value is no time.
      {"fill", R"(netcdf a { dimensions: time = UNLIMITED; node = 2; variables:
        double time(time); time:units = "seconds since 2000-01-01"; float zeta(time, node);
        float u-vel(time, node); float v-vel(time, node);
        data: time = 0, _; zeta = 1, 2, 3, 4; u-vel = 1, 2, 3, 4; v-vel = 1, 2, 3, 4; })",
       "expected a time at step 2, found none"},
      {"no v", R"(netcdf a { dimensions: time = UNLIMITED; node = 2; variables:
        double time(time); time:units = "seconds since 2000-01-01"; float zeta(time, node);
        float u-vel(time, node);
        data: time = 0, 60; zeta = 1, 2, 3, 4; u-vel = 1, 2, 3, 4; })",
       "ERROR: HF_OPEN_GROUP\\(ADCIRC-V\\) error"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const std::unique_ptr<FlowRun> f = bad_run(FlowFormat::hyfs);
    if (!test::make_netcdf(f->folder, "flow.h5", c.cdl)) GTEST_SKIP() << "no ncgen";
    f->run.settings.hyfs_wse_path = "zeta";
    f->run.settings.hyfs_vel_path = "u-vel,v-vel";
    EXPECT_EXIT(open_and_start(*f, FlowFormat::hyfs), testing::ExitedWithCode(0), c.message);
  }
}

TEST(FlowDatasetsDeathTest, BottomFlowInBadForm) {
  struct Case {
    const char* what;
    std::function<void(DatasetFile&)> write;
    const char* message;
  };
  const Case cases[] = {
      {"group", [](DatasetFile&) {}, "ERROR: HF_OPEN_GROUP\\(BOTTOM-U\\) error"},
      {"steps", [](DatasetFile& d) { steps_of(d, "ub", 2, 0, true); },
       "ERROR: HF_GET_DATASET_NUM_TIMES\\(BOTTOM-U\\) error"},
      {"nodes", [](DatasetFile& d) { steps_of(d, "ub", 3, 2, true); },
       "ERROR: \\*\\*\\* The number of nodes in the BOTTOM HYFS file does not match the mesh file "
       "\\*\\*\\*"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    FlowRun f(2);
    {
      DatasetFile file(f.folder.path("bottom.h5"));
      c.write(file);
    }
    Settings& s = f.run.settings;
    s.method.velocity = VelocityMethod::two_point;
    s.method.bottom_flow = FlowFormat::hyfs;
    s.bottom_flow_file = f.folder.path("bottom.h5");
    s.hyfs_bot_path = "ub";
    EXPECT_EXIT(OPEN_BOTTOM_FLOW(f.run), testing::ExitedWithCode(0), c.message);
  }
  FlowRun f(2);
  f.run.settings.method.bottom_flow = FlowFormat::unknown;
  EXPECT_EXIT(OPEN_BOTTOM_FLOW(f.run), testing::ExitedWithCode(0),
              "ERROR: \\*\\*\\* FLOW_FILE type not supported \\*\\*\\*");
  f.run.settings.method.bottom_flow = FlowFormat::hyfs;
  f.run.settings.bottom_flow_file = f.folder.path("none.h5");
  EXPECT_EXIT(OPEN_BOTTOM_FLOW(f.run), testing::ExitedWithCode(0),
              "ERROR: HF_OPEN_FILE\\(BOTTOM\\) error");
}

}  // namespace
}  // namespace dfl
