#include <gtest/gtest.h>

#include "control/text_tools.h"
#include "dataset/hyfs.h"
#include "output/output_run.h"
#include "output/output_setup.h"
#include "output/parcel_output.h"

namespace dfl {
namespace {

using test::TemporaryFolder;
using Floats = std::vector<float>;

constexpr float null_value = -9999.9f;

// A dataset of a file read back.
struct ReadBack {
  std::vector<double> times;
  std::vector<Floats> steps;
  double reference = 0.0;
};

ReadBack read_scalar(const std::string& file_path, const std::string& dataset_path) {
  ReadBack result;
  HyfsHandle file = 0, dataset = 0;
  EXPECT_GE(hfopenfile_f(file_path, true, file), 0);
  EXPECT_GE(hfopengroup_f(file, dataset_path, dataset), 0) << dataset_path;
  EXPECT_GE(hfgetdatasettimes_f(dataset, result.times), 0);
  EXPECT_GE(hfreadreftime_f(dataset, result.reference), 0);
  for (int step = 1; step <= static_cast<int>(result.times.size()); ++step) {
    result.steps.emplace_back();
    EXPECT_GE(hfreadscalarvaluestimestep_f(dataset, step, result.steps.back()), 0);
  }
  EXPECT_GE(hfclosegroup_f(dataset), 0);
  EXPECT_GE(hfclosefile_f(file), 0);
  return result;
}

bool has_object(const std::string& file_path, const std::string& path) {
  HyfsHandle file = 0, object = 0;
  EXPECT_GE(hfopenfile_f(file_path, true, file), 0);
  const bool found = hfopengroup_f(file, path, object) >= 0;
  if (found) hfclosegroup_f(object);
  EXPECT_GE(hfclosefile_f(file), 0);
  return found;
}

void prepare(RunState& run, const TemporaryFolder& folder, bool to_stderr = false) {
  ASSERT_GE(hfpinitialize_f(), 0);
  test::quiet(run, folder.path("run"), to_stderr);
  run.settings.flow_output = true;
  test::square_mesh(run);
  test::set_clock(run, 1);
}

class HyfsParcels : public testing::TestWithParam<int> {};

// Two frames: parcel 2 dies between them, parcel 3 is born; slot 4 is never released.
TEST_P(HyfsParcels, FramesGrowWithThePopulation) {
  const TemporaryFolder folder;
  RunState run;
  prepare(run, folder);
  Settings& s = run.settings;
  s.hyfs_compression = GetParam();
  s.mobility_output = s.height_output = s.state_output = s.age_output = true;
  s.source_output = s.grain_size_output = s.density_output = s.parcel_mass_output = true;
  s.fall_velocity_output = s.tau_cr_output = true;
  test::make_parcels(run, 4, 2);
  for (int id = 1; id <= 3; ++id) {
    Parcel& parcel = run.parcels.PARCELS(id);
    const float f = static_cast<float>(id);
    parcel.ALIVE = logical_true;
    parcel.X = 100000.125 * id;
    parcel.Y = -id;
    parcel.Z = -0.5f * f;
    parcel.h = 0.25f * f;
    parcel.MOBILITY = 1.5f * f;
    parcel.Age = 30.0f * f;
    parcel.D = 0.001f * f;
    parcel.RHOs = 2650.0f;
    parcel.MASS = 2.0f * f;
    parcel.Ws = 0.01f * f;
    parcel.TAUcr = 0.2f * f;
    parcel.TAUcd = 0.1f * f;
    parcel.SOURCE = static_cast<std::int16_t>(10 * id);
    parcel.VEC[0] = 2.0f * f;
    parcel.VEC[1] = 3.0f * f;
    parcel.VEC[2] = 6.0f * f;
  }
  run.parcels.PARCELS(2).DORMANT = logical_true;
  SETUP_OUTPUT(run);
  run.clock.NStep = 11;
  WRITE_HYFS_PARCELS(run);
  run.clock.NStep = 21;
  run.parcels.NUMborn = 3;
  run.parcels.PARCELS(2).ALIVE = logical_false;
  run.parcels.PARCELS(2).h = 0.0f;
  WRITE_HYFS_PARCELS(run);
  FINISH_HYFS_PARCELS(run);
  EXPECT_EQ(run.output.hyfs_parcels_written, 3);
  EXPECT_EQ(run.output.hyfs_parcel_frames, 2);

  const std::string path = folder.path("run_particles.h5");
  const std::string group = folder.path("run_particles") + "/";
  // 2 January 2000, 1 o'clock: JD 2451545.0 is noon of 1 January.
  constexpr double reference = 2451545.5 + 1.0 / 24.0;
  struct Frames {
    const char* name;
    Floats second;  // of the last frame
    float first_of_first;
  };
  const Frames frames[] = {
      {"mobility", {1.5f, 3.0f, 4.5f}, 1.5f}, {"height", {0.25f, 0.0f, 0.75f}, 0.25f},
      {"state", {1.0f, 0.0f, 1.0f}, 1.0f},    {"age", {30.0f, 60.0f, 90.0f}, 30.0f},
      {"speed", {7.0f, 14.0f, 21.0f}, 7.0f},
  };
  for (const Frames& expected : frames) {
    const ReadBack found = read_scalar(path, group + expected.name);
    EXPECT_EQ(found.times, (std::vector<double>{300.0, 600.0})) << expected.name;
    EXPECT_NEAR(found.reference, reference, 1e-9);
    ASSERT_EQ(found.steps.size(), 2u);
    EXPECT_EQ(found.steps[1], expected.second) << expected.name;
    ASSERT_GE(found.steps[0].size(), 2u);
    EXPECT_EQ(found.steps[0][0], expected.first_of_first);
    // A parcel not yet born in the first frame reads as no value.
    if (found.steps[0].size() > 2) {
      EXPECT_EQ(found.steps[0][2], null_value);
    }
  }
  EXPECT_EQ(read_scalar(path, group + "height").steps[0][1], 0.5f);

  const ReadBack x = read_scalar(path, "x"), z = read_scalar(path, "z");
  ASSERT_EQ(x.steps.size(), 2u);
  EXPECT_EQ(x.steps[0][1], 200000.25f);
  EXPECT_EQ(x.steps[1], (Floats{100000.125f, null_value, 300000.375f}));
  EXPECT_EQ(z.steps[1], (Floats{-0.5f, null_value, -1.5f}));

  struct Constant {
    const char* name;
    Floats values;
  };
  const Constant constants[] = {
      {"id", {1.0f, 2.0f, 3.0f}},
      {"source", {10.0f, 20.0f, 30.0f}},
      {"grain size", {0.001f * 1000.0f, 0.002f * 1000.0f, 0.003f * 1000.0f}},
      {"density", {2650.0f, 2650.0f, 2650.0f}},
      {"particle mass", {2.0f, 4.0f, 6.0f}},
      {"fall velocity", {0.01f, 0.01f * 2.0f, 0.01f * 3.0f}},
      {"critical shear (erosion)", {0.2f, 0.2f * 2.0f, 0.2f * 3.0f}},
      {"critical shear (deposition)", {0.1f, 0.1f * 2.0f, 0.1f * 3.0f}},
  };
  for (const Constant& expected : constants) {
    const ReadBack found = read_scalar(path, group + expected.name);
    EXPECT_EQ(found.times, std::vector<double>{0.0}) << expected.name;
    ASSERT_EQ(found.steps.size(), 1u);
    EXPECT_EQ(found.steps[0], expected.values) << expected.name;
  }
  EXPECT_TRUE(file_exists(folder.path("run_particles.xmf")));
}

INSTANTIATE_TEST_SUITE_P(Compression, HyfsParcels, testing::Values(-1, 1));

TEST(HyfsParcelsSelection, OnlySelectedDatasetsExist) {
  const TemporaryFolder folder;
  RunState run;
  prepare(run, folder);
  run.settings.flow_output = false;
  run.settings.id_output = false;
  run.settings.height_output = true;
  test::make_parcels(run, 1, 1);
  SETUP_OUTPUT(run);
  WRITE_HYFS_PARCELS(run);
  FINISH_HYFS_PARCELS(run);
  const std::string path = folder.path("run_particles.h5");
  const std::string group = folder.path("run_particles") + "/";
  EXPECT_TRUE(has_object(path, group + "height"));
  for (const char* name : {"speed", "age", "state", "mobility", "id", "source", "density"}) {
    EXPECT_FALSE(has_object(path, group + name)) << name;
  }
}

class HyfsMaps : public test::OutputTest {
 protected:
  HyfsMaps() {
    prepare(run, folder);
    run.settings.no_parcels = run.settings.flow_mapping = true;
  }
};

TEST_F(HyfsMaps, DatasetsAndMeshStandReady) {
  Settings& s = run.settings;
  s.wave_mapping = s.mobility_mapping = s.concentration_mapping = true;
  s.crs = "EPSG:32633";
  SETUP_OUTPUT(run);
  const std::string path = folder.path("run_maps.h5");
  for (const char* name : {"wse", "flow", "flow_x", "flow_y", "mobility", "wave height",
                           "wave period", "wave direction", "concentration", "mesh_node_x",
                           "mesh_face_nodes", "projected_coordinate_system"}) {
    EXPECT_TRUE(has_object(path, name)) << name;
  }
  EXPECT_FALSE(has_object(path, "shear stress"));
  EXPECT_EQ(run.output.CONCnode.size(), 4);

  HyfsHandle file = 0, dataset = 0;
  ASSERT_GE(hfopenfile_f(path, true, file), 0);
  ASSERT_GE(hfopengroup_f(file, "wse", dataset), 0);
  int times = 0;
  EXPECT_EQ(hfgetdatasetnumtimes_f(dataset, times), hyfs_no_data);
  std::string units;
  EXPECT_GE(hfgetdatasettimeunits_f(dataset, units), 0);
  EXPECT_EQ(units, "Seconds");
  hfclosegroup_f(dataset);
  hfclosefile_f(file);
}

TEST_F(HyfsMaps, FlowDatasetNeedsDepthAveragedFlow) {
  run.flow.FLOW2D = false;
  SETUP_OUTPUT(run);
  EXPECT_TRUE(has_object(folder.path("run_maps.h5"), "wse"));
  EXPECT_FALSE(has_object(folder.path("run_maps.h5"), "flow"));
}

TEST_F(HyfsMaps, SenselessCoordinateSystemIsOnlyNoted) {
  run.messages.echo_file = std::fopen(folder.path("run.input").c_str(), "w");
  run.settings.crs = "UTM 33";
  SETUP_OUTPUT(run);
  std::fclose(run.messages.echo_file);
  EXPECT_TRUE(contains(output("run.input"), "WARNING: crs \"UTM 33\""));
  EXPECT_FALSE(has_object(folder.path("run_maps.h5"), "projected_coordinate_system"));
}

TEST(HyfsOutputDeath, FailuresNameTheOperationAndTheFile) {
  const TemporaryFolder folder;
  RunState run;
  prepare(run, folder, true);
  test::make_parcels(run, 1, 1);
  EXPECT_EXIT(WRITE_HYFS_PARCELS(run), testing::ExitedWithCode(0),
              "run_particles.h5(.|\n)*ERROR: HF_OPEN_FILE\\(p\\) error");
  EXPECT_EXIT(FINISH_HYFS_PARCELS(run), testing::ExitedWithCode(0),
              "ERROR: HF_OPEN_FILE\\(p\\) error");
  // A file without the datasets that this run asks for.
  run.settings.flow_output = false;
  SETUP_OUTPUT(run);
  run.settings.height_output = true;
  EXPECT_EXIT(WRITE_HYFS_PARCELS(run), testing::ExitedWithCode(0),
              "ERROR: HF_OPEN_GROUP\\(height\\) error\n       ERROR_DATASET_DOES_NOT_EXIST");
  run.settings.output_prefix = folder.path("missing/run");
  EXPECT_EXIT(SETUP_OUTPUT(run), testing::ExitedWithCode(0),
              "missing/run_particles.h5(.|\n)*ERROR: HF_CREATE_FILE\\(p\\) error");
  run.settings.no_parcels = run.settings.flow_mapping = true;
  EXPECT_EXIT(SETUP_OUTPUT(run), testing::ExitedWithCode(0), "HF_CREATE_FILE\\(m\\) error");
}

}  // namespace
}  // namespace dfl
