// The NetCDF tools read what we write, and we read what they write. Skipped where they are absent.

#include <gtest/gtest.h>

#include <cstdlib>

#include "common/test_run.h"
#include "dataset/hyfs_calls.h"

namespace dfl {
namespace {

using namespace test;

bool runs(const std::string& command) {
  return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

std::string output_of(const std::string& command) {
  std::string text;
  std::FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return text;
  char line[400];
  while (std::fgets(line, sizeof line, pipe) != nullptr) text += line;
  pclose(pipe);
  return text;
}

// An interpreter that has the modules; empty if there is none.
std::string python_with(const std::string& modules) {
  for (const char* python : {"/usr/bin/python3", "python3"}) {
    if (runs(std::string(python) + " -c 'import " + modules + "'")) return python;
  }
  return "";
}

// As the flow model writes it, with the storage forms that NetCDF allows beside.
constexpr const char* flow_cdl = R"(netcdf flow {
dimensions: time = UNLIMITED; node = 3; layer = 2; two = 2; still = 2;
variables:
  double time(time); time:units = "seconds since 2000-01-01 00:00:00";
  double zeta(time, node); zeta:_FillValue = -99999.; zeta:location = "node";
  float u-vel(time, node); float v-vel(time, node);
  int count(time, node);
  short packed(time, node); packed:scale_factor = 0.5; packed:add_offset = 10.;
    packed:_FillValue = -1s; string packed:units = "m";
  float levels(time, layer, node);
  float pair(time, node, two);
  float gaps(time, node);
  float depth(node); int64 nodes(node);
  int still(still); still:units = "hours since 1999-12-31T12:00:00Z";
  float fixed(still, node);
  double face_value(time, node); face_value:location = "face";
data:
  time = 0, 1800.5; zeta = 1, 2, -99999, 4, 5, 6;
  u-vel = 1, 2, 3, 4, 5, 6; v-vel = -1, -2, -3, -4, -5, -6;
  count = 1, 2, 3, 4, 5, 16777216; packed = 0, 2, -1, 4, 6, 8;
  levels = 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12;
  pair = 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12;
  gaps = 1, _, 3, 4, 5, 6; depth = 10, 20, 30; nodes = 1, 2, 3;
  still = 0, 6; fixed = 1, 2, 3, 4, 5, 6; face_value = 1, 2, 3, 4, 5, 6;
}
)";

class NetcdfInput : public testing::Test {
 protected:
  void SetUp() override {
    if (!runs("command -v ncgen")) GTEST_SKIP() << "no ncgen";
    const std::string cdl = folder.write("flow.cdl", flow_cdl);
    const std::string path = folder.path("flow.nc");
    ASSERT_TRUE(runs("ncgen -k nc4 -o '" + path + "' '" + cdl + "'"));
    file = open(path);
  }
  TemporaryFolder folder;
  HyfsHandle file = 0;
};

TEST_F(NetcdfInput, ElevationWithItsTimesUnitsAndDate) {
  const HyfsHandle set = group_at(file, "zeta");
  EXPECT_EQ(get(hfgetdatasetnumtimes_f, set), 2);
  EXPECT_EQ(get(hfgetdatasetnumvals_f, set), 3);
  EXPECT_EQ(get(hfgetscalardatalocation_f, set), -1);
  EXPECT_EQ(get(hfgetdatasettimes_f, set), (std::vector<double>{0, 1800.5}));
  EXPECT_EQ(get(hfgetdatasettimeunits_f, set), "Seconds");
  EXPECT_EQ(get(hfreadreftime_f, set), 2451544.5);
  EXPECT_EQ(read(set, 1), (std::vector<float>{1, 2, -99999}));
  EXPECT_EQ(read(set, 2), (std::vector<float>{4, 5, 6}));
  EXPECT_EQ(get(hfgetscalardatalocation_f, group_at(file, "face_value")), 0);
}

TEST_F(NetcdfInput, StoredFormsBecomeRealsAndMissingValuesDry) {
  EXPECT_EQ(read(group_at(file, "count"), 2), (std::vector<float>{4, 5, 16777216}));
  EXPECT_EQ(read(group_at(file, "packed"), 1), (std::vector<float>{10, 11, -99999}));
  EXPECT_EQ(read(group_at(file, "gaps"), 1), (std::vector<float>{1, -99999, 3}));
  // Planes outermost.
  EXPECT_EQ(read(group_at(file, "levels"), 2), (std::vector<float>{7, 8, 9, 10, 11, 12}));
  const HyfsHandle depth = group_at(file, "depth");
  EXPECT_EQ(get(hfgetdatasettimes_f, depth), std::vector<double>{0.0});
  EXPECT_EQ(read(depth, 1), (std::vector<float>{10, 20, 30}));
  EXPECT_EQ(get(hfreadpropertyint_f, file, "nodes"), (std::vector<int>{1, 2, 3}));
}

TEST_F(NetcdfInput, ATimeThatDoesNotGrowIsATimeStill) {
  const HyfsHandle set = group_at(file, "fixed");
  EXPECT_EQ(get(hfgetdatasettimes_f, set), (std::vector<double>{0, 6}));
  EXPECT_EQ(get(hfgetdatasettimeunits_f, set), "Hours");
  EXPECT_EQ(get(hfreadreftime_f, set), 2451544.0);
  EXPECT_EQ(read(set, 2), (std::vector<float>{4, 5, 6}));
}

TEST_F(NetcdfInput, VelocityOfTwoVariablesOrOfOneWithPairs) {
  HyfsHandle set = group_at(file, "u-vel,v-vel");
  EXPECT_EQ(get(hfgetdatasetnumvals_f, set), 3);
  EXPECT_EQ(read_pairs(set, 2), (std::vector<float>{4, -4, 5, -5, 6, -6}));
  EXPECT_EQ(get(hfgetdatasettimeunits_f, set), "Seconds");
  set = group_at(file, "pair");
  EXPECT_EQ(get(hfgetdatasetnumvals_f, set), 3);
  EXPECT_EQ(read_pairs(set, 1), (std::vector<float>{1, 2, 3, 4, 5, 6}));
  // Components of different size are no vector.
  int values = 0;
  EXPECT_EQ(hfgetdatasetnumvals_f(group_at(file, "zeta,levels"), values), hyfs_size_incorrect);
}

// ---- files of Python users ----

TEST(PythonInput, TextOfAnyStorageAndMissingScales) {
  const std::string python = python_with("h5py,numpy");
  if (python.empty()) GTEST_SKIP() << "no h5py";
  const TemporaryFolder folder;
  const std::string script = folder.write("make.py", R"(
import sys, h5py, numpy as np
with h5py.File(sys.argv[1], 'w') as f:
    f.attrs['Conventions'] = 'CF-1.8'                      # variable-length text
    d = f.create_dataset('Datasets/D50', data=np.array([0.1, 0.25]))
    f['Nodes'] = np.int64(2)
    t = f.create_dataset('time', data=np.array([0, 3], 'i8'))
    t.attrs['units'] = 'days since 2001-02-03 06:00'
    w = f.create_dataset('wse', data=np.arange(4.).reshape(2, 2), maxshape=(None, 2))
    w.attrs['location'] = np.array(['node'], dtype=h5py.string_dtype())
    s = f.create_dataset('flow_x', data=np.ones((2, 2), 'f4'), maxshape=(None, 2))
    s = f.create_dataset('flow_y', data=2*np.ones((2, 2), 'f4'), maxshape=(None, 2))
    g = f.create_group('flow')
    g.attrs['hyfs_type'] = 'vector dataset'
    grid = f.create_group('Grid')
    grid.attrs['hyfs_type'] = 'grid'
    grid.attrs['dimensions'] = np.array([2, 1, 1])
    grid.attrs['origin'] = [1., 2., 3.]
    grid.attrs['bearing'] = 15
    grid['coords_i'] = [10., 20.]
)");
  const std::string path = folder.path("a.h5");
  ASSERT_EQ(output_of(python + " '" + script + "' '" + path + "'"), "");
  const HyfsHandle file = open(path);
  EXPECT_EQ(get(hfreadpropertyfloat_f, file, "Datasets/D50"), (std::vector<float>{0.1f, 0.25f}));
  EXPECT_EQ(get(hfreadpropertyint_f, file, "Nodes"), std::vector<int>{2});
  EXPECT_EQ(read(group_at(file, "Datasets/D50"), 1), (std::vector<float>{0.1f, 0.25f}));
  const HyfsHandle wse = group_at(file, "wse");
  EXPECT_EQ(get(hfgetdatasettimes_f, wse), (std::vector<double>{0, 3}));
  EXPECT_EQ(get(hfgetdatasettimeunits_f, wse), "Days");
  EXPECT_EQ(get(hfreadreftime_f, wse), 2451943.75);
  EXPECT_EQ(read(wse, 2), (std::vector<float>{2, 3}));
  EXPECT_EQ(read_pairs(group_at(file, "flow"), 1), (std::vector<float>{1, 2, 1, 2}));
  const HyfsHandle grid = group_at(file, "Grid");
  std::vector<double> coordinates;
  EXPECT_EQ(get(hfgetgridcoordsi_f, grid), (std::vector<double>{10, 20}));
  EXPECT_EQ(get(hfgetbearing_f, grid), 15.0);
  EXPECT_EQ(hfgetgridcoordsj_f(grid, coordinates), hyfs_does_not_exist);
  EXPECT_EQ(hfclosefile_f(file), 0);
}

// ---- our files in their tools ----

void write_maps(const std::string& path) {
  HyfsFileInfo info;
  info.kind = "maps";
  info.start_date = "2020-03-01 00:00:00";
  info.expected_values = 4;
  HyfsHandle file = 0;
  ASSERT_EQ(hfcreatefile_f(path, true, info, file), 0);
  ASSERT_EQ(hfwritemesh_f(file, {{0, 1, 0, 1}, {0, 0, 1, 1}, {-1, -2, -3, -4}, {1, 2, 3, 2, 4, 3}}),
            0);
  ASSERT_EQ(hfwritecrs_f(file, 32633), 0);
  HyfsDatasetInfo data;
  data.units = "m";
  data.compression = 1;
  const HyfsHandle wse = test::scalar(file, "wse", data), flow = test::vector(file, "flow", data);
  for (const double time : {0.0, 900.0}) {
    EXPECT_EQ(write(wse, time, {0.5f, 1, 2, -99999}), 0);
    EXPECT_EQ(write_pairs(flow, time, {1, 2, 3, 4, 5, 6, 7, 8}), 0);
  }
  ASSERT_EQ(hfclosefile_f(file), 0);
}

void write_parcels(const std::string& path, const std::string& group_path) {
  HyfsFileInfo info;
  info.kind = "particles";
  info.start_date = "2020-03-01 00:00:00";
  HyfsHandle file = 0, group = 0, state = 0;
  ASSERT_EQ(hfcreatefile_f(path, true, info, file), 0);
  ASSERT_EQ(hfcreategeometricpathgroup_f(file, group_path, "1-2-3", 1, group), 0);
  HyfsDatasetInfo data;
  ASSERT_EQ(hfcreatescalardsetextndbl_f(group, "state", data, state), 0);
  const std::vector<double> positions{1, 2, 3, 4, 5, 6};
  EXPECT_EQ(hfwriteparticletimestep_f(group, 0.0, 1, positions.data()), 0);
  EXPECT_EQ(write(state, 0.0, {1}), 0);
  EXPECT_EQ(hfwriteparticletimestep_f(group, 60.0, 2, positions.data()), 0);
  EXPECT_EQ(hfextendscalardataset_f(state, 2), 0);
  EXPECT_EQ(write(state, 60.0, {1, 0}), 0);
  data.location = "trajectory";
  EXPECT_EQ(write(test::scalar(group, "grain size", data), 0.0, {1, 0}), 0);
  ASSERT_EQ(hfclosefile_f(file), 0);
}

TEST(NetcdfOutput, DumpShowsDimensionsAndMeshOfMaps) {
  if (!runs("command -v ncdump")) GTEST_SKIP() << "no ncdump";
  const TemporaryFolder folder;
  const std::string path = folder.path("m.h5");
  write_maps(path);
  const std::string text = output_of("ncdump '" + path + "'");
  for (const char* part :
       {"time = UNLIMITED ; // (2 currently)", "mesh_node = 4 ;", "mesh_face = 2 ;",
        "float wse(time, mesh_node) ;", "wse:_FillValue = -99999.f ;",
        "float flow_x(time, mesh_node) ;", "flow_x:long_name = \"flow, x-component\" ;",
        "time:units = \"seconds since 2020-03-01 00:00:00\" ;",
        "mesh:cf_role = \"mesh_topology\" ;",
        "int mesh_face_nodes(mesh_face, mesh_max_face_nodes) ;",
        "mesh_face_nodes:start_index = 0 ;", "projected_coordinate_system:epsg = 32633 ;",
        ":Conventions = \"CF-1.8 UGRID-1.0\" ;", " time = 0, 900 ;",
        " mesh_node_z = -1, -2, -3, -4 ;"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
  }
}

TEST(NetcdfOutput, ParcelsStandInTheRootAndInTheirGroup) {
  const std::string python = python_with("xarray,netCDF4,h5py");
  if (python.empty()) GTEST_SKIP() << "no xarray";
  const TemporaryFolder folder;
  const std::string script = folder.write("look.py", R"(
import sys, xarray as xr, h5py, numpy as np
path, group = sys.argv[1:3]
p = xr.open_dataset(path)
print(dict(p.sizes), p.x.notnull().sum('trajectory').values, p.state.values[1],
      p['grain size'].values, str(p.time.values[1])[:19], p.parcels.values, p.trajectory.values)
g = xr.open_dataset(path, group=group)
print(sorted(g.variables), g.z.values[1])
with h5py.File(path) as f:
    print(f[group].attrs['hyfs_type'], f['x'] == f[group]['x'], f['x'].dims[1].keys())
)");
  for (const char* group : {"run1_particles", "../out dir/ré_particles"}) {
    const std::string path = folder.path("p.h5");
    write_parcels(path, group);
    EXPECT_EQ(output_of(python + " '" + script + "' '" + path + "' '" + group + "'"),
              "{'time': 2, 'trajectory': 2} [1 2] [1. 0.] [1. 0.] 2020-03-01T00:01:00 [1 2] [1 2]\n"
              "['grain size', 'state', 'x', 'y', 'z'] [3. 6.]\n"
              "b'particle set' True ['trajectory']\n")
        << group;
  }
}

TEST(NetcdfOutput, XarrayHidesDryNodesAndReadsTheTimes) {
  const std::string python = python_with("xarray,netCDF4");
  if (python.empty()) GTEST_SKIP() << "no xarray";
  const TemporaryFolder folder;
  const std::string script = folder.write("look.py", R"(
import sys, xarray as xr
m = xr.open_dataset(sys.argv[1])
print(m.wse.values[1], m.flow_y.values[0], str(m.time.values[1])[:19], m.mesh_face_nodes.values[1])
)");
  const std::string path = folder.path("m.h5");
  write_maps(path);
  EXPECT_EQ(output_of(python + " '" + script + "' '" + path + "'"),
            "[0.5 1.  2.  nan] [2. 4. 6. 8.] 2020-03-01T00:15:00 [1 3 2]\n");
}

}  // namespace
}  // namespace dfl
