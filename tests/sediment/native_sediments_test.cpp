#include "sediment/native_sediments.h"

#include <gtest/gtest.h>

#include "dataset/hyfs.h"
#include "sediment/bed_run.h"

namespace dfl {
namespace {

using test::TemporaryFolder;

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

// Two by one cells with six nodes: the two nodes between the cells have both, the others one.
void two_cells(RunState& run, const TemporaryFolder& folder, SedimentsFormat format) {
  std::vector<test::TestNode> nodes;
  std::vector<test::TestElement> elements;
  test::rectangle_mesh(2, 1, 10.0, 2.0f, nodes, elements);
  test::set_mesh(run, nodes, elements);
  test::quiet(run, folder.path("run"), true);
  GridState& grid = run.grid;
  grid.NumI = grid.NUMcells = 2;
  grid.NumJ = 1;
  grid.CELLS.allocate(2);
  grid.CELLnodes.allocate(2, 1, 4);
  for (int cell : {1, 2}) {
    grid.CELLS(cell).X = 10.0 * cell - 5.0;
    grid.CELLS(cell).Y = 5.0;
    grid.CELLS(cell).DX = grid.CELLS(cell).DY = 10.0;
    const int corners[] = {cell, cell + 1, cell + 3, cell + 4};
    for (int k = 1; k <= 4; ++k) grid.CELLnodes(cell, k) = corners[k - 1];
  }
  run.settings.method.sediments = format;
  run.settings.hyfs_d35_path = "Datasets/D35";
  run.settings.hyfs_d50_path = "Datasets/D50";
  run.settings.hyfs_d90_path = "Datasets/D90";
  run.settings.sediment_file = folder.path("bed.sed");
}

// Cell 1 holds 0.1, 0.2, 0.3 mm, cell 2 0.3, 0.4, `d90` mm.
void expect_two_cells(const RunState& run, float d90) {
  const SedimentState& bed = run.sediment;
  for (int n : {1, 4}) EXPECT_FLOAT_EQ(bed.D50(n), 0.0002f) << n;
  // Between the cells the mean counts, which is a hard bottom too where cell 2 is one.
  const float mean = (0.3f + d90) / 2.0f;
  for (int n : {2, 5}) {
    EXPECT_FLOAT_EQ(bed.D35(n), mean > 0.0f ? 0.0002f : mean / -3000.0f) << n;
  }
  for (int n : {3, 6}) {
    const bool mobile = d90 > 0.0f;
    EXPECT_EQ(is_true(bed.BEDmobile(n)), mobile);
    EXPECT_FLOAT_EQ(bed.D35(n), mobile ? 0.0003f : d90 / -3000.0f) << n;
    EXPECT_FLOAT_EQ(bed.D90(n), mobile ? d90 / 1000.0f : d90 / -3000.0f) << n;
  }
}

TEST(NativeSediments, CellsOfAGridAreMappedToTheNodes) {
  TemporaryFolder folder;
  RunState run;
  two_cells(run, folder, SedimentsFormat::n2d);
  folder.write("bed.sed", "title\n7 1 2 0.3 0.4 0.5\n9 1 1 0.1 0.2 0.3\n");
  READ_NATIVE_SEDIMENTS(run);
  expect_two_cells(run, 0.5f);
  folder.write("bed.sed", "title\n1 1 1 0.1 0.2 0.3\n2 1 2 0.3 0.4 -0.6\n");
  READ_NATIVE_SEDIMENTS(run);
  expect_two_cells(run, -0.6f);
}

// A dataset file of the sizes, as properties or as datasets.
void write_sizes(const std::string& path, bool properties, int nodes, std::size_t cells) {
  HyfsFileInfo info;
  info.start_date = "2000-01-01 00:00:00";
  HyfsHandle file = 0;
  ASSERT_GE(hfpinitialize_f(), 0);
  ASSERT_GE(hfcreatefile_f(path, true, info, file), 0);
  const std::pair<const char*, std::vector<float>> sets[] = {{"Datasets/D35", {0.1f, 0.3f, 1.0f}},
                                                             {"Datasets/D50", {0.2f, 0.4f, 1.0f}},
                                                             {"Datasets/D90", {0.3f, 0.5f, 1.0f}}};
  if (nodes >= 0) {
    ASSERT_GE(hfwritepropertyint_f(file, "Nodes", {nodes}), 0);
  }
  for (const auto& [name, all] : sets) {
    const std::vector<float> values(all.begin(), all.begin() + static_cast<int>(cells));
    if (properties) {
      ASSERT_GE(hfwritepropertyfloat_f(file, name, values), 0);
    } else {
      HyfsHandle set = 0;
      ASSERT_GE(hfcreatescalardataset_f(file, name, {}, set), 0);
      ASSERT_GE(hfwritescalartimestep_f(set, 0.0, values.data(), static_cast<int>(cells)), 0);
    }
  }
  ASSERT_GE(hfclosefile_f(file), 0);
}

TEST(NativeSediments, DatasetsAndPropertiesOfAGridAreMappedToTheNodes) {
  for (const bool properties : {true, false}) {
    for (const bool quadtree : {false, true}) {
      TemporaryFolder folder;
      RunState run;
      two_cells(run, folder, SedimentsFormat::hyfs_n2d);
      run.settings.sediment_hyfs_layout = properties ? "property" : "dataset";
      run.settings.rvs_mesh = quadtree;
      write_sizes(run.settings.sediment_file, properties, 2, 2);
      READ_NATIVE_SEDIMENTS(run);
      expect_two_cells(run, 0.5f);
    }
  }
}

TEST(NativeSedimentsDeathTest, BadGridFilesStop) {
  const std::pair<const char*, const char*> texts[] = {
      {"", "expected a line"},
      {"t\n1 1 1 0.1 0.2 0.3\n", "ERROR: Native sediments file error"},
      {"t\n1 1 1 0.1 0.2 0.3\n2 1 2 0.1 x 0.3\n", "ERROR: Native sediments file error"},
      {"t\n1 1 1 0.1 0.2 0.3\n2 2 1 0.1 0.2 0.3\n", "bed.sed:3: row 2, column 1 is no cell"},
      {"t\n1 1 3 0.1 0.2 0.3\n2 1 1 0.1 0.2 0.3\n", "bed.sed:2: row 1, column 3 is no cell"},
      {"t\n1 1 0 0.1 0.2 0.3\n2 1 1 0.1 0.2 0.3\n", "bed.sed:2: row 1, column 0 is no cell"},
      {"t\n1 2000000000 2 1 1 1\n", "is no cell of the grid"},
      {"t\n1 1 1 0.1 0.2 0.3\n2 1 1 0.1 0.2 0.3\n", "bed.sed:3: row 1, column 1 is given twice"},
      {"t\n1 1 1 0.1 0.2 0\n2 1 2 0.1 0.2 0.3\n", "Zero grain size for D90 @ N=     1"},
  };
  for (const auto& [text, message] : texts) {
    TemporaryFolder folder;
    RunState run;
    two_cells(run, folder, SedimentsFormat::n2d);
    folder.write("bed.sed", text);
    EXPECT_EXIT(READ_NATIVE_SEDIMENTS(run), testing::ExitedWithCode(0), message) << text;
  }
  struct Case {
    bool written_as_properties, read_as_properties;
    int nodes;
    std::size_t cells;
    const char* message;
  };
  const Case cases[] = {
      {true, true, -1, 2, "HF_READ_PROPERTY_INT\\(NUMnode\\) error"},
      {true, true, 3, 2, "Number of nodes in sediment file does not match grid"},
      {true, true, 2, 1, "HF_READ_PROPERTY_FLOAT\\(D35\\) error"},
      {true, true, 2, 3, "HF_READ_PROPERTY_FLOAT\\(D35\\) error"},
      {false, false, 2, 1, "HF_READ_SCALAR_VALUES_TIMESTEP\\(sediments-d35\\) error"},
      {false, false, 2, 3, "HF_READ_SCALAR_VALUES_TIMESTEP\\(sediments-d35\\) error"},
  };
  for (const Case& c : cases) {
    TemporaryFolder folder;
    RunState run;
    two_cells(run, folder, SedimentsFormat::hyfs_n2d);
    run.settings.sediment_hyfs_layout = c.read_as_properties ? "property" : "dataset";
    write_sizes(run.settings.sediment_file, c.written_as_properties, c.nodes, c.cells);
    EXPECT_EXIT(READ_NATIVE_SEDIMENTS(run), testing::ExitedWithCode(0), c.message);
  }
  // The third of the paths is wrong.
  TemporaryFolder folder;
  RunState run;
  two_cells(run, folder, SedimentsFormat::hyfs_n2d);
  run.settings.sediment_hyfs_layout = "dataset";
  run.settings.hyfs_d90_path = "Datasets/Other";
  write_sizes(run.settings.sediment_file, false, 2, 2);
  EXPECT_EXIT(READ_NATIVE_SEDIMENTS(run), testing::ExitedWithCode(0),
              "HF_OPEN_GROUP\\(sediments-d90\\) error");
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
      // Without a grid no cell is read and the sizes stay 0.
      {SedimentsFormat::n2d, "t\n", "\\*\\*\\* Zero grain size for D35 @ N=     1"},
      {SedimentsFormat::hyfs_n2d, "t\n", "HF_OPEN_FILE\\(sediments\\) error"},
      {SedimentsFormat::hyfs, "t\n", "not available in this version"},
      {SedimentsFormat::unknown, "t\n", "Sediments file type not available"},
  };
  for (const Case& c : cases) {
    TemporaryFolder folder;
    RunState run;
    sediment_run(run, folder, c.format, c.text);
    EXPECT_EXIT(READ_NATIVE_SEDIMENTS(run), testing::ExitedWithCode(0), c.message);
  }
}

}  // namespace
}  // namespace dfl
