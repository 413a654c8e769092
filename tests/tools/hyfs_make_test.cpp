#include "dataset/hyfs.h"
#include "tools/tool_run.h"

namespace dfl {
namespace {

using test::expect_parts;
using test::tool;
using test::ToolRun;

struct OpenFile {
  explicit OpenFile(const std::string& path) { EXPECT_EQ(hfopenfile_f(path, true, file), 0); }
  ~OpenFile() { hfclosefile_f(file); }
  OpenFile(const OpenFile&) = delete;
  HyfsHandle file = 0;
};

TEST(HyfsMake, NumbersOfTheTextsStandInTheFile) {
  const test::TemporaryFolder folder;
  const ToolRun run = tool(test::small_grid(folder));
  ASSERT_EQ(run.status, 0) << run.err;
  expect_parts(run.out, {"Writing 1 of 4: Grid, 3 x 2 cells", "Writing 4 of 4: flow, 2 x 6 values",
                         "grid.h5: made"});
  const OpenFile open(folder.path("grid.h5"));
  HyfsHandle grid = 0, depth = 0, flow = 0;
  ASSERT_EQ(hfopengroup_f(open.file, "Grid", grid), 0);
  double x = 0.0, y = 0.0, z = 0.0, bearing = 0.0;
  EXPECT_EQ(hfgetorigin_f(grid, x, y, z), 0);
  EXPECT_EQ(hfgetbearing_f(grid, bearing), 0);
  EXPECT_EQ(x, 500000.0);
  EXPECT_EQ(y, 4100000.0);
  EXPECT_EQ(bearing, 20.0);
  std::vector<double> far_sides;
  EXPECT_EQ(hfgetgridcoordsi_f(grid, far_sides), 0);
  EXPECT_EQ(far_sides, (std::vector<double>{50.0, 100.0, 150.0}));
  std::vector<int> types;
  EXPECT_EQ(hfreadpropertyint_f(grid, "CellTypes", types), 0);
  EXPECT_EQ(types, std::vector<int>(6, 1));
  std::vector<float> values;
  ASSERT_EQ(hfopengroup_f(open.file, "Grid/Datasets/Depth", depth), 0);
  EXPECT_EQ(hfreadscalarvaluestimestep_f(depth, 1, values), 0);
  EXPECT_EQ(values, (std::vector<float>{5, 5, 5, 6, 6, 6}));
  ASSERT_EQ(hfopengroup_f(open.file, "flow", flow), 0);
  EXPECT_EQ(hfreadvectorvaluestimestep_f(flow, 2, values), 0);
  EXPECT_EQ(values,
            (std::vector<float>{0.25f, 7, 0.25f, 8, 0.25f, 9, 0.25f, 10, 0.25f, 11, 0.25f, 12}));
  int at_x = 0, at_y = 0;
  EXPECT_EQ(hfgetvector2ddatalocations_f(flow, at_x, at_y), 0);
  EXPECT_EQ(at_x, 3);
  EXPECT_EQ(at_y, 4);
  std::vector<double> times;
  EXPECT_EQ(hfgetdatasettimes_f(flow, times), 0);
  EXPECT_EQ(times, (std::vector<double>{0.0, 600.0}));
  double day = 0.0, expected_day = 0.0;
  EXPECT_EQ(hfreadreftime_f(flow, day), 0);
  hfcalendartojulian_f(1, 2020, 3, 1, 0, 0, 0.0, expected_day);
  EXPECT_EQ(day, expected_day);
}

TEST(HyfsMake, PropertiesPlanesAndNodesWithoutAGrid) {
  const test::TemporaryFolder folder;
  const std::string path = folder.path("bed.h5");
  const std::string sizes = folder.write("d50.txt", "0.2 0.25\n0.3");
  const std::string levels = folder.write("levels.txt", "8*1.5");
  const ToolRun run =
      tool({"make",     path,     "--property", "Nodes", "=3",  "--property", "Sizes/D50",
            sizes,      "--grid", "G",          "--i",   "2:1", "--j",        "2:1",
            "--planes", "2",      "--dataset",  "G/S",   "",    "node",       levels});
  ASSERT_EQ(run.status, 0) << run.err;
  const OpenFile open(path);
  std::vector<int> nodes;
  EXPECT_EQ(hfreadpropertyint_f(open.file, "Nodes", nodes), 0);
  EXPECT_EQ(nodes, std::vector<int>{3});
  std::vector<double> values;
  EXPECT_EQ(hfreadpropertydouble_f(open.file, "Sizes/D50", values), 0);
  EXPECT_EQ(values, (std::vector<double>{0.2, 0.25, 0.3}));
  HyfsHandle set = 0;
  int count = 0;
  ASSERT_EQ(hfopengroup_f(open.file, "G/S", set), 0);
  EXPECT_EQ(hfgetdatasetnumvals_f(set, count), 0);
  EXPECT_EQ(count, 8);
}

struct BadLine {
  std::vector<std::string> words;
  std::string message;
};

TEST(HyfsMake, FaultsOfTheCommandLineAreToldAndLeaveNoFile) {
  const test::TemporaryFolder folder;
  const std::string five = folder.write("five.txt", "1 2 3 4 5");
  const std::string back = folder.write("back.txt", "3 2");
  const std::vector<std::string> grid = {"--grid", "G", "--i", "2:1", "--j", "2:1"};
  const auto with_grid = [&](std::vector<std::string> words) {
    words.insert(words.begin(), grid.begin(), grid.end());
    return words;
  };
  const BadLine lines[] = {
      {{}, "nothing to write"},
      {{"--gird", "G"}, "unknown option \"--gird\""},
      {{"--grid"}, "--grid: expected 1 word behind it"},
      {{"--grid", "G", "--i", "2:1"}, "--grid: expected --i and --j"},
      {{"--i", "2:1"}, "--i: expected --grid with it"},
      {{"--grid", "G", "--i", "0:1", "--j", "2:1"},
       "--i: neither a text file nor N:STEP, a count and a width above 0: \"0:1\""},
      {{"--grid", "G", "--i", back, "--j", "2:1"},
       "--i: expected numbers that grow, found 2 behind"},
      {with_grid({"--bearing", "north"}), "--bearing: expected a number, found \"north\""},
      {with_grid({"--start", "2020-13-01 00:00:00"}), "--start: expected a date"},
      {with_grid({"--time-units", "days"}), "--time-units: expected Seconds or Hours"},
      {with_grid({"--start", "2020-01-01 00:00:60"}), "--start: expected a date"},
      {with_grid({"--grid", "H"}), "--grid: given twice"},
      {with_grid({"--dataset", "G//coords_i", "m", "centre", five}),
       "--dataset: the path \"G/coords_i\" is taken already"},
      {{"--vector", "v", "", "node", five, five, "--dataset", "v_y", "", "node", five},
       "the path \"v_y\" is taken already"},
      {{"--dataset", "/time", "s", "node", five}, "the file itself uses the name \"time\""},
      {{"--property", "/", "=1"}, "--property: expected a path, found \"/\""},
      {with_grid(
           {"--times", "10000:1", "--planes", "10000", "--dataset", "d", "m", "centre", "=1"}),
       "10000 steps of 40000 values are more than 268435456 numbers"},
      {with_grid({"--celltypes", "=1.5"}), "--celltypes: expected whole numbers, found 1.5"},
      {with_grid({"--planes", "0"}), "--planes: expected 1 to 10000"},
      {with_grid({"--dataset", "d", "m", "middle", five}), "expected a location of centre"},
      {with_grid({"--dataset", "d", "m", "faces", five}), "expected a location of centre"},
      {with_grid({"--dataset", "d", "m", "centre", "none.txt"}), "no file \"none.txt\""},
      {{"--dataset", "d", "m", "node", "=1"}, "=V needs a grid"},
      {{"--times", "2:1", "--dataset", "d", "m", "node", five},
       "5 numbers are not the same for each of 2 times"},
  };
  const std::string path = folder.path("new.h5");
  for (const BadLine& line : lines) {
    std::vector<std::string> words = {"make", path};
    words.insert(words.end(), line.words.begin(), line.words.end());
    const ToolRun run = tool(words);
    EXPECT_EQ(run.status, 1) << line.message;
    expect_parts(run.err, {line.message});
    EXPECT_FALSE(std::filesystem::exists(path)) << line.message;
    EXPECT_FALSE(std::filesystem::exists(path + ".part")) << line.message;
  }
}

struct BadText {
  std::string text, message;
};

TEST(HyfsMakeDeathTest, FaultsOfTextsAreToldWithFileAndLine) {
  const test::TemporaryFolder folder;
  const BadText texts[] = {
      {"1 2\n3", "numbers.txt:2: expected 4 numbers .1 step of 4 values., found 3"},
      {"1 2\n3 4\n5", "numbers.txt:3: expected 4 numbers .1 step of 4 values., found more"},
      {"1 2\nx 4\n", "ERROR: [^:]*numbers.txt:2: expected a real number, found \"x\""},
      {"1 2\n3 /\n", "numbers.txt:2: expected a real number, found an empty place"},
      {"1,,3 4\n", "numbers.txt:1: expected a real number, found an empty place"},
      {"", "expected 4 numbers .1 step of 4 values., found 0"},
      {"1 2 3 x", "numbers.txt:1: expected a real number, found \"x\""},
  };
  for (const BadText& bad : texts) {
    const std::string numbers = folder.write("numbers.txt", bad.text);
    const std::vector<std::string> words = {
        "make", folder.path("new.h5"), "--grid", "G", "--i",    "2:1",  "--j",
        "2:1",  "--dataset",           "d",      "m", "centre", numbers};
    EXPECT_EXIT(HYFS_TOOL(words, stdout, stderr), testing::ExitedWithCode(1), bad.message);
    EXPECT_FALSE(std::filesystem::exists(folder.path("new.h5"))) << bad.text;
  }
}

TEST(HyfsMake, AFileThatIsThereStaysUnlessItMayBeReplaced) {
  const test::TemporaryFolder folder;
  const std::string path = folder.write("kept.h5", "mine");
  std::vector<std::string> words = {"make", path, "--property", "N", "=1"};
  const ToolRun refused = tool(words);
  EXPECT_EQ(refused.status, 1);
  expect_parts(refused.err, {"is there already"});
  EXPECT_EQ(test::read_text(path), "mine");
  words.push_back("--overwrite");
  EXPECT_EQ(tool(words).status, 0);
  EXPECT_EQ(tool({"info", path}).status, 0);
  const ToolRun folder_named =
      tool({"make", folder.path(""), "--overwrite", "--property", "N", "=1"});
  expect_parts(folder_named.err, {": a folder"});
  const ToolRun nowhere = tool({"make", folder.path("no/such.h5"), "--property", "N", "=1"});
  EXPECT_EQ(nowhere.status, 1);
  expect_parts(nowhere.err, {"cannot be written: no folder"});
}

}  // namespace
}  // namespace dfl
