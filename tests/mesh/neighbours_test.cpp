#include "mesh/neighbours.h"

#include <gtest/gtest.h>

#include <cstring>

#include "mesh/boundaries.h"
#include "mesh/geometry.h"
#include "mesh/literal_sweeps.h"
#include "mesh/random_mesh.h"

namespace dfl {
namespace {

std::vector<int> list_of(const MeshState& mesh, int e) {
  std::vector<int> list;
  for (int k = 0; k < mesh.NEIGHcount(e); ++k) {
    list.push_back(mesh.NEIGHlist(mesh.NEIGHstart(e) + k));
  }
  return list;
}

void make_mesh(RunState& run, const test::MeshLists& lists) {
  test::quiet(run, "unused");
  run.messages.HOSTEDmode = true;
  test::set_mesh(run, lists.nodes, lists.elements);
  MESH_GEOMETRY(run);
}

void expect_literal_lists(RunState& run, const std::string& what, bool cell_corners = false) {
  MESH_NEIGHBOURS(run);
  const test::LiteralNeighbours expected = test::literal_neighbours(run.mesh, cell_corners);
  EXPECT_EQ(run.mesh.NUMneigh, expected.longest) << what;
  for (int e = 1; e <= run.mesh.NUMelem; ++e) {
    ASSERT_EQ(list_of(run.mesh, e), expected.lists[static_cast<std::size_t>(e) - 1])
        << what << " element " << e;
  }
}

TEST(Neighbours, ListsAreThoseOfTheSweepsOverPairs) {
  const std::pair<int, int> sizes[] = {{1, 1}, {1, 2}, {3, 2}, {7, 7}, {25, 20}};
  for (test::MeshKind kind : test::all_mesh_kinds) {
    for (const auto& [columns, rows] : sizes) {
      RunState run;
      make_mesh(run, test::random_mesh(kind, columns, rows, 3));
      expect_literal_lists(run, std::string(test::name_of(kind)) + " " + std::to_string(columns) +
                                    " by " + std::to_string(rows));
    }
  }
}

// A mesh of one element, and one whose nodes no other element has.
TEST(Neighbours, ElementAloneHasNone) {
  RunState run;
  make_mesh(run, {{{0, 0, 1}, {1, 0, 1}, {0, 1, 1}}, {{1, 2, 3}}});
  MESH_NEIGHBOURS(run);
  EXPECT_EQ(run.mesh.NEIGHcount(1), 0);
  EXPECT_EQ(run.mesh.NUMneigh, 0);
}

TEST(Neighbours, OneSharedVertexIsEnough) {
  RunState run;
  make_mesh(run,
            {{{0, 0, 1}, {1, 0, 1}, {0, 1, 1}, {-1, 0, 1}, {0, -1, 1}}, {{1, 2, 3}, {1, 4, 5}}});
  MESH_NEIGHBOURS(run);
  EXPECT_EQ(list_of(run.mesh, 1), std::vector<int>{2});
  EXPECT_EQ(list_of(run.mesh, 2), std::vector<int>{1});
}

// Far to the right by its left end and far to the left by its right end: many elements reach over
// it on both sides. Neither sweep comes to it.
TEST(Neighbours, ElementInNeitherSweepHasCountZero) {
  test::MeshLists lists;
  const auto add = [&](double x1, double x2) {
    const auto n = static_cast<int>(lists.nodes.size());
    lists.nodes.push_back({x1, 0, 1});
    lists.nodes.push_back({x2, 0, 1});
    lists.nodes.push_back({x1, 1, 1});
    lists.elements.push_back({n + 1, n + 2, n + 3});
  };
  for (int i = 0; i < 20; ++i) add(i, 100.0 + i);
  add(50.0, 51.0);
  lists.nodes.push_back({50.5, -1, 1});
  const auto n = static_cast<int>(lists.nodes.size());
  lists.elements.push_back({n - 3, n, n - 2});
  RunState run;
  make_mesh(run, lists);
  expect_literal_lists(run, "overlapping");
  EXPECT_EQ(run.mesh.NEIGHcount(21), 0);
  EXPECT_EQ(run.mesh.NEIGHcount(22), 0);
}

// Keys rounded to 4 bytes lie up to 2 off at 4e7: the sweeps then pass over some wide neighbours.
TEST(Neighbours, RoundedKeysOfLargeCoordinatesCutTheSameNeighbours) {
  int cut = 0;
  for (unsigned seed = 1; seed <= 20; ++seed) {
    RunState run;
    test::MeshLists lists = test::random_mesh(test::MeshKind::irregular, 60, 4, seed);
    for (test::TestNode& node : lists.nodes) node.x = 4.0e7 + 3.0 + 0.9 * node.x;
    make_mesh(run, lists);
    expect_literal_lists(run, "shifted");
    std::size_t symmetric = 0;
    for (int e = 1; e <= run.mesh.NUMelem; ++e) {
      for (int f = 1; f <= run.mesh.NUMelem; ++f) {
        symmetric += e != f && test::are_neighbours(run.mesh, e, f, false) ? 1 : 0;
      }
    }
    cut += static_cast<int>(symmetric) - run.mesh.NEIGHlist.size();
  }
  EXPECT_GT(cut, 0) << "the case must show the effect that it is about";
}

// The node in the middle of a big cell's side belongs to no element of the big cell.
TEST(Neighbours, MiddleNodeOfACellLinksOneWay) {
  for (double size : {1.0, 0.01, 50.0}) {
    RunState run;
    test::MeshLists lists = {
        {{0, 0, 1}, {2, 0, 1}, {2, 2, 1}, {0, 2, 1}, {2, 1, 1}, {3, 0, 1}, {3, 1, 1}, {3, 2, 1}},
        {{1, 2, 3}, {1, 3, 4}, {2, 6, 7}, {2, 7, 5}, {5, 7, 8}, {5, 8, 3}}};
    for (test::TestNode& node : lists.nodes) node.x *= size;
    make_mesh(run, lists);
    run.settings.method.mesh = MeshFormat::n2d;
    run.settings.rvs_mesh = true;
    run.mesh.ELcell.allocate(6);
    for (int e = 1; e <= 6; ++e) run.mesh.ELcell(e) = (e + 1) / 2;
    run.mesh.CELLcorners.allocate(3, 1, 4);
    run.mesh.CELLcorners(1, 2) = 5;
    expect_literal_lists(run, "telescoping", true);
    const std::vector<int> big = list_of(run.mesh, 2);
    EXPECT_TRUE(std::find(big.begin(), big.end(), 5) != big.end());
    const std::vector<int> small = list_of(run.mesh, 5);
    EXPECT_TRUE(std::find(small.begin(), small.end(), 2) == small.end());
  }
}

std::string console_text(bool hosted, int columns, int rows) {
  const test::TemporaryFolder folder;
  const std::string path = folder.path("console");
  RunState run;
  make_mesh(run, test::random_mesh(test::MeshKind::even, columns, rows, 1));
  run.messages.HOSTEDmode = hosted;
  run.settings.neighbor_file = folder.path("new.nei");
  run.messages.console_out = std::fopen(path.c_str(), "w");
  MESH_NEIGHBOURS(run);
  MESH_BOUNDARIES(run);
  std::fclose(run.messages.console_out);
  return test::read_text(path);
}

TEST(Neighbours, ProgressRewritesItselfOrIsTakenByTheHost) {
  // Two elements: the first sweep visits one, the second counts on from 1.
  EXPECT_EQ(console_text(false, 1, 1),
            "Need to create new element neighbor list...\n   Checking element neighbors...\n"
            "\r          1 of       2 elements\r          2 of       2 elements\n"
            "Creating element neighbor lists...\n"
            "\r          1 of       2 elements\r          2 of       2 elements\n"
            "Writing data to neighbor file...\n"
            "Creating closed boundary element list...\n"
            "Creating open boundary element list...\n"
            "Writing boundary element lists to file...\n"
            "Writing element boundary lists to file...\n");
  const std::string hosted = console_text(true, 40, 40);
  EXPECT_NE(hosted.find("        10 of    3200 elements\n"), std::string::npos);
  EXPECT_NE(hosted.find("      2000 of    3200 elements\n"), std::string::npos);
  EXPECT_NE(hosted.find("      3000 of    3200 elements\n"), std::string::npos);
  EXPECT_EQ(hosted.find('\r'), std::string::npos);
}

}  // namespace
}  // namespace dfl
