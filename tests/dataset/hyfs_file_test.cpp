// Files, groups, properties, grids and the calendar.

#include <gtest/gtest.h>
#include <hdf5.h>

#include <cmath>

#include "common/test_run.h"
#include "dataset/hyfs.h"

namespace dfl {
namespace {

using test::TemporaryFolder;

HyfsHandle create(const std::string& path, const std::string& kind = "data") {
  HyfsFileInfo info;
  info.kind = kind;
  info.start_date = "2020-03-01 00:00:00";
  HyfsHandle file = 0;
  EXPECT_EQ(hfcreatefile_f(path, true, info, file), 0);
  return file;
}

HyfsHandle open(const std::string& path) {
  HyfsHandle file = 0;
  EXPECT_EQ(hfopenfile_f(path, true, file), 0) << path;
  return file;
}

HyfsHandle group_at(HyfsHandle parent, const std::string& path) {
  HyfsHandle group = 0;
  EXPECT_EQ(hfopengroup_f(parent, path, group), 0) << path;
  return group;
}

TEST(HyfsFile, WhatIsNotHyfsIsToldApart) {
  const TemporaryFolder folder;
  HyfsHandle file = 0;
  EXPECT_EQ(hfopenfile_f(folder.path("none.h5"), true, file), hyfs_io_error);
  EXPECT_EQ(hfopenfile_f(folder.path(""), true, file), hyfs_io_error);
  EXPECT_EQ(hfopenfile_f(folder.write("empty.h5", ""), true, file), hyfs_not_hdf5);
  EXPECT_EQ(hfopenfile_f(folder.write("text.h5", "CDF\001 classic NetCDF"), true, file),
            hyfs_not_hdf5);
  const std::string plain = folder.path("plain.h5");
  H5Fclose(H5Fcreate(plain.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT));
  EXPECT_EQ(hfopenfile_f(plain, true, file), hyfs_not_hyfs);
  EXPECT_EQ(file, 0);
}

TEST(HyfsFile, CreatingOverwritesOnlyByFlag) {
  const TemporaryFolder folder;
  const std::string path = folder.path("a.h5");
  HyfsHandle file = create(path);
  EXPECT_EQ(hfwritepropertyint_f(file, "Nodes", {4}), 0);
  EXPECT_EQ(hfclosefile_f(file), 0);
  EXPECT_LT(hfcreatefile_f(path, false, HyfsFileInfo(), file), 0);
  int number = 0;
  file = open(path);
  EXPECT_EQ(hfgetpropertynumber_f(file, "Nodes", number), 0);
  EXPECT_EQ(hfclosefile_f(file), 0);
  file = create(path);
  EXPECT_EQ(hfgetpropertynumber_f(file, "Nodes", number), hyfs_does_not_exist);
  EXPECT_EQ(hfclosefile_f(file), 0);
}

TEST(HyfsFile, FileNamesWithBlanksAndForeignLettersAndTurnedSlashes) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder.path("sub"));
  for (const char* name : {"été 1.h5", "sub\\b.h5"}) {
    HyfsHandle file = create(folder.path(name));
    EXPECT_EQ(hfclosefile_f(file), 0) << name;
    file = open(folder.path(name));
    EXPECT_EQ(hfclosefile_f(file), 0) << name;
  }
}

TEST(HyfsFile, HandlesOfAnotherKindAreRefused) {
  const TemporaryFolder folder;
  HyfsHandle file = create(folder.path("a.h5"));
  EXPECT_EQ(hfcreategrid_f(file, "grid", {{0, 0, 0}, 0.0, {1}, {1}, {}}), 0);
  const HyfsHandle group = group_at(file, "grid");
  HyfsHandle other = 0;
  int number = 0;
  std::vector<float> values;
  EXPECT_EQ(hfclosefile_f(group), hyfs_group_type);
  EXPECT_EQ(hfclosegroup_f(file), hyfs_group_type);
  EXPECT_EQ(hfgetdatasetnumtimes_f(group, number), hyfs_group_type);
  EXPECT_EQ(hfreadscalarvaluestimestep_f(group, 1, values), hyfs_group_type);
  EXPECT_EQ(hfwriteparticletimestep_f(group, 0.0, 0, nullptr), hyfs_group_type);
  EXPECT_EQ(hfopengroup_f(file, "absent", other), hyfs_does_not_exist);
  EXPECT_EQ(hfopengroup_f(file, "grid/absent/deep", other), hyfs_does_not_exist);
  EXPECT_EQ(hfopengroup_f(file, "", other), hyfs_does_not_exist);
  EXPECT_EQ(hfopengroup_f(-1, "grid", other), hyfs_group_type);
  // Closing the file closes its groups; a handle that was left is then dead, not dangerous.
  EXPECT_EQ(hfclosefile_f(file), 0);
  EXPECT_LT(hfopengroup_f(group, "coords_i", other), 0);
  EXPECT_LT(hfclosegroup_f(group), 0);
}

TEST(HyfsFile, ASecondOpeningOutlivesTheFirst) {
  const TemporaryFolder folder;
  const std::string path = folder.path("a.h5");
  HyfsHandle file = create(path);
  EXPECT_EQ(hfwritepropertyint_f(file, "Nodes", {4}), 0);
  EXPECT_EQ(hfclosefile_f(file), 0);
  const HyfsHandle first = open(path);
  const HyfsHandle second = open(path);
  const HyfsHandle set = group_at(second, "Nodes");
  EXPECT_EQ(hfclosefile_f(first), 0);
  std::vector<int> values;
  EXPECT_EQ(hfreadpropertyint_f(second, "Nodes", values), 0);
  EXPECT_EQ(hfclosegroup_f(set), 0);
  EXPECT_EQ(hfclosefile_f(second), 0);
}

// ---- properties ----

TEST(HyfsProperty, RoundTripOfEachTypeBelowFileGroupAndGrid) {
  const TemporaryFolder folder;
  const std::string path = folder.path("a.h5");
  HyfsHandle file = create(path);
  ASSERT_EQ(hfcreategrid_f(file, "model/grid", {{1, 2, 3}, 30.0, {1, 2}, {1, 2, 4}, {}}), 0);
  HyfsHandle grid = group_at(file, "model/grid");
  EXPECT_EQ(hfwritepropertyint_f(grid, "CellTypes", {1, 0, 1, 1, 0, -2147483647}), 0);
  EXPECT_EQ(hfwritepropertyfloat_f(file, "Datasets/D35", {0.1f, 0.25f}), 0);
  EXPECT_EQ(hfwritepropertydouble_f(file, "X", {1.0 / 3.0, 1e-300}), 0);
  EXPECT_EQ(hfwritepropertydouble_f(file, "X", {2.0 / 3.0}), 0);  // replaces, with another length
  EXPECT_EQ(hfclosegroup_f(grid), 0);
  EXPECT_EQ(hfclosefile_f(file), 0);

  file = open(path);
  std::vector<int> types;
  grid = group_at(file, "model/grid/PROPERTIES");
  EXPECT_EQ(hfreadpropertyint_f(grid, "CellTypes", types), 0);
  EXPECT_EQ(types, (std::vector<int>{1, 0, 1, 1, 0, -2147483647}));
  EXPECT_EQ(hfclosegroup_f(grid), 0);
  grid = group_at(file, "model/grid");  // found in the folder of properties too
  int number = 0;
  EXPECT_EQ(hfgetpropertynumber_f(grid, "CellTypes", number), 0);
  EXPECT_EQ(number, 6);
  EXPECT_EQ(hfgetpropertynumber_f(grid, "origin", number), 0);  // an attribute
  EXPECT_EQ(number, 3);
  std::vector<float> sizes;
  EXPECT_EQ(hfreadpropertyfloat_f(file, "Datasets/D35", sizes), 0);
  EXPECT_EQ(sizes, (std::vector<float>{0.1f, 0.25f}));
  std::vector<double> x;
  EXPECT_EQ(hfreadpropertydouble_f(file, "X", x), 0);
  EXPECT_EQ(x, std::vector<double>{2.0 / 3.0});
  EXPECT_EQ(hfclosefile_f(file), 0);
}

TEST(HyfsProperty, NumbersThatDoNotFitTheTypeAskedForAreRefused) {
  const TemporaryFolder folder;
  const HyfsHandle file = create(folder.path("a.h5"));
  ASSERT_EQ(hfwritepropertydouble_f(file, "half", {0.5}), 0);
  ASSERT_EQ(hfwritepropertydouble_f(file, "seven", {7.0}), 0);
  ASSERT_EQ(hfwritepropertydouble_f(file, "large", {3.0e9}), 0);
  ASSERT_EQ(hfwritepropertydouble_f(file, "huge", {1.0e300}), 0);
  ASSERT_EQ(hfwritepropertydouble_f(file, "third", {1.0 / 3.0}), 0);
  std::vector<int> integers;
  std::vector<float> reals;
  EXPECT_EQ(hfreadpropertyint_f(file, "half", integers), hyfs_incorrect_datatype);
  EXPECT_EQ(hfreadpropertyint_f(file, "large", integers), hyfs_incorrect_datatype);
  EXPECT_EQ(hfreadpropertyint_f(file, "seven", integers), 0);
  EXPECT_EQ(integers, std::vector<int>{7});
  EXPECT_EQ(hfreadpropertyfloat_f(file, "huge", reals), hyfs_incorrect_datatype);
  EXPECT_EQ(hfreadpropertyfloat_f(file, "third", reals), 0);
  EXPECT_EQ(reals, std::vector<float>{1.0f / 3.0f});
  EXPECT_EQ(hfreadpropertyint_f(file, "absent", integers), hyfs_does_not_exist);
  // Text is no number, neither as an attribute nor as a dataset.
  EXPECT_EQ(hfreadpropertyint_f(file, "title", integers), hyfs_attribute_not_supported);
  const hid_t type = H5Tcopy(H5T_C_S1);
  const hid_t space = H5Screate(H5S_SCALAR);
  H5Dclose(H5Dcreate2(file, "words", type, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
  EXPECT_EQ(hfreadpropertyint_f(file, "words", integers), hyfs_incorrect_datatype);
  EXPECT_EQ(hfclosefile_f(file), 0);
}

// ---- grids ----

TEST(HyfsGrid, RoundTrip) {
  const TemporaryFolder folder;
  const std::string path = folder.path("a.h5");
  HyfsHandle file = create(path);
  const HyfsGrid grid{{500000.5, -3.25, 7.0}, 341.5, {10, 20, 35}, {5, 10}, {0.5, 1.0, 2.0, 3.0}};
  ASSERT_EQ(hfcreategrid_f(file, "Grid", grid), 0);
  EXPECT_LT(hfcreategrid_f(file, "Grid", grid), 0);
  EXPECT_EQ(hfclosefile_f(file), 0);
  file = open(path);
  const HyfsHandle group = group_at(file, "Grid");
  double x = 0, y = 0, z = 0, bearing = 0;
  EXPECT_EQ(hfgetorigin_f(group, x, y, z), 0);
  EXPECT_EQ(hfgetbearing_f(group, bearing), 0);
  EXPECT_EQ((std::vector<double>{x, y, z, bearing}),
            (std::vector<double>{500000.5, -3.25, 7.0, 341.5}));
  int i = 0, j = 0, k = 0;
  EXPECT_EQ(hfgetnumbercellsini_f(group, i), 0);
  EXPECT_EQ(hfgetnumbercellsinj_f(group, j), 0);
  EXPECT_EQ(hfgetnumbercellsink_f(group, k), 0);
  EXPECT_EQ((std::vector<int>{i, j, k}), (std::vector<int>{3, 2, 4}));
  std::vector<double> ci, cj, ck;
  EXPECT_EQ(hfgetgridcoordsi_f(group, ci), 0);
  EXPECT_EQ(hfgetgridcoordsj_f(group, cj), 0);
  EXPECT_EQ(hfgetgridcoordsk_f(group, ck), 0);
  EXPECT_EQ(ci, grid.i);
  EXPECT_EQ(cj, grid.j);
  EXPECT_EQ(ck, grid.k);
  EXPECT_EQ(hfclosefile_f(file), 0);
}

TEST(HyfsGrid, FaultsHaveTheirOwnCodes) {
  const TemporaryFolder folder;
  const HyfsHandle file = create(folder.path("a.h5"));
  ASSERT_EQ(hfcreategrid_f(file, "flat", {{0, 0, 0}, 0.0, {1, 2}, {1, 2}, {}}), 0);
  ASSERT_EQ(hfwritepropertyint_f(file, "other/N", {1}), 0);
  HyfsHandle group = group_at(file, "flat");
  int cells = 0;
  std::vector<double> coordinates;
  EXPECT_EQ(hfgetnumbercellsink_f(group, cells), -4603);  // a grid without layers
  EXPECT_EQ(hfgetgridcoordsk_f(group, coordinates), -4603);
  const hid_t dimensions = H5Aopen(group, "dimensions", H5P_DEFAULT);
  const int wrong[] = {3, -2, 0};
  H5Awrite(dimensions, H5T_NATIVE_INT, wrong);
  H5Aclose(dimensions);
  EXPECT_EQ(hfgetgridcoordsi_f(group, coordinates), -4604);  // 2 coordinates, not 3
  EXPECT_EQ(hfgetnumbercellsinj_f(group, cells), -4602);
  H5Adelete(group, "dimensions");
  EXPECT_EQ(hfgetnumbercellsini_f(group, cells), -4602);
  group = group_at(file, "other");
  double x = 0, y = 0, z = 0;
  EXPECT_EQ(hfgetnumbercellsini_f(group, cells), -4601);
  EXPECT_EQ(hfgetorigin_f(group, x, y, z), hyfs_does_not_exist);
  EXPECT_EQ(hfclosefile_f(file), 0);
}

// ---- calendar ----

TEST(HyfsCalendar, KnownDays) {
  struct Row {
    int era, year, month, day, hour, minute;
    double second, julian_day;
  };
  // Meeus 1991, table 7.a, and the start of Unix time.
  const Row rows[] = {
      {1, 2000, 1, 1, 12, 0, 0.0, 2451545.0},
      {1, 1970, 1, 1, 0, 0, 0.0, 2440587.5},
      {1, 1957, 10, 4, 19, 26, 24.0, 2436116.31},
      {1, 1582, 10, 15, 0, 0, 0.0, 2299160.5},
      {1, 1582, 10, 4, 0, 0, 0.0, 2299159.5},
      {1, 837, 4, 10, 7, 12, 0.0, 2026871.8},
      {1, 333, 1, 27, 12, 0, 0.0, 1842713.0},
      {0, 1002, 8, 17, 21, 36, 0.0, 1355671.4},
      {0, 4713, 1, 1, 12, 0, 0.0, 0.0},
      {1, 2020, 2, 29, 23, 59, 59.999, 2458909.4999999884},
  };
  for (const Row& row : rows) {
    double day = 0.0;
    ASSERT_EQ(hfcalendartojulian_f(row.era, row.year, row.month, row.day, row.hour, row.minute,
                                   row.second, day),
              0);
    EXPECT_NEAR(day, row.julian_day, 1e-9) << row.year;  // one step of 8-byte days is 5e-10
    int era = 0, year = 0, month = 0, date = 0, hour = 0, minute = 0;
    double second = 0.0;
    ASSERT_EQ(hfjuliantocalendar_f(day, era, year, month, date, hour, minute, second), 0);
    EXPECT_EQ((std::vector<int>{era, year, month, date, hour, minute}),
              (std::vector<int>{row.era, row.year, row.month, row.day, row.hour, row.minute}));
    EXPECT_DOUBLE_EQ(second, row.second);
  }
}

TEST(HyfsCalendar, EveryDayOfFourCenturiesComesBack) {
  double last = 0.0;
  hfcalendartojulian_f(1, 1800, 1, 1, 0, 0, 0.0, last);
  for (double day = last; day < last + 146097.0; day += 1.0) {
    int era = 0, year = 0, month = 0, date = 0, hour = 0, minute = 0;
    double second = 0.0, back = 0.0;
    ASSERT_EQ(hfjuliantocalendar_f(day + 0.123, era, year, month, date, hour, minute, second), 0);
    ASSERT_EQ(hfcalendartojulian_f(era, year, month, date, hour, minute, second, back), 0);
    ASSERT_NEAR(back, day + 0.123, 6e-9) << year;  // half a millisecond
  }
}

TEST(HyfsCalendar, DatesThatDoNotExistAreRefused) {
  double day = 0.0;
  EXPECT_LT(hfcalendartojulian_f(1, 2021, 2, 29, 0, 0, 0.0, day), 0);
  EXPECT_LT(hfcalendartojulian_f(1, 2021, 13, 1, 0, 0, 0.0, day), 0);
  EXPECT_LT(hfcalendartojulian_f(1, 2021, 0, 1, 0, 0, 0.0, day), 0);
  EXPECT_LT(hfcalendartojulian_f(1, 2021, 1, 1, 24, 0, 0.0, day), 0);
  EXPECT_LT(hfcalendartojulian_f(2, 2021, 1, 1, 0, 0, 0.0, day), 0);
  int era = 0, year = 0, month = 0, date = 0, hour = 0, minute = 0;
  double second = 0.0;
  EXPECT_LT(hfjuliantocalendar_f(std::nan(""), era, year, month, date, hour, minute, second), 0);
  EXPECT_LT(hfjuliantocalendar_f(1e300, era, year, month, date, hour, minute, second), 0);
}

}  // namespace
}  // namespace dfl
