// Files, groups, properties, grids and the calendar.

#include <gtest/gtest.h>
#include <hdf5.h>

#include <cmath>

#include "common/test_run.h"
#include "dataset/hyfs_calls.h"

namespace dfl {
namespace {

using namespace test;

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
  file = open(path);
  int number = get(hfgetpropertynumber_f, file, "Nodes");
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
  EXPECT_EQ(get(hfreadpropertyint_f, second, "Nodes"), std::vector<int>{4});
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
  const std::vector<int> types{1, 0, 1, 1, 0, -2147483647};
  EXPECT_EQ(get(hfreadpropertyint_f, group_at(file, "model/grid/PROPERTIES"), "CellTypes"), types);
  grid = group_at(file, "model/grid");  // found in the folder of properties too
  EXPECT_EQ(get(hfgetpropertynumber_f, grid, "CellTypes"), 6);
  EXPECT_EQ(get(hfgetpropertynumber_f, grid, "origin"), 3);  // an attribute
  EXPECT_EQ(get(hfreadpropertyfloat_f, file, "Datasets/D35"), (std::vector<float>{0.1f, 0.25f}));
  EXPECT_EQ(get(hfreadpropertydouble_f, file, "X"), std::vector<double>{2.0 / 3.0});
  EXPECT_EQ(hfclosefile_f(file), 0);
}

TEST(HyfsProperty, NumbersThatDoNotFitTheTypeAskedForAreRefused) {
  const TemporaryFolder folder;
  const HyfsHandle file = create(folder.path("a.h5"));
  for (const auto& [name, value] : {std::pair{"half", 0.5},
                                    {"seven", 7.0},
                                    {"large", 3.0e9},
                                    {"huge", 1.0e300},
                                    {"third", 1.0 / 3.0}}) {
    ASSERT_EQ(hfwritepropertydouble_f(file, name, {value}), 0);
  }
  std::vector<int> integers;
  std::vector<float> reals;
  EXPECT_EQ(hfreadpropertyint_f(file, "half", integers), hyfs_incorrect_datatype);
  EXPECT_EQ(hfreadpropertyint_f(file, "large", integers), hyfs_incorrect_datatype);
  EXPECT_EQ(get(hfreadpropertyint_f, file, "seven"), std::vector<int>{7});
  EXPECT_EQ(hfreadpropertyfloat_f(file, "huge", reals), hyfs_incorrect_datatype);
  EXPECT_EQ(get(hfreadpropertyfloat_f, file, "third"), std::vector<float>{1.0f / 3.0f});
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
  double x = 0, y = 0, z = 0;
  EXPECT_EQ(hfgetorigin_f(group, x, y, z), 0);
  EXPECT_EQ((std::vector<double>{x, y, z}), (std::vector<double>{500000.5, -3.25, 7.0}));
  EXPECT_EQ(get(hfgetbearing_f, group), 341.5);
  EXPECT_EQ(get(hfgetnumbercellsini_f, group), 3);
  EXPECT_EQ(get(hfgetnumbercellsinj_f, group), 2);
  EXPECT_EQ(get(hfgetnumbercellsink_f, group), 4);
  EXPECT_EQ(get(hfgetgridcoordsi_f, group), grid.i);
  EXPECT_EQ(get(hfgetgridcoordsj_f, group), grid.j);
  EXPECT_EQ(get(hfgetgridcoordsk_f, group), grid.k);
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
  // Meeus 1991, table 7.a, and the start of Unix time.
  const struct {
    int era, year, month, day, hour, minute;
    double second, julian_day;
  } rows[] = {{1, 2000, 1, 1, 12, 0, 0.0, 2451545.0},
              {1, 1970, 1, 1, 0, 0, 0.0, 2440587.5},
              {1, 1957, 10, 4, 19, 26, 24.0, 2436116.31},
              {1, 1582, 10, 15, 0, 0, 0.0, 2299160.5},
              {1, 1582, 10, 4, 0, 0, 0.0, 2299159.5},
              {1, 837, 4, 10, 7, 12, 0.0, 2026871.8},
              {1, 333, 1, 27, 12, 0, 0.0, 1842713.0},
              {0, 1002, 8, 17, 21, 36, 0.0, 1355671.4},
              {0, 4713, 1, 1, 12, 0, 0.0, 0.0},
              {1, 2020, 2, 29, 23, 59, 59.999, 2458909.4999999884}};
  for (const auto& row : rows) {
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
  const int dates[][5] = {{1, 2021, 2, 29, 0},
                          {1, 2021, 13, 1, 0},
                          {1, 2021, 0, 1, 0},
                          {1, 2021, 1, 1, 24},
                          {2, 2021, 1, 1, 0}};
  for (const auto& d : dates) {
    EXPECT_LT(hfcalendartojulian_f(d[0], d[1], d[2], d[3], d[4], 0, 0.0, day), 0) << d[2];
  }
  int era = 0, year = 0, month = 0, date = 0, hour = 0, minute = 0;
  double second = 0.0;
  EXPECT_LT(hfjuliantocalendar_f(std::nan(""), era, year, month, date, hour, minute, second), 0);
  EXPECT_LT(hfjuliantocalendar_f(1e300, era, year, month, date, hour, minute, second), 0);
}

}  // namespace
}  // namespace dfl
