#include "mesh/boundaries.h"

#include <gtest/gtest.h>

#include "mesh/geometry.h"
#include "mesh/literal_sweeps.h"
#include "mesh/neighbours.h"
#include "mesh/random_mesh.h"

namespace dfl {
namespace {

void add_boundary(const MeshState& mesh, Array<Boundary>& list, const std::vector<int>& nodes) {
  Boundary boundary;
  for (int node : nodes) boundary.NODES.push_back(node);
  set_boundary_lines(mesh, boundary);
  list.push_back(boundary);
}

void expect_literal(const MeshState& mesh) {
  const test::LiteralBoundaries land = test::literal_boundaries(mesh, mesh.LANDbnd);
  const test::LiteralBoundaries open = test::literal_boundaries(mesh, mesh.OPENbnd);
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    ASSERT_EQ(mesh.LANDelem(e), land.flags(e)) << e;
    ASSERT_EQ(mesh.OPENelem(e), open.flags(e)) << e;
    ASSERT_EQ(mesh.LANDrefs(e).BND, land.refs(e).BND) << e;
    ASSERT_EQ(mesh.LANDrefs(e).SEG, land.refs(e).SEG) << e;
    ASSERT_EQ(mesh.OPENrefs(e).BND, open.refs(e).BND) << e;
    ASSERT_EQ(mesh.OPENrefs(e).SEG, open.refs(e).SEG) << e;
  }
}

// Boundaries along edges, across the mesh, of one point, of repeated points, twice the same.
TEST(Boundaries, ListsAreThoseOfTheSweepsOverSegments) {
  for (test::MeshKind kind : test::all_mesh_kinds) {
    const test::MeshLists lists = test::random_mesh(kind, 8, 6, 2);
    RunState run;
    test::quiet(run, "unused");
    test::set_mesh(run, lists.nodes, lists.elements);
    MESH_GEOMETRY(run);
    MeshState& mesh = run.mesh;
    std::mt19937 random(9);
    std::uniform_int_distribution<int> any_element(1, mesh.NUMelem), any_node(1, mesh.NUMnode);
    for (Array<Boundary>* boundaries : {&mesh.LANDbnd, &mesh.OPENbnd}) {
      for (int i = 0; i < 12; ++i) {
        const int e = any_element(random);
        const int a = mesh.ELnode1(e), b = mesh.ELnode2(e), c = mesh.ELnode3(e);
        add_boundary(mesh, *boundaries, {a, b, c, a});
        add_boundary(mesh, *boundaries, {any_node(random), c, c, any_node(random), b, a});
        add_boundary(mesh, *boundaries, {a});
        add_boundary(mesh, *boundaries, {});
      }
    }
    MESH_NEIGHBOURS(run);
    MESH_BOUNDARIES(run);
    expect_literal(mesh);
  }
}

// Slots fill by boundaries and segments, not by the edges of the element; a vertex alone sets the
// flag; a boundary of one point flags nothing; the open end of a boundary is no segment.
TEST(Boundaries, SlotsFlagsAndOpenEnds) {
  RunState run;
  test::quiet(run, "unused");
  std::vector<test::TestNode> nodes;
  std::vector<test::TestElement> elements;
  test::rectangle_mesh(2, 2, 1.0, 1.0f, nodes, elements);
  test::set_mesh(run, nodes, elements);
  MESH_GEOMETRY(run);
  MeshState& mesh = run.mesh;
  // Nodes 1 to 9 row by row from the lower left; elements 1 and 2: (1,2,5), (1,5,4).
  add_boundary(mesh, mesh.LANDbnd, {7, 4, 1});
  add_boundary(mesh, mesh.LANDbnd, {9});
  add_boundary(mesh, mesh.LANDbnd, {1, 2});
  add_boundary(mesh, mesh.OPENbnd, {5, 1});
  MESH_NEIGHBOURS(run);
  MESH_BOUNDARIES(run);
  const std::array<int, 3> none = {0, 0, 0};
  EXPECT_EQ(mesh.LANDrefs(1).BND, (std::array<int, 3>{3, 0, 0}));
  EXPECT_EQ(mesh.LANDrefs(1).SEG, (std::array<int, 3>{1, 0, 0}));
  EXPECT_EQ(mesh.LANDrefs(2).BND, (std::array<int, 3>{1, 0, 0}));
  EXPECT_EQ(mesh.LANDrefs(2).SEG, (std::array<int, 3>{2, 0, 0}));
  EXPECT_EQ(mesh.OPENrefs(1).BND, (std::array<int, 3>{1, 0, 0}));
  EXPECT_EQ(mesh.OPENrefs(2).BND, (std::array<int, 3>{1, 0, 0}));
  // Elements 3 and 4 are (2,3,6), (2,6,5): node 2 only.
  EXPECT_EQ(mesh.LANDelem(3), logical_true);
  EXPECT_EQ(mesh.LANDrefs(3).BND, none);
  EXPECT_EQ(mesh.OPENelem(3), logical_false);
  EXPECT_EQ(mesh.OPENelem(4), logical_true);
  // Elements 7 and 8 at node 9 touch no segment.
  EXPECT_EQ(mesh.LANDelem(7), logical_false);
  EXPECT_EQ(mesh.LANDelem(8), logical_false);
  // Slope of the first segment: vertical; the last entry stays 0.
  EXPECT_EQ(mesh.LANDbnd(1).SLOPE(1), largest_float);
  EXPECT_EQ(mesh.LANDbnd(3).SLOPE(1), 0.0f);
  EXPECT_EQ(mesh.OPENbnd(1).SLOPE(1), 1.0f);
  EXPECT_EQ(mesh.OPENbnd(1).SLOPE(2), 0.0f);
}

TEST(Boundaries, ProgressCountsBoundariesOutsideHostedModeOnly) {
  const test::TemporaryFolder folder;
  for (bool hosted : {false, true}) {
    RunState run;
    test::quiet(run, "unused");
    run.messages.HOSTEDmode = hosted;
    test::set_mesh(run, {{0, 0, 1}, {1, 0, 1}, {0, 1, 1}}, {{1, 2, 3}});
    MESH_GEOMETRY(run);
    add_boundary(run.mesh, run.mesh.LANDbnd, {1, 2});
    add_boundary(run.mesh, run.mesh.LANDbnd, {2, 3});
    const std::string path = folder.path("console");
    run.messages.console_out = std::fopen(path.c_str(), "w");
    MESH_BOUNDARIES(run);
    std::fclose(run.messages.console_out);
    EXPECT_EQ(test::read_text(path), std::string("Creating closed boundary element list...\n") +
                                         (hosted ? ""
                                                 : "\r          1 of       2 land boundaries"
                                                   "\r          2 of       2 land boundaries\n") +
                                         "Creating open boundary element list...\n"
                                         "Writing boundary element lists to file...\n"
                                         "Writing element boundary lists to file...\n");
  }
}

}  // namespace
}  // namespace dfl
