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

using Write = std::function<void(FlowRun&, DatasetFile&)>;

struct BadFile {
  const char* what;
  FlowFormat format;
  Write write;  // of flow.h5, with two nodes, cells or planes
  const char* message;
};

void PrintTo(const BadFile& file, std::ostream* out) {
  *out << file.what;
}

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

constexpr int none = -1;

// A dataset of a flow in the plane.
struct Part {
  int values = 2, steps = 2;  // no dataset if steps is none
  bool pairs = false;
  const char* place = "node";
};

Write flat(const Part& z, const Part& uv = {2, 2, true}) {
  return [=](FlowRun&, DatasetFile& file) {
    for (const auto& [path, part] : {std::pair{"z", z}, {"uv", uv}}) {
      file.info.location = part.place;
      if (part.steps != none) steps_of(file, path, part.values, part.steps, part.pairs);
    }
  };
}
Write timed(const std::vector<double>& times) {  // of the elevation
  return [=](FlowRun&, DatasetFile& file) {
    file.info.values = 2;
    file.scalar("z", times, std::vector<Values>(times.size(), {1, 1}));
    steps_of(file, "uv", 2, static_cast<int>(times.size()), true);
  };
}
Write cells(const char* odd, int values, int steps) {
  return [=](FlowRun&, DatasetFile& file) { lattice_datasets(file, false, odd, values, steps); };
}
Write planes(const char* odd, int values, int steps) {
  return [=](FlowRun&, DatasetFile& file) { lattice_datasets(file, true, odd, values, steps); };
}
// All as it should be but for a setting.
Write with_path(std::string Settings::*setting, const char* path, bool n3d) {
  return [=](FlowRun& f, DatasetFile& file) {
    f.run.settings.*setting = path;
    lattice_datasets(file, n3d, "", 0, 0);
  };
}
Write without_start(double reference_day) {
  return [=](FlowRun& f, DatasetFile& file) {
    f.run.settings.start_flow = -999.0;
    file.reference_day = reference_day;
    steps_of(file, "z", 2, 2, false);
  };
}

constexpr FlowFormat hyfs = FlowFormat::hyfs, n2d = FlowFormat::n2d, gr3d = FlowFormat::gr3d,
                     n3d = FlowFormat::n3d;

const BadFile bad_files[] = {
    {"no elevation", hyfs, flat({2, none}),
     "flow.h5: \"z\": does not exist(.|\n)*ERROR: HF_OPEN_GROUP\\(ADCIRC-Z\\) error"},
    {"no velocity", hyfs, flat({}, {2, none}), "ERROR: HF_OPEN_GROUP\\(ADCIRC-V\\) error"},
    {"no steps", hyfs, flat({2, 0}),
     "without a time step(.|\n)*ERROR: HF_GET_DATASET_NUM_TIMES\\(ADCIRC-Z\\) error"},
    {"no velocity steps", hyfs, flat({}, {2, 0, true}),
     "ERROR: HF_GET_DATASET_NUM_TIMES\\(ADCIRC-V\\) error"},
    {"steps missing", hyfs, flat({2, 3}),
     "ERROR: \\*\\*\\* The number of time steps in the Z and U parts of the ADCIRC HYFS file do "
     "not match\\*\\*\\*"},
    {"elevation of another mesh", hyfs, flat({3}),
     "3 values a step, expected 2(.|\n)*ERROR: \\*\\*\\* The number of nodes in the ADCIRC HYFS "
     "file does not match the mesh file \\*\\*\\*"},
    {"velocity of another mesh", hyfs, flat({}, {3, 2, true}),
     "\"uv\": 3 values a step(.|\n)*The number of nodes in the ADCIRC HYFS file"},
    {"a scalar for the velocity", hyfs, flat({}, {}),
     "ERROR: HF_READ_VECTOR_VALUES_TIMESTEP\\(ADCIRC-V\\) error"},
    {"a vector for the elevation", hyfs, flat({2, 2, true}),
     "ERROR: HF_READ_SCALAR_VALUES_TIMESTEP\\(ADCIRC-Z\\) error"},
    {"a time that is none", hyfs, timed({0, std::numeric_limits<double>::quiet_NaN()}),
     "flow.h5: \"z\": expected a time at step 2, found none"},
    {"times that fall", hyfs, timed({0, 600, 500.5}),
     "expected times that grow, found 500.500 behind 600.000 at step 3"},
    {"cells: no elevation", n2d, flat({2, none}), "ERROR: HF_OPEN_GROUP\\(RVS-Z\\) error"},
    {"cells: no reference time", n2d, without_start(-1.0), "ERROR: HF_READ_REFTIME error"},
    {"cells: senseless reference time", n2d, without_start(1.0e12),
     "ERROR: HF_JULIAN_TO_CALENDAR error"},
    {"cells: steps missing", n2d, flat({2, 3}),
     "in the Z and U parts of the ADCIRC HYFS file do not match"},
    {"cells: another grid", n2d, flat({3}),
     "The number of nodes in the RVS HYFS file does not match the mesh file"},
    {"cells: elevation at nodes", n2d, flat({}), "ERROR: GRID_LOC_CENTER\\(RVS-Z\\) error"},
    {"cells: elevation at faces", n2d, flat({2, 2, false, "i-face"}, {2, 2, true, "i-face"}),
     "ERROR: GRID_LOC_CENTER\\(RVS-Z\\) error"},
    {"cells: u at the other face", n2d, flat({2, 2, false, "centre"}, {2, 2, true, "j-face"}),
     "ERROR: GRID_LOC_FACE_I\\(RVS-V\\) error"},
    {"cells: v at the other face", n2d, flat({2, 2, false, "centre"}, {2, 2, true, "i-face"}),
     "ERROR: GRID_LOC_FACE_J\\(RVS-V\\) error"},
    {"lattice cells: too many", gr3d, cells("z", 4, 2),
     "The number of nodes in the GR3D HYFS file does not match the mesh file"},
    {"lattice cells: steps missing", gr3d, cells("v", 2, 1),
     "in the Z and U parts of the GR3D HYFS file do not match"},
    {"lattice cells: one level", gr3d,
     [](FlowRun&, DatasetFile& d) {
       for (const char* path : {"u", "v", "w", "z"}) steps_of(d, path, 1, 2, false);
     },
     "The number of nodes in the GR3D HYFS file does not match the mesh file"},
    {"lattice cells: pairs for triples", gr3d, with_path(&Settings::hyfs_vel_path, "u,v", false),
     "ERROR: HF_READ_VECTOR_VALUES_TIMESTEP\\(ADCIRC-V\\) error"},
    {"lattice cells: no salinity", gr3d, with_path(&Settings::hyfs_sal_path, "salt", false),
     "ERROR: HF_OPEN_GROUP\\(GR3D-S\\) error"},
    {"lattice cells: salinity of one level", gr3d, cells("s", 1, 2),
     "\"s\": 1 values a step, expected 2"},
    {"lattice cells: temperature steps missing", gr3d, cells("t", 2, 1),
     "flow.h5: \"t\": expected 2 time steps, as the flow has"},
    {"planes: unit in capitals", n3d,
     [](FlowRun&, DatasetFile& d) {
       d.info.time_units = "HOURS";
       lattice_datasets(d, true, "", 0, 0);
     },
     "ERROR: Unexpected time units is N3D hydro file"},
    {"planes: no v", n3d, with_path(&Settings::hyfs_v_path, "north", true),
     "\"grid/north\": does not exist(.|\n)*ERROR: HF_OPEN_GROUP\\(N3D-V\\) error"},
    {"planes: v of other size", n3d, planes("v", 8, 2),
     "The number of nodes in the N3D HYFS Vfile does not match the mesh file"},
    {"planes: z of other size", n3d, planes("z", 8, 2),
     "The number of nodes in the N3D HYFS Zfile does not match the mesh file"},
    {"planes: w steps missing", n3d, planes("w", 12, 1),
     "in the Z and W parts of the N3D HYFS file do not match"},
    {"planes: v steps missing", n3d, planes("v", 12, 1),
     "in the Z and V parts of the N3D HYFS file do not match"},
    {"planes: u steps missing", n3d, planes("u", 12, 1),
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

TEST(FlowDatasetsDeathTest, TextWhereNumbersStandAndDamagedTimesOfNetcdf) {
  const auto cdl = [](const std::string& zeta_type, const std::string& data, bool v = true) {
    return R"(netcdf a { dimensions: time = UNLIMITED; node = 2; variables: double time(time);
        time:units = "seconds since 2000-01-01"; float u-vel(time, node); )" +
           zeta_type + " zeta(time, node);" + (v ? " float v-vel(time, node);" : "") +
           "data: " + data + "; u-vel = 1, 2, 3, 4;" + (v ? " v-vel = 1, 2, 3, 4; }" : " }");
  };
  const struct {
    const char* what;
    std::string cdl;
    const char* message;
  } cases[] = {
      {"text", cdl("char", "time = 0, 60; zeta = \"ab\", \"cd\""),
       "holds no numbers(.|\n)*ERROR: HF_GET_DATASET_NUM_TIMES\\(ADCIRC-Z\\) error"},
      {"time", cdl("float", "time = 0, NaN; zeta = 1, 2, 3, 4"),
       "expected a time at step 2, found none"},
      // Reserved, never written: the fill value is no time.
      {"fill", cdl("float", "time = 0, _; zeta = 1, 2, 3, 4"),
       "expected a time at step 2, found none"},
      {"no v", cdl("float", "time = 0, 60; zeta = 1, 2, 3, 4", false),
       "ERROR: HF_OPEN_GROUP\\(ADCIRC-V\\) error"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const std::unique_ptr<FlowRun> f = bad_run(FlowFormat::hyfs);
    if (!test::make_netcdf(f->folder, "flow.h5", c.cdl)) GTEST_SKIP() << "no ncgen";
    f->run.settings.hyfs_wse_path = "zeta";
    f->run.settings.hyfs_vel_path = "u-vel,v-vel";
    EXPECT_EXIT(open_and_start(*f, FlowFormat::hyfs), testing::ExitedWithCode(0), c.message);
  }
}

TEST(FlowDatasetsDeathTest, BottomFlowInBadForm) {
  const struct {
    int values, steps;
    const char* message;
  } cases[] = {
      {2, none, "ERROR: HF_OPEN_GROUP\\(BOTTOM-U\\) error"},
      {2, 0, "ERROR: HF_GET_DATASET_NUM_TIMES\\(BOTTOM-U\\) error"},
      {3, 2,
       "ERROR: \\*\\*\\* The number of nodes in the BOTTOM HYFS file does not match the mesh file "
       "\\*\\*\\*"},
  };
  FlowRun f(2);
  test::bottom_flow(f, 1);
  for (const auto& c : cases) {
    {
      DatasetFile file(f.folder.path("bottom.h5"));
      if (c.steps != none) steps_of(file, "ub", c.values, c.steps, true);
    }
    EXPECT_EXIT(OPEN_BOTTOM_FLOW(f.run), testing::ExitedWithCode(0), c.message);
  }
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
