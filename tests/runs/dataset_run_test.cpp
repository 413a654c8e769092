// Tiny whole runs on flow from datasets: parcels go where the same flow in text form takes them.

#include <gtest/gtest.h>

#include <sstream>

#include "flow/dataset_files.h"
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

TEST(DatasetRun, TwoPointProfileWithBottomDataset) {
  const test::TemporaryFolder folder;
  {
    DatasetFile file(folder.path("bottom.h5"));
    file.info.values = 25;
    file.vector("Datasets/Velocity (64)", frame_times, std::vector<Values>(5, pairs(0.1f, 0.0f)));
  }
  TinyCase c = test::tiny_case();
  test::add_cards(
      c, {":velocity_method 2d (two-point)", ":advection_method 3d", ":bottom_flow_format hyfs",
          ":bottom_flow_file FOLDER/bottom.h5", ":bottom_flow_height 1.0",
          ":bottom_start_flow 2000 1 1 0 0 0", ":no_random_walk", ":no_turbulent_shear"});
  RunState run;
  test::run_case(run, c, folder);
  EXPECT_FLOAT_EQ(run.flow.UBnode(13), 0.1f);
  EXPECT_EQ(run.flow.FRAMEbottom, 3);
  EXPECT_EQ(run.clock.NStep, 121);
  // The tracer rises to the surface layer, whose speed is close to the mean.
  EXPECT_GT(run.parcels.PARCELS(2).X, 220.0);
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
