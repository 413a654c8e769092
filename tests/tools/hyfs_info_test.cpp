#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>

#include "dataset/hyfs.h"
#include "flow/dataset_files.h"
#include "tools/tool_run.h"

namespace dfl {
namespace {

using test::expect_parts;
using test::has;
using test::tool;
using test::ToolRun;

TEST(HyfsInfo, ShowsGridDatasetsTimesAndProperties) {
  const test::TemporaryFolder folder;
  ASSERT_EQ(tool(test::small_grid(folder)).status, 0);
  const ToolRun run = tool({"info", folder.path("grid.h5")});
  EXPECT_EQ(run.status, 0) << run.err;
  expect_parts(
      run.out,
      {": HYFS 1.0, data\n", "Groups\n  Grid/Datasets\n", "Grids\n  Grid\n    cells: 3 x 2 x 1\n",
       "    origin: 500000 4100000 0\n    bearing: 20 degrees\n    along I: 50 to 150\n"
       "    along J: 40 to 80\n",
       "  Grid/Datasets/Depth\n    scalar, 6 values along cells\n    times: 1 time, 0 Seconds, "
       "from 2020-03-01 "
       "00:00:00\n    units: m\n    at: cell centres\n",
       "  flow\n    vector of 2 components, 6 values along cells\n    times: 2 times, 0 to 600, "
       "step 600 "
       "Seconds, "
       "from 2020-03-01 00:00:00\n    units: m/s\n    at: I-faces (x), J-faces (y)\n",
       "  Grid/PROPERTIES/CellTypes: 6 numbers\n", "  Grid/coords_j: 2 numbers = 40 80\n"});
  // The components are part of their vector.
  EXPECT_FALSE(has(run.out, "flow_x"));
}

// A model's result: the vector in two variables, a packed one, a group, text.
TEST(HyfsInfo, ShowsANetcdfFileOfAnotherProgram) {
  const test::TemporaryFolder folder;
  const std::string cdl =
      "netcdf other { dimensions: time = UNLIMITED; node = 3; len = 4; variables:\n"
      "double time(time); time:units = \"hours since 2000-01-01 06:00:00\";\n"
      "double zeta(time, node); zeta:units = \"m\"; float depth(node); char name(len);\n"
      "data: time = 0, 1, 3; zeta = 1, 2, 3, 4, 5, 6, 7, 8, 9; depth = 1, 2, 3;\n"
      "name = \"abcd\";\n"
      "group: more { variables: int count; data: count = 7; } }\n";
  if (!test::make_netcdf(folder, "other.nc", cdl)) GTEST_SKIP() << "no ncgen";
  const ToolRun run = tool({"info", folder.path("other.nc")});
  EXPECT_EQ(run.status, 0) << run.err;
  expect_parts(run.out, {"other.nc: NetCDF-4\n",
                         "  zeta\n    scalar, 3 values along node\n    times: 3 times, 0 to 3, "
                         "uneven steps Hours, from "
                         "2000-01-01 06:00:00\n    units: m\n    at: nodes\n",
                         "  depth: 3 numbers = 1 2 3\n", "  more/count: 1 number = 7\n",
                         "Not read\n  name\n"});
}

TEST(HyfsInfo, FilesThatCannotBeReadGiveAMessageAndStatusOne) {
  const test::TemporaryFolder folder;
  ASSERT_EQ(tool(test::small_grid(folder)).status, 0);
  const std::string whole = test::read_text(folder.path("grid.h5"));
  folder.write("text.h5", "no dataset file at all\n");
  folder.write("empty.h5", "");
  folder.write("cut.h5", whole.substr(0, whole.size() / 2));
  struct Bad {
    std::string path, message;
  };
  const Bad files[] = {
      {folder.path("none.h5"), "none.h5: no such file"},
      {folder.path(""), ": a folder"},
      {folder.path("text.h5"), "text.h5: not an HDF5 file"},
      {folder.path("empty.h5"), "empty.h5: not an HDF5 file"},
      {folder.path("cut.h5"), "cut.h5: cannot be read: cut short or damaged?"},
  };
  for (const Bad& bad : files) {
    for (const char* word : {"info", "check"}) {
      std::vector<std::string> words = {word, bad.path};
      if (words[0] == "check") words.push_back(folder.path("run.pcf"));
      const ToolRun run = tool(words);
      EXPECT_EQ(run.status, 1) << bad.message;
      expect_parts(run.err, {bad.message});
    }
  }
}

// The status of the program itself; it has to tell a fault.
int status_of_info(const test::TemporaryFolder& folder, const std::string& path) {
  const std::string command = "timeout 20 '" + std::string(DFL_BINARY_DIR) + "/dfl-hyfs' info '" +
                              path + "' >/dev/null 2>'" + folder.path("err") + "'";
  const int status = std::system(command.c_str());
  const bool told = !test::read_text(folder.path("err")).empty();
  return WIFEXITED(status) && told == (WEXITSTATUS(status) == 1) ? WEXITSTATUS(status) : -1;
}

// Bytes overwritten anywhere: an answer, whatever it is.
TEST(HyfsInfo, OverwrittenBytesGetAnAnswer) {
  const test::TemporaryFolder folder;
  ASSERT_EQ(tool(test::small_grid(folder)).status, 0);
  const std::string whole = test::read_text(folder.path("grid.h5"));
  int faults = 0;
  constexpr std::size_t width = 16, rounds = 60;
  for (std::size_t k = 0; k < rounds; ++k) {
    const std::size_t place = (whole.size() - width) / rounds * k;
    std::string bytes = whole;
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(place), width, '\xff');
    const int status = status_of_info(folder, folder.write("damaged.h5", bytes));
    EXPECT_TRUE(status == 0 || status == 1) << "at byte " << place;
    if (status == 1) ++faults;
  }
  EXPECT_GT(faults, 0);
  // The size of a list of references, which the HDF5 library believes, at the risk of its life.
  std::string bytes = whole;
  const std::size_t list = bytes.find("GCOL");
  ASSERT_NE(list, std::string::npos);
  bytes[list + 16 + 10] = '\x7f';
  EXPECT_EQ(status_of_info(folder, folder.write("damaged.h5", bytes)), 1);
}

TEST(HyfsTool, WordsThatAreNotUnderstoodShowTheUsage) {
  const std::vector<std::vector<std::string>> lines = {
      {}, {"list"}, {"info"}, {"info", "a", "b"}, {"check", "a"}};
  for (const std::vector<std::string>& words : lines) {
    const ToolRun run = tool(words);
    EXPECT_EQ(run.status, 1);
    expect_parts(run.err, {"usage: dfl-hyfs info FILE"});
  }
  const ToolRun help = tool({"--help"});
  EXPECT_EQ(help.status, 0);
  expect_parts(help.out, {"usage: dfl-hyfs info FILE", "--celltypes"});
  expect_parts(tool({"--version"}).out, {"DFL Version 2.3"});
}

}  // namespace
}  // namespace dfl
