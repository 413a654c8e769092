#include "sediment/native_sediments.h"

#include <gtest/gtest.h>

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

// A tetrahedron's faces in order: (1, 2, 3), (1, 2, 4), (2, 3, 4), (1, 3, 4). Without its corner m
// the face opposite to it is served, all others are not.
TEST(NativeSedimentsDeathTest, EveryNodeOfAFaceOnTheBedNeedsARecord) {
  const int corners[] = {2, 4, 3, 1};        // n1 to n4 of the second element
  const int opposite_face[] = {3, 4, 2, 1};  // of each corner
  for (int m = 0; m < 4; ++m) {
    std::string text = "title\n3\n";
    for (int k = 0; k < 4; ++k) {
      if (k != m) text += std::to_string(corners[k]) + " 0.1 0.2 0.4\n";
    }
    for (int face = 0; face <= 4; ++face) {  // 0: none on the bed
      SCOPED_TRACE("without corner " + std::to_string(m + 1) + ", face " + std::to_string(face));
      TemporaryFolder folder;
      RunState run;
      sediment_run(run, folder, SedimentsFormat::kfe, text);
      run.grid.ELnode4.allocate(2);
      run.grid.FACEbc.allocate(2, 1, 4);
      run.mesh.ELnode1(2) = corners[0];
      run.mesh.ELnode2(2) = corners[1];
      run.mesh.ELnode3(2) = corners[2];
      run.grid.ELnode4(2) = corners[3];
      if (face > 0) run.grid.FACEbc(2, face) = -7;
      if (face == 0 || face == opposite_face[m]) {
        READ_NATIVE_SEDIMENTS(run);
        EXPECT_FLOAT_EQ(run.sediment.D50(corners[m]), 0.0002f);
      } else {
        const std::string message =
            "ERROR: Need sediment for node , element     " + std::to_string(corners[m]) + "     2";
        EXPECT_EXIT(READ_NATIVE_SEDIMENTS(run), testing::ExitedWithCode(0), message);
      }
    }
  }
}

// A face of a fourth node that the element does not have.
TEST(NativeSedimentsDeathTest, FaceOnTheBedWithoutItsFourthNodeStops) {
  TemporaryFolder folder;
  RunState run;
  sediment_run(run, folder, SedimentsFormat::kfe, "t\n4\n1 1 1 1\n2 1 1 1\n3 1 1 1\n4 1 1 1\n");
  run.grid.ELnode4.allocate(2);
  run.grid.FACEbc.allocate(2, 1, 4);
  run.grid.FACEbc(1, 1) = 1;
  READ_NATIVE_SEDIMENTS(run);
  run.grid.FACEbc(1, 4) = 1;
  EXPECT_EXIT(READ_NATIVE_SEDIMENTS(run), testing::ExitedWithCode(0),
              "ERROR: Need sediment for node , element     0     1");
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

// Three sizes, each a number a node or cell.
struct Sizes {
  Values d35, d50, d90;
};
const Sizes two_sizes = {{0.1f, 0.3f}, {0.2f, 0.4f}, {0.3f, 0.5f}};

// A dataset file of the sizes; no count of nodes if it is negative.
void write_sizes(const RunState& run, bool property, const Sizes& sizes, int nodes) {
  DatasetFile file(run.settings.sediment_file);
  file.info.values = static_cast<std::int64_t>(sizes.d35.size());
  if (property && nodes >= 0) {
    EXPECT_EQ(hfwritepropertyint_f(file.file, "Nodes", {nodes}), 0);
  }
  for (const auto& [name, values] :
       {std::pair{"D35", sizes.d35}, {"D50", sizes.d50}, {"D90", sizes.d90}}) {
    if (property) {
      EXPECT_EQ(hfwritepropertyfloat_f(file.file, name, values), 0);
    } else {  // only the first of two steps counts
      file.scalar(name, {0, 1}, {values, Values(values.size(), 9.0f)});
    }
  }
}

void set_layout(RunState& run, bool property) {
  run.settings.sediment_hyfs_layout = property ? "property" : "dataset";
  run.settings.hyfs_d35_path = "D35";
  run.settings.hyfs_d50_path = "D50";
  run.settings.hyfs_d90_path = "D90";
}

TEST(NativeSediments, DatasetsAndPropertiesOfAGridAreMappedToTheNodes) {
  for (const bool properties : {true, false}) {
    for (const bool quadtree : {false, true}) {
      TemporaryFolder folder;
      RunState run;
      two_cells(run, folder, SedimentsFormat::hyfs_n2d);
      set_layout(run, properties);
      run.settings.rvs_mesh = quadtree;
      write_sizes(run, properties, two_sizes, 2);
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
  constexpr float infinite = std::numeric_limits<float>::infinity();
  // The rest is common with nodes.
  const struct {
    bool property;
    int nodes;
    Sizes sizes;
    const char* message;
  } cases[] = {
      {true, 3, two_sizes, "Number of nodes in sediment file does not match grid"},
      {false, 2, {{1}, {1}, {1}}, "HF_READ_SCALAR_VALUES_TIMESTEP\\(sediments-d35\\) error"},
      {true, 2, {{1, 1}, {1, infinite}, {1, 1}}, "\"D50\" has no grain size at cell 2"},
  };
  for (const auto& c : cases) {
    TemporaryFolder folder;
    RunState run;
    two_cells(run, folder, SedimentsFormat::hyfs_n2d);
    set_layout(run, c.property);
    write_sizes(run, c.property, c.sizes, c.nodes);
    EXPECT_EXIT(READ_NATIVE_SEDIMENTS(run), testing::ExitedWithCode(0), c.message);
  }
}

TEST(NativeSedimentsDeathTest, BadFilesStopWithPlaceAndReason) {
  const struct {
    SedimentsFormat format;
    const char* text;
    const char* message;
  } cases[] = {
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
      {SedimentsFormat::hyfs, "t\n",
       "ERROR: HF_OPEN_FILE\\(sediments\\) error\n       ERROR_FILE_NOT_HDF5"},
      {SedimentsFormat::unknown, "t\n", "Sediments file type not available"},
  };
  for (const auto& c : cases) {
    TemporaryFolder folder;
    RunState run;
    sediment_run(run, folder, c.format, c.text);
    EXPECT_EXIT(READ_NATIVE_SEDIMENTS(run), testing::ExitedWithCode(0), c.message);
  }
}

TEST(NativeSediments, NodeDatasetsAndPropertiesGiveTheSame) {
  for (const bool property : {true, false}) {
    TemporaryFolder folder;
    RunState run;
    sediment_run(run, folder, SedimentsFormat::hyfs, "");
    set_layout(run, property);
    write_sizes(run, property,
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

TEST(NativeSedimentsDeathTest, BadDatasetsStopWithTheirMessage) {
  constexpr float none = std::numeric_limits<float>::quiet_NaN();
  const Values good = {1, 1, 1, 1};
  const struct {
    const char* what;
    bool property;
    int nodes;
    Sizes sizes;
    std::string Settings::*wrong_path;
    const char* message;
  } cases[] = {
      {"no count",
       true,
       -1,
       {good, good, good},
       nullptr,
       "ERROR: HF_READ_PROPERTY_INT\\(NUMnode\\) error\n       ERROR_DATASET_DOES_NOT_EXIST"},
      {"other count",
       true,
       5,
       {good, good, good},
       nullptr,
       "ERROR: Number of nodes in sediment file does not match grid"},
      {"short list",
       true,
       4,
       {good, good, {1, 1, 1}},
       nullptr,
       "ERROR: HF_READ_PROPERTY_FLOAT\\(D35\\) error\n       ERROR_DATASET_SIZE_INCORRECT"},
      {"no D90",
       true,
       4,
       {good, good, good},
       &Settings::hyfs_d90_path,
       "ERROR: HF_READ_PROPERTY_FLOAT\\(D35\\) error"},
      {"no D50 group",
       false,
       4,
       {good, good, good},
       &Settings::hyfs_d50_path,
       "D99(.|\n)*ERROR: HF_OPEN_GROUP\\(sediments-d50\\) error"},
      {"other size",
       false,
       4,
       {{1, 1}, {1, 1}, {1, 1}},
       nullptr,
       "ERROR: HF_READ_SCALAR_VALUES_TIMESTEP\\(sediments-d35\\) error\n"
       "       ERROR_DATASET_SIZE_INCORRECT"},
      {"no number",
       false,
       4,
       {good, {1, 1, none, 1}, good},
       nullptr,
       "bed.sed: \"D50\" has no grain size at node 3"},
      {"fill value",
       true,
       4,
       {good, good, {1, -9999.9f, 1, 1}},
       nullptr,
       "bed.sed: \"D90\" has no grain size at node 2"},
      {"zero",
       true,
       4,
       {good, good, {1, 1, 1, 0}},
       nullptr,
       "\\*\\*\\* Zero grain size for D90 @ N=     4"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    TemporaryFolder folder;
    RunState run;
    sediment_run(run, folder, SedimentsFormat::hyfs, "");
    set_layout(run, c.property);
    write_sizes(run, c.property, c.sizes, c.nodes);
    if (c.wrong_path != nullptr) run.settings.*c.wrong_path = "D99";
    EXPECT_EXIT(READ_NATIVE_SEDIMENTS(run), testing::ExitedWithCode(0), c.message);
  }
}

}  // namespace
}  // namespace dfl
