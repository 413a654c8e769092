// Files that NetCDF tools and Python write. Skipped where these are absent; what they make of our
// files is shown by the tests of the viewers.

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
  int still(still); still:units = "hours since 1999-12-31T15:30:00 +0330";
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

}  // namespace
}  // namespace dfl
