#include "mesh/adcirc_mesh.h"

#include <gtest/gtest.h>

#include "common/test_run.h"

namespace dfl {
namespace {

// A channel of two quarters with a weir between nodes 2-5 and 3-6; lines in any order, CR LF,
// commas, further columns, negative depths.
const char* const weir_mesh =
    "weir mesh\r\n"
    "4, 8   NE, NP\r\n"
    "2 1.0 0.0 -2.5 more\r\n"
    "1 0.0,0.0 1.0D+01\r\n"
    "3 1.1 0 3\r\n"
    "4 2 0 4\r\n"
    "5 1 1 5\r\n"
    "6 1.1 1 6\r\n"
    "7 2 1 7\r\n"
    "8 0 1 8\r\n"
    "4 3 3 7 6\r\n"
    "2 3 1 5 8\r\n"
    "1 3 1 2 5\r\n"
    "3 3 3 4 7 extra\r\n"
    "1 = number of open boundaries\r\n"
    "2 = total\r\n"
    "2 0 = nodes of 1\r\n"
    "1\r\n"
    "8 60.1\r\n"
    "3 = number of land boundaries\r\n"
    "9 = total\r\n"
    "3 24 = a weir\r\n"
    "2 3 1.5 1.0 1.0\r\n"
    "5,6 1.5 1.0 1.0\r\n"
    "5 6 1.5 1.0 1.0\r\n"
    "2 0\r\n"
    "1 77\r\n"
    "2 88\r\n"
    "1\r\n"
    "8";

void read_text_mesh(RunState& run, const test::TemporaryFolder& folder, const std::string& text,
                    bool to_stderr = false) {
  test::quiet(run, folder.path("run"), to_stderr);
  run.settings.mesh_file = folder.write("mesh.14", text);
  READ_ADCIRC_MESH(run);
}

TEST(AdcircMesh, ReadsNodesElementsAndBoundaries) {
  const test::TemporaryFolder folder;
  RunState run;
  run.settings.adjust_currents = true;
  run.messages.echo_file = std::fopen(folder.path("echo").c_str(), "w");
  read_text_mesh(run, folder, weir_mesh);
  std::fclose(run.messages.echo_file);
  EXPECT_EQ(test::read_text(folder.path("echo")),
            "Input Mesh\n  Elements:        4\n  Nodes:           8\n");
  const MeshState& mesh = run.mesh;
  EXPECT_EQ(mesh.Xnode(3), 1.1);
  EXPECT_EQ(mesh.DEPTHnode(1), 10.0f);
  EXPECT_EQ(mesh.DEPTHnode(2), -2.5f);
  EXPECT_EQ(run.sediment.DEPTHstart(2), -2.5f);
  EXPECT_EQ(run.sediment.BEDlevel(2), -2.5f);
  EXPECT_EQ(mesh.ELnode3(2), 8);
  ASSERT_EQ(mesh.NUMopen, 1);
  EXPECT_EQ(mesh.OPENbnd(1).NODES(2), 8);
  EXPECT_EQ(mesh.OPENbnd(1).SLOPE(1), largest_float);
  // Three land boundaries and, behind them, the back of the weir.
  ASSERT_EQ(mesh.NUMland, 4);
  const std::vector<std::vector<int>> land = {{2, 5, 5}, {1, 2}, {8}, {3, 6, 6}};
  for (int b = 1; b <= 4; ++b) {
    const Boundary& boundary = mesh.LANDbnd(b);
    ASSERT_EQ(boundary.NUMpts, static_cast<int>(land[static_cast<std::size_t>(b) - 1].size()));
    for (int k = 1; k <= boundary.NUMpts; ++k) {
      EXPECT_EQ(boundary.NODES(k),
                land[static_cast<std::size_t>(b) - 1][static_cast<std::size_t>(k) - 1]);
    }
  }
  EXPECT_EQ(mesh.LANDbnd(4).SLOPE(1), largest_float);
  EXPECT_EQ(mesh.LANDbnd(4).SLOPE(3), 0.0f);
  // Walls on both sides of the weir.
  EXPECT_EQ(mesh.LANDrefs(1).BND[0], 1);
  EXPECT_EQ(mesh.LANDrefs(4).BND[0], 4);
  EXPECT_EQ(run.waves.WAVEperiod(8), 1.0f);
  EXPECT_EQ(run.flow.Unode(8, 0), 0.0f);
  EXPECT_EQ(run.flow.Hnode(8), 0.0f);
}

TEST(AdcircMesh, NoBoundariesStillHaveTheirTotals) {
  const test::TemporaryFolder folder;
  RunState run;
  read_text_mesh(run, folder, "t\n1 3\n1 0 0 1\n2 1 0 1\n3 0 1 1\n1 3 1 2 3\n0\n0\n0\n0\n");
  EXPECT_EQ(run.mesh.NUMopen, 0);
  EXPECT_EQ(run.mesh.NUMland, 0);
  EXPECT_EQ(run.mesh.LANDelem(1), logical_false);
}

void read_and_exit(const std::string& text) {
  const test::TemporaryFolder folder;
  RunState run;
  read_text_mesh(run, folder, text, true);
  std::exit(7);
}

TEST(AdcircMeshDeathTest, BadFilesStopWithLineAndFault) {
  const std::string nodes = "1 0 0 1\n2 1 0 1\n3 0 1 1\n";
  const std::string head = "t\n1 3\n" + nodes;
  const std::string body = head + "1 3 1 2 3\n";
  struct Case {
    std::string text;
    const char* message;
  };
  const Case cases[] = {
      {"", "mesh.14:1: expected a line, found the end of the file"},
      {"t\n", "mesh.14:1: expected an integer, found the end of the file"},
      {"t\n1\n", "expected an integer, found the end of the file"},
      {"t\n-1 3\n", "mesh.14:2: expected a number of elements of 1 or more, found -1"},
      {"t\n1 0\n", "mesh.14:2: expected a number of nodes of 1 or more, found 0"},
      {"t\n1 2000000000\n", "mesh.14:2: 2000000000 nodes cannot stand in a file of this size"},
      {"t\n2000000000 3\n", "mesh.14:2: 2000000000 elements cannot stand in a file of this"},
      {"t\n1 3\n1 0 x1 1\n", "mesh.14:3: expected a real number, found \"x1\""},
      {"t\n1 3\n1 0 nan 1\n", "mesh.14:3: expected a real number, found \"nan\""},
      {"t\n1 3\n1 0 1e999 1\n", "mesh.14:3: expected a real number within its range"},
      {"t\n1 3\n1 0 0 1\n4 0 0 1\n", "mesh.14:4: expected node from 1 to 3, found 4"},
      {"t\n1 3\n1 0 0 1\n1 0 0 1\n", "mesh.14:4: second line of node 1"},
      {"t\n1 3\n1 0 0 1\n2 1 0 1\n", "mesh.14:4: expected an integer, found the end"},
      {head + "2 3 1 2 3\n", "mesh.14:6: expected element from 1 to 1, found 2"},
      {head + "1 3 1 2 4\n", "mesh.14:6: expected node from 1 to 3, found 4"},
      {head + "1 3 0 2 3\n", "mesh.14:6: expected node from 1 to 3, found 0"},
      {"t\n2 3\n" + nodes + "1 3 1 2 3\n1 3 1 2 3\n", "mesh.14:7: second line of element 1"},
      {body, "mesh.14:6: expected an integer, found the end of the file"},
      {body + "-1\n", "mesh.14:7: expected a number of open boundaries of 0 or more, found -1"},
      {body + "1\n2\n2000000000\n1\n2\n",
       "mesh.14:9: 2000000000 boundary nodes cannot stand in a file of this size"},
      {body + "1\n2\n2\n1\n4\n", "mesh.14:11: expected boundary node from 1 to 3, found 4"},
      {body + "0\n0\n1\n2\n2 24\n1\n", "mesh.14:12: expected a second node on the line of a weir"},
      {body + "0\n0\n1\n2\n2 4\n1 9\n", "mesh.14:12: expected boundary node from 1 to 3, found 9"},
      {"t\n1 3\n" + nodes + "1 3 1 3 2\n0\n0\n0\n0\n", "ELEMENT not counter-clockwise     1"},
  };
  for (const Case& c : cases) {
    EXPECT_EXIT(read_and_exit(c.text), testing::ExitedWithCode(0), c.message) << c.text;
  }
}

TEST(AdcircMeshDeathTest, FolderOrMissingFileStops) {
  const auto read_path = [](const std::string& path) {
    RunState run;
    test::quiet(run, "/dev/null/unused", true);
    run.settings.mesh_file = path;
    READ_ADCIRC_MESH(run);
    std::exit(7);
  };
  const test::TemporaryFolder folder;
  EXPECT_EXIT(read_path(folder.path("")), testing::ExitedWithCode(0), "not a regular file");
  EXPECT_EXIT(read_path(folder.path("no.14")), testing::ExitedWithCode(0), "Cannot open file");
}

}  // namespace
}  // namespace dfl
