#include "sediment/native_sediments.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "flow/dataset_files.h"
#include "sediment/bed_run.h"

namespace dfl {
namespace {

using test::DatasetFile;
using test::TemporaryFolder;
using test::Values;

// Four nodes, two elements; `text` as sediment file.
void sediment_run(RunState& run, const TemporaryFolder& folder, SedimentsFormat format,
                  const std::string& text) {
  test::bed_run(run, 1, 1, 2.0f);
  run.sediment = SedimentState{};
  test::quiet(run, folder.path("run"), true);
  run.settings.method.sediments = format;
  run.settings.sediments_format = "kfe";
  run.settings.sediment_file = folder.write("bed.sed", text);
}

TEST(NativeSediments, NodeFileInAnyOrderWithHardBottom) {
  TemporaryFolder folder;
  RunState run;
  sediment_run(run, folder, SedimentsFormat::adcirc,
               "title\n0 4\n"
               "3 0 0 0.1 0.2 0.5\n"
               "1 1.0D+01 0 0.3, 0.4, 0.6\n"
               "4 0 0 0.1 0.2 -0.6\n"
               "2 0 0\n 0.1 0.2\n 0.7 left over\n");
  READ_NATIVE_SEDIMENTS(run);
  const SedimentState& bed = run.sediment;
  EXPECT_FLOAT_EQ(bed.D35(1), 0.0003f);
  EXPECT_FLOAT_EQ(bed.D50(3), 0.0002f);
  EXPECT_FLOAT_EQ(bed.D90(2), 0.0007f);
  for (int n : {1, 2, 3}) EXPECT_EQ(bed.BEDmobile(n), logical_true);
  // The roughness height of a hard bottom, 0.6 mm, is three times its size.
  EXPECT_EQ(bed.BEDmobile(4), logical_false);
  for (const float size : {bed.D35(4), bed.D50(4), bed.D90(4)}) EXPECT_FLOAT_EQ(size, 0.0002f);
  EXPECT_FALSE(bed.UNIFORMbed);
}

TEST(NativeSediments, ListedNodesGiveTheOthersTheirMean) {
  TemporaryFolder folder;
  RunState run;
  sediment_run(run, folder, SedimentsFormat::kfe, "title\n2\n4 0.1 0.2 0.4\n2 0.3 0.4 0.8\n");
  READ_NATIVE_SEDIMENTS(run);
  EXPECT_FLOAT_EQ(run.sediment.D50(4), 0.0002f);
  for (int n : {1, 3}) {
    EXPECT_FLOAT_EQ(run.sediment.D35(n), 0.0002f);
    EXPECT_FLOAT_EQ(run.sediment.D50(n), 0.0003f);
    EXPECT_FLOAT_EQ(run.sediment.D90(n), 0.0006f);
    EXPECT_EQ(run.sediment.BEDmobile(n), logical_true);
  }
}

TEST(NativeSediments, ListedNodeThatComesAgainTakesTheLaterSizes) {
  TemporaryFolder folder;
  RunState run;
  sediment_run(run, folder, SedimentsFormat::kfe,
               "title\n5\n1 0.1 0.2 0.4\n2 0.1 0.2 -0.6\n3 0.3 0.4 0.8\n2 0.3 0.4 0.8\n"
               "3 0.3 0.4 -0.6\n");
  READ_NATIVE_SEDIMENTS(run);
  const SedimentState& bed = run.sediment;
  EXPECT_FLOAT_EQ(bed.D90(2), 0.0008f);
  EXPECT_EQ(bed.BEDmobile(2), logical_true);
  EXPECT_FLOAT_EQ(bed.D50(3), 0.0002f);
  EXPECT_EQ(bed.BEDmobile(3), logical_false);
  EXPECT_FLOAT_EQ(bed.D90(4), 0.0014f / 3.0f);  // the mean of three nodes, not of five records
}

TEST(NativeSediments, UniformSizesAreNotChecked) {
  TemporaryFolder folder;
  RunState run;
  sediment_run(run, folder, SedimentsFormat::uniform, "");
  run.settings.bed_d90 = -0.6f;
  READ_NATIVE_SEDIMENTS(run);
  EXPECT_TRUE(run.sediment.UNIFORMbed);
  for (int n = 1; n <= 4; ++n) {
    EXPECT_FLOAT_EQ(run.sediment.D50(n), 0.0002f);
    EXPECT_FLOAT_EQ(run.sediment.D90(n), -0.0006f);
    EXPECT_EQ(run.sediment.BEDmobile(n), logical_true);
  }
}

TEST(NativeSedimentsDeathTest, BadFilesStopWithPlaceAndReason) {
  struct Case {
    SedimentsFormat format;
    const char* text;
    const char* message;
  };
  const Case cases[] = {
      {SedimentsFormat::adcirc, "t\n2 5\n", "Native sediments file error \\(NUMnode\\)"},
      {SedimentsFormat::adcirc, "t\n3 4\n", "Native sediments file error \\(NUMelem\\)"},
      {SedimentsFormat::adcirc, "t\n2 4\n1 0 0 1 1 1\n9 0 0 1 1 1\n",
       "bed.sed:4: expected a node number from 1 to 4, found 9"},
      {SedimentsFormat::adcirc, "t\n2 4\n1 0 0 1 1 1\n0 0 0 1 1 1\n",
       "bed.sed:4: expected a node number from 1 to 4, found 0"},
      {SedimentsFormat::adcirc, "t\n2 4\n1 0 0 1 1 1\n1 0 0 1 1 1\n",
       "bed.sed:4: node 1 is given twice"},
      {SedimentsFormat::adcirc, "t\n2 4\n1 0 0 1 1 1\n2 0 0 1 1 1\n",
       "bed.sed:4: expected an integer, found the end of the file"},
      {SedimentsFormat::adcirc, "t\n2 4\n1 0 0 1 fine 1\n",
       "bed.sed:3: expected a real number, found \"fine\""},
      {SedimentsFormat::adcirc, "", "expected a line, found the end of the file"},
      {SedimentsFormat::adcirc, "t\n2 4\n1 0 0 1 1 1\n2 0 0 1 1 1\n4 0 0 1 1 0\n3 0 0 1 1 1\n",
       "\\*\\*\\* Zero grain size for D90 @ N=     4"},
      {SedimentsFormat::adcirc, "t\n2 4\n1 0 0 0 0 0\n2 0 0 1 1 1\n4 0 0 1 1 1\n3 0 0 1 1 1\n",
       "\\*\\*\\* Zero grain size for D35 @ N=     1"},
      {SedimentsFormat::kfe, "t\n1\n2 1 0 1\n", "\\*\\*\\* Zero grain size for D50 @ N=     2"},
      {SedimentsFormat::kfe, "t\n2000000000\n1 1 1 1\n",
       "bed.sed:3: expected an integer, found the end of the file"},
      {SedimentsFormat::kfe, "t\n0\n", "expected a number of records of 1 or more, found 0"},
      {SedimentsFormat::n2d, "t\n", "sediments_format \"kfe\" needs a gridded mesh"},
      {SedimentsFormat::hyfs_n2d, "t\n", "sediments_format \"kfe\" needs a gridded mesh"},
      {SedimentsFormat::hyfs, "t\n",
       "ERROR: HF_OPEN_FILE\\(sediments\\) error\n       ERROR_FILE_NOT_HDF5"},
      {SedimentsFormat::unknown, "t\n", "Sediments file type not available"},
  };
  for (const Case& c : cases) {
    TemporaryFolder folder;
    RunState run;
    sediment_run(run, folder, c.format, c.text);
    EXPECT_EXIT(READ_NATIVE_SEDIMENTS(run), testing::ExitedWithCode(0), c.message);
  }
}

// ---- datasets, properties and gridded models ----

// Three sizes, each a number a node or cell.
struct Sizes {
  Values d35, d50, d90;
};

void write_sizes(const std::string& path, bool property, const Sizes& sizes, int nodes) {
  DatasetFile file(path);
  if (property) {
    EXPECT_EQ(hfwritepropertyint_f(file.file, "Nodes", {nodes}), 0);
    EXPECT_EQ(hfwritepropertyfloat_f(file.file, "D35", sizes.d35), 0);
    EXPECT_EQ(hfwritepropertyfloat_f(file.file, "D50", sizes.d50), 0);
    EXPECT_EQ(hfwritepropertyfloat_f(file.file, "D90", sizes.d90), 0);
    return;
  }
  file.info.values = static_cast<std::int64_t>(sizes.d35.size());
  // Only the first of two steps counts.
  file.scalar("D35", {0, 1}, {sizes.d35, Values(sizes.d35.size(), 9.0f)});
  file.scalar("D50", {0, 1}, {sizes.d50, Values(sizes.d50.size(), 9.0f)});
  file.scalar("D90", {0, 1}, {sizes.d90, Values(sizes.d90.size(), 9.0f)});
}

void dataset_run(RunState& run, const TemporaryFolder& folder, SedimentsFormat format,
                 bool property) {
  sediment_run(run, folder, format, "");
  run.settings.sediment_file = folder.path("bed.h5");
  run.settings.sediment_hyfs_layout = property ? "property" : "dataset";
  run.settings.hyfs_d35_path = "D35";
  run.settings.hyfs_d50_path = "D50";
  run.settings.hyfs_d90_path = "D90";
}

TEST(NativeSediments, NodeDatasetsAndPropertiesGiveTheSame) {
  for (const bool property : {true, false}) {
    TemporaryFolder folder;
    RunState run;
    dataset_run(run, folder, SedimentsFormat::hyfs, property);
    write_sizes(folder.path("bed.h5"), property,
                {{0.1f, 0.2f, 0.3f, 0.4f}, {0.2f, 0.3f, 0.4f, 0.5f}, {0.5f, 0.6f, -0.9f, 0.8f}}, 4);
    READ_NATIVE_SEDIMENTS(run);
    EXPECT_FLOAT_EQ(run.sediment.D35(1), 0.0001f);
    EXPECT_FLOAT_EQ(run.sediment.D50(2), 0.0003f);
    EXPECT_FLOAT_EQ(run.sediment.D90(4), 0.0008f);
    EXPECT_FLOAT_EQ(run.sediment.D50(3), 0.0003f);  // hard bottom of 0.9 mm
    EXPECT_EQ(run.sediment.BEDmobile(3), logical_false);
    EXPECT_EQ(run.sediment.BEDmobile(4), logical_true);
  }
}

// Two square cells side by side with four nodes of the left and two of the right one: nodes 2 and 4
// of sediment_run are shared.
void two_cells(RunState& run) {
  GridState& grid = run.grid;
  grid.NumI = 2;
  grid.NumJ = 1;
  grid.NUMcells = 2;
  grid.CELLS.allocate(2);
  grid.CELLnodes.allocate(2, 1, 4);
  for (int c = 1; c <= 2; ++c) {
    grid.CELLS(c).DX = grid.CELLS(c).DY = 10.0;
    grid.CELLS(c).X = 10.0 * c - 5.0;
    grid.CELLS(c).Y = 5.0;
  }
  for (int k = 1; k <= 4; ++k) grid.CELLnodes(1, k) = k;
  grid.CELLnodes(2, 1) = 2;
  grid.CELLnodes(2, 3) = 4;
}

TEST(NativeSediments, SizesOfCellsComeToTheNodes) {
  for (const SedimentsFormat format : {SedimentsFormat::hyfs_n2d, SedimentsFormat::n2d}) {
    for (const bool property : {true, false}) {
      TemporaryFolder folder;
      RunState run;
      dataset_run(run, folder, format, property);
      two_cells(run);
      if (format == SedimentsFormat::n2d) {
        run.settings.sediment_file =
            folder.write("bed.sed", "t\n1 1 2 0.3 0.4 0.7\n2, 1, 1, 0.1 0.2 0.5\n");
      } else {
        write_sizes(folder.path("bed.h5"), property, {{0.1f, 0.3f}, {0.2f, 0.4f}, {0.5f, 0.7f}}, 2);
      }
      READ_NATIVE_SEDIMENTS(run);
      for (const int n : {1, 3}) EXPECT_FLOAT_EQ(run.sediment.D50(n), 0.0002f);  // left cell alone
      for (const int n : {2, 4}) {
        EXPECT_NEAR(run.sediment.D35(n), 0.0002f, 1.0e-9f);
        EXPECT_NEAR(run.sediment.D90(n), 0.0006f, 1.0e-9f);
        EXPECT_EQ(run.sediment.BEDmobile(n), logical_true);
      }
    }
  }
}

TEST(NativeSedimentsDeathTest, BadDatasetsStopWithTheirMessage) {
  constexpr float none = std::numeric_limits<float>::quiet_NaN();
  const Values good = {1, 1, 1, 1};
  struct Case {
    const char* what;
    bool property;
    std::function<void(RunState&, const std::string& path)> write;
    const char* message;
  };
  const auto sizes = [](bool property, const Sizes& s, int nodes) {
    return [=](RunState&, const std::string& path) { write_sizes(path, property, s, nodes); };
  };
  const Case cases[] = {
      {"no file", true, [](RunState&, const std::string&) {},
       "ERROR: HF_OPEN_FILE\\(sediments\\) error"},
      {"no count", true, [](RunState&, const std::string& path) { DatasetFile file(path); },
       "ERROR: HF_READ_PROPERTY_INT\\(NUMnode\\) error\n       ERROR_DATASET_DOES_NOT_EXIST"},
      {"other count", true, sizes(true, {good, good, good}, 5),
       "ERROR: Number of nodes in sediment file does not match grid"},
      {"short list", true, sizes(true, {good, good, {1, 1, 1}}, 4),
       "ERROR: HF_READ_PROPERTY_FLOAT\\(D35\\) error\n       ERROR_DATASET_SIZE_INCORRECT"},
      {"no D90", true,
       [&](RunState& run, const std::string& path) {
         write_sizes(path, true, {good, good, good}, 4);
         run.settings.hyfs_d90_path = "D99";
       },
       "ERROR: HF_READ_PROPERTY_FLOAT\\(D35\\) error"},
      {"no D50 group", false,
       [&](RunState& run, const std::string& path) {
         write_sizes(path, false, {good, good, good}, 4);
         run.settings.hyfs_d50_path = "D99";
       },
       "D99(.|\n)*ERROR: HF_OPEN_GROUP\\(sediments-d50\\) error"},
      {"other size", false, sizes(false, {{1, 1}, {1, 1}, {1, 1}}, 4),
       "ERROR: HF_READ_SCALAR_VALUES_TIMESTEP\\(sediments-d35\\) error\n"
       "       ERROR_DATASET_SIZE_INCORRECT"},
      {"no number", false, sizes(false, {good, {1, 1, none, 1}, good}, 4),
       "bed.h5: \"D50\" has no grain size at node 3"},
      {"fill value", true, sizes(true, {good, good, {1, -9999.9f, 1, 1}}, 4),
       "bed.h5: \"D90\" has no grain size at node 2"},
      {"zero", true, sizes(true, {good, good, {1, 1, 1, 0}}, 4),
       "\\*\\*\\* Zero grain size for D90 @ N=     4"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    TemporaryFolder folder;
    RunState run;
    dataset_run(run, folder, SedimentsFormat::hyfs, c.property);
    c.write(run, folder.path("bed.h5"));
    EXPECT_EXIT(READ_NATIVE_SEDIMENTS(run), testing::ExitedWithCode(0), c.message);
  }
}

TEST(NativeSedimentsDeathTest, BadGridTextStopsWithItsMessage) {
  struct Case {
    const char* text;
    const char* message;
  };
  const Case cases[] = {
      {"t\n1 1 1 1 1 1\n", "bed.sed:2: expected (.|\n)*ERROR: Native sediments file error"},
      {"t\n1 1 1 1 fine 1\n1 1 2 1 1 1\n",
       "bed.sed:2: expected a real number, found \"fine\"(.|\n)*ERROR: Native sediments file "
       "error"},
      {"t\n1 1 3 1 1 1\n2 1 1 1 1 1\n", "bed.sed:2: row 1, column 3 is no cell of the grid"},
      {"t\n1 2 1 1 1 1\n2 1 1 1 1 1\n", "row 2, column 1 is no cell of the grid"},
      {"t\n1 1 2 1 1 1\n2 1 2 1 1 1\n", "bed.sed:3: row 1, column 2 is given twice"},
      {"t\n1 0 2 1 1 1\n2 1 1 1 1 1\n", "row 0, column 2 is no cell of the grid"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    TemporaryFolder folder;
    RunState run;
    sediment_run(run, folder, SedimentsFormat::n2d, c.text);
    two_cells(run);
    EXPECT_EXIT(READ_NATIVE_SEDIMENTS(run), testing::ExitedWithCode(0), c.message);
  }
}

}  // namespace
}  // namespace dfl
