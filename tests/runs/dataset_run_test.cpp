// Tiny whole runs on flow from datasets: parcels go where the same flow in text form takes them.

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "flow/dataset_files.h"
#include "mesh/grid_files.h"
#include "runs/tiny_run.h"

namespace dfl {
namespace {

using test::DatasetFile;
using test::Lines;
using test::TinyCase;
using test::Values;

constexpr double day_2000 = 2451544.5;  // Julian day of the start of the run
const std::vector<double> frame_times = {0, 600, 1200, 1800, 2400};

// The cards of the flow in place of those of the text files.
TinyCase dataset_case(const Lines& cards) {
  TinyCase c = test::tiny_case();
  Lines control;
  for (const std::string& line : c.control) {
    if (line.rfind(":flow_files", 0) == 0 || line.rfind(":start_flow", 0) == 0) continue;
    control.push_back(line);
  }
  c.control = control;
  test::add_cards(c, cards);
  return c;
}

void expect_same_parcels(const RunState& a, const RunState& b) {
  ASSERT_EQ(a.parcels.NUMborn, 5 + 121);
  ASSERT_EQ(a.parcels.NUMborn, b.parcels.NUMborn);
  for (int id = 1; id <= a.parcels.NUMborn; ++id) {
    ASSERT_EQ(a.parcels.PARCELS(id).X, b.parcels.PARCELS(id).X) << id;
    ASSERT_EQ(a.parcels.PARCELS(id).Y, b.parcels.PARCELS(id).Y) << id;
    ASSERT_EQ(a.parcels.PARCELS(id).h, b.parcels.PARCELS(id).h) << id;
  }
}

Values pairs(float u, float v) {
  Values values;
  for (int n = 0; n < 25; ++n) values.insert(values.end(), {u, v});
  return values;
}

TEST(DatasetRun, NodeDatasetsMoveParcelsLikeTextFrames) {
  const test::TemporaryFolder folder, other;
  RunState text, dataset;
  test::run_case(text, test::tiny_case(), other);
  {
    DatasetFile file(folder.path("flow.h5"));
    file.info.values = 25;
    file.reference_day = day_2000;
    file.scalar("Datasets/Water Surface Elevation (63)", frame_times,
                std::vector<Values>(5, Values(25, 0.0f)));
    file.vector("Datasets/Velocity (64)", frame_times, std::vector<Values>(5, pairs(0.1f, 0.0f)));
  }
  test::run_case(dataset, dataset_case({":flow_format hyfs", ":flow_file_hyfs FOLDER/flow.h5"}),
                 folder);
  expect_same_parcels(dataset, text);
  const std::string log = test::read_text(folder.path("tiny.input"));
  EXPECT_NE(log.find("Flow start, from the flow file:  2000/01/01 @ 00:00:00"), std::string::npos);
}

// Flow, elevation and bed as a flow model leaves them in NetCDF.
std::string netcdf_flow() {
  std::ostringstream out;
  const auto row = [&](const char* name, const char* value, int count) {
    out << name << " = ";
    for (int i = 0; i < count; ++i) out << (i == 0 ? "" : ", ") << value;
    out << ";\n";
  };
  out << "netcdf flow { dimensions: time = UNLIMITED; node = 25;\nvariables:\n"
         "double time(time); time:units = \"seconds since 2000-01-01 00:00:00\";\n"
         "double zeta(time, node); zeta:_FillValue = -99999.;\n"
         "double u-vel(time, node); double v-vel(time, node);\n"
         "float d35(node); float d50(node); float d90(node);\n"
         "data:\ntime = 0, 600, 1200, 1800, 2400;\n";
  row("zeta", "0", 125);
  row("u-vel", "0.1", 125);
  row("v-vel", "0", 125);
  row("d35", "0.1", 25);
  row("d50", "0.2", 25);
  row("d90", "0.5", 25);
  out << "}\n";
  return out.str();
}

TEST(DatasetRun, FlowAndBedOfANetcdfFileAsItStands) {
  const test::TemporaryFolder folder, other;
  if (!test::make_netcdf(folder, "flow.nc", netcdf_flow())) GTEST_SKIP() << "no ncgen";
  RunState text, netcdf;
  test::run_case(text, test::tiny_case(), other);
  test::run_case(netcdf,
                 dataset_case({":flow_format hyfs", ":flow_files FOLDER/flow.nc FOLDER/flow.nc",
                               ":hyfs_wse_path zeta", ":hyfs_vel_path u-vel,v-vel",
                               ":sediments_format hyfs", ":sediment_file FOLDER/flow.nc",
                               ":hyfs_d35_path d35", ":hyfs_d50_path d50", ":hyfs_d90_path d90"}),
                 folder);
  expect_same_parcels(netcdf, text);
}

// A grid turned by 20 degrees, with flow along its first axis on the sides of its cells, hourly,
// and a bed by cells: the tracer goes along that axis.
TEST(DatasetRun, CellsOfATurnedGridCarryTheTracerAlongItsAxis) {
  const test::TemporaryFolder folder;
  test::StructuredGrid grid = test::even_grid(4, 4, 100.0, 5.0f);
  grid.x0 = 100.0;
  grid.y0 = -100.0;
  grid.bearing = 20.0;
  test::write_structured(folder.path("grid.h5"), grid);
  folder.write("rvcards", test::structured_cards());
  {
    DatasetFile level(folder.path("flow_wse.h5")), flow(folder.path("flow_vel.h5"));
    DatasetFile bed(folder.path("bed.h5"));
    level.info.values = flow.info.values = 16;
    level.info.time_units = flow.info.time_units = "Hours";
    level.reference_day = day_2000;
    level.info.location = "centre";
    flow.info.location = "faces";
    level.scalar("z", {0, 1}, {Values(16, 0.5f), Values(16, 0.5f)});
    Values along;
    for (int c = 0; c < 16; ++c) along.insert(along.end(), {0.1f, 0.0f});
    flow.vector("uv", {0, 1}, {along, along});
    test::good(hfwritepropertyint_f(bed.file, "Nodes", {16}));
    for (const char* size : {"D35", "D50", "D90"}) {
      test::good(hfwritepropertyfloat_f(bed.file, size, Values(16, 0.2f)));
    }
  }
  TinyCase c = dataset_case(
      {":mesh_format rvs-2d", ":rvcards_file FOLDER/rvcards", ":bc_file FOLDER/grid.bc",
       ":flow_format rvs-2d", ":flow_prefix_hyfs FOLDER/flow", ":hyfs_wse_path z",
       ":hyfs_vel_path uv", ":sediments_format hyfs property", ":sediment_file FOLDER/bed.h5",
       ":hyfs_d35_path D35", ":hyfs_d50_path D50", ":hyfs_d90_path D90", ":no_random_walk",
       ":no_turbulent_shear", ":advection_method 1d"});
  RunState run;
  test::run_case(run, c, folder);
  EXPECT_EQ(run.mesh.NUMnode, 25);
  EXPECT_FLOAT_EQ(run.flow.Hnode(7), 5.5f);
  EXPECT_FLOAT_EQ(run.sediment.D50(13), 0.0002f);
  const double angle = 20.0 * 3.14159265 / 180.0;
  const Parcel& light = run.parcels.PARCELS(2);
  EXPECT_TRUE(is_true(light.ALIVE));
  EXPECT_NEAR(light.X, 120.0 + 120.0 * std::cos(angle), 0.01);
  EXPECT_NEAR(light.Y, 210.0 + 120.0 * std::sin(angle), 0.01);
}

// One file for flow, bottom flow and bed, opened for each.
TEST(DatasetRun, TwoPointProfileWithAllDatasetsInOneFile) {
  const test::TemporaryFolder folder;
  {
    DatasetFile file(folder.path("flow.h5"));
    file.info.values = 25;
    file.reference_day = day_2000;
    file.scalar("z", frame_times, std::vector<Values>(5, Values(25, 0.0f)));
    file.vector("uv", frame_times, std::vector<Values>(5, pairs(0.1f, 0.0f)));
    file.vector("ub", frame_times, std::vector<Values>(5, pairs(0.05f, 0.0f)));
    file.scalar("d", {0}, {Values(25, 0.2f)});
  }
  TinyCase c = dataset_case(
      {":flow_format hyfs", ":flow_file_hyfs FOLDER/flow.h5", ":hyfs_wse_path z",
       ":hyfs_vel_path uv", ":velocity_method 2d (two-point)", ":advection_method 3d",
       ":bottom_flow_format hyfs", ":bottom_flow_file FOLDER/flow.h5", ":hyfs_bot_path ub",
       ":bottom_flow_height 1.0", ":bottom_start_flow 2000 1 1 0 0 0",
       ":sediments_format hyfs dataset", ":sediment_file FOLDER/flow.h5", ":hyfs_d35_path d",
       ":hyfs_d50_path d", ":hyfs_d90_path d", ":no_random_walk", ":no_turbulent_shear"});
  RunState run;
  test::run_case(run, c, folder);
  EXPECT_EQ(run.clock.NStep, 121);
  EXPECT_EQ(run.flow.FRAMEbottom, 3);
  EXPECT_FLOAT_EQ(run.flow.UBnode(13), 0.05f);
  EXPECT_FLOAT_EQ(run.sediment.D90(25), 0.0002f);
  // 0.05 m/s at 1 m and 0.1 m/s in the mean make about 0.15 m/s at the surface, where the tracer,
  // lighter than water, soon is.
  const double way = run.parcels.PARCELS(2).X - 120.0;
  EXPECT_GT(way, 1200.0 * 0.1);
  EXPECT_LT(way, 1200.0 * 0.17);
}

TEST(DatasetRunDeathTest, FlowThatEndsBeforeTheRunStopsAtTheStart) {
  const test::TemporaryFolder folder;
  {
    DatasetFile file(folder.path("flow.h5"));
    file.info.values = 25;
    file.reference_day = day_2000;
    file.scalar("z", {0, 600}, std::vector<Values>(2, Values(25, 0.0f)));
    file.vector("uv", {0, 600}, std::vector<Values>(2, pairs(0.1f, 0.0f)));
  }
  const TinyCase c = dataset_case({":flow_format hyfs", ":flow_file_hyfs FOLDER/flow.h5",
                                   ":hyfs_wse_path z", ":hyfs_vel_path uv"});
  RunState run;
  const std::string control = test::write_case(c, folder);
  test::quiet(run, folder.path("early"), true);
  EXPECT_EXIT(RUN_DRIVER(run, {control}), testing::ExitedWithCode(0),
              "ERROR:  \\*\\*\\* FLOW FILE DOES NOT RUN BEYOND STOP TIME");
}

}  // namespace
}  // namespace dfl
