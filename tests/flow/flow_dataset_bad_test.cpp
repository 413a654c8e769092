// Flow datasets in bad form: each stops the run with its message.

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <memory>

#include "flow/dataset_runs.h"

namespace dfl {
namespace {

using test::CellRun;
using test::DatasetFile;
using test::FlowRun;
using test::hyfs_run;
using test::LatticeRun;
using test::Values;
using test::write_two_nodes;

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
     "flow.h5: \"z\": does not exist(.|\n)*ERROR: HF_OPEN_GROUP\\(ADCIRC-Z\\) error"},
    {"no velocity", FlowFormat::hyfs,
     [](FlowRun&, DatasetFile& d) { steps_of(d, "z", 2, 2, false); },
     "ERROR: HF_OPEN_GROUP\\(ADCIRC-V\\) error"},
    {"no steps", FlowFormat::hyfs,
     [](FlowRun&, DatasetFile& d) {
       steps_of(d, "z", 2, 0, false);
       steps_of(d, "uv", 2, 2, true);
     },
     "without a time step(.|\n)*ERROR: HF_GET_DATASET_NUM_TIMES\\(ADCIRC-Z\\) error"},
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
     "\"grid/north\": does not exist(.|\n)*ERROR: HF_OPEN_GROUP\\(N3D-V\\) error"},
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
       "flow.h5: no such file(.|\n)*HF_OPEN_FILE\\(ADCIRC\\) error"},
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
