#include "mesh/find_element.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "mesh/element_grid.h"
#include "mesh/geometry.h"
#include "mesh/grid_files.h"
#include "mesh/grid_mesh.h"
#include "mesh/literal_search.h"
#include "mesh/random_mesh.h"

namespace dfl {
namespace {

void make_mesh(RunState& run, const test::MeshLists& lists) {
  test::quiet(run, "unused");
  test::set_mesh(run, lists.nodes, lists.elements);
  MESH_GEOMETRY(run);
}

// Points in general place, on nodes, on edges, within a hair of edges and beside the mesh.
std::vector<std::pair<double, double>> trial_points(const MeshState& mesh, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<std::pair<double, double>> points;
  std::uniform_int_distribution<int> element(1, mesh.NUMelem);
  std::uniform_real_distribution<double> part(-0.2, 1.2), digits(1.0, 9.0);
  for (int i = 0; i < 300; ++i) {
    const int e = element(random);
    const int a = mesh.ELnode1(e), b = mesh.ELnode2(e), c = mesh.ELnode3(e);
    const double r = part(random), s = part(random), hair = std::pow(10.0, -digits(random));
    points.emplace_back(mesh.Xnode(a), mesh.Ynode(a));
    points.emplace_back(0.5 * (mesh.Xnode(a) + mesh.Xnode(b)),
                        0.5 * (mesh.Ynode(a) + mesh.Ynode(b)));
    points.emplace_back(mesh.Xnode(b) + r * (mesh.Xnode(c) - mesh.Xnode(b)),
                        mesh.Ynode(b) + r * (mesh.Ynode(c) - mesh.Ynode(b)));
    points.emplace_back(points.back().first + hair * s * (mesh.Xnode(a) - mesh.Xnode(b)),
                        points.back().second + hair * s * (mesh.Ynode(a) - mesh.Ynode(b)));
    points.emplace_back(
        mesh.Xnode(a) + r * (mesh.Xnode(b) - mesh.Xnode(a)) + s * (mesh.Xnode(c) - mesh.Xnode(a)),
        mesh.Ynode(a) + r * (mesh.Ynode(b) - mesh.Ynode(a)) + s * (mesh.Ynode(c) - mesh.Ynode(a)));
  }
  return points;
}

void compare_with_walk(RunState& run, const std::string& what) {
  int found = 0;
  std::vector<double> xs, ys;
  std::vector<int> expected;
  for (const auto& [x, y] : trial_points(run.mesh, 11)) {
    xs.push_back(x);
    ys.push_back(y);
    expected.push_back(test::literal_find_element(run.mesh, x, y));
    ASSERT_EQ(FIND_ELEMENT(run.mesh, x, y), expected.back()) << what << " at " << x << ' ' << y;
    found += expected.back() != 0 ? 1 : 0;
  }
  std::vector<int> elements(xs.size(), -1);
  find_elements(run.mesh, xs.data(), ys.data(), static_cast<int>(xs.size()), elements.data());
  EXPECT_EQ(elements, expected) << what;
  EXPECT_GT(found, 300) << what;
}

// Sizes from one cell to many; in place, and in coordinates of metres far from their origin.
TEST(FindElement, GridGivesTheElementOfTheWalk) {
  const std::pair<int, int> sizes[] = {{1, 1}, {3, 2}, {9, 14}, {40, 25}};
  for (test::MeshKind kind : test::all_mesh_kinds) {
    for (const auto& [columns, rows] : sizes) {
      for (double offset : {0.0, 4.0e6, 1.0e12}) {
        RunState run;
        test::MeshLists lists = test::random_mesh(kind, columns, rows, 7);
        for (test::TestNode& node : lists.nodes) node.x += offset, node.y += 0.1 * offset;
        make_mesh(run, lists);
        compare_with_walk(run, std::string(test::name_of(kind)) + " " + std::to_string(columns) +
                                   " by " + std::to_string(rows));
      }
    }
  }
}

// Where small cells meet large ones many edges lie on few lines. If each took a place of its own in
// the cells of the search grid, these would be cut again and again, down to lists of candidates.
TEST(FindElement, EdgesOfTelescopingGridsShareTheirLines) {
  for (double bearing : {0.0, 12.0}) {
    const test::QuadtreeGrid grid(10, 8, 16.0, test::random_levels(5, 32.0, 3));
    test::GridRun it(test::telescoping_cards());
    it.folder.write("grid.tel", grid.text(5.0e5, 6.2e6, bearing, test::random_islands(5, 0.05)));
    READ_GRID_MESH(it.run);
    compare_with_walk(it.run, "bearing " + std::to_string(bearing));
    EXPECT_TRUE(it.run.mesh.grid.candidates.empty()) << bearing;
  }
}

// Nodes at one place, elements turned into lines and points, elements twice in the mesh.
TEST(FindElement, FaultyElementsAmongGoodOnesAreSearchedAsInTheWalk) {
  for (test::MeshKind kind : test::all_mesh_kinds) {
    RunState run;
    test::MeshLists lists = test::random_mesh(kind, 12, 9, 4);
    for (std::size_t i = 0; i + 10 < lists.elements.size(); i += 10) {
      const test::TestElement e = lists.elements[i], next = lists.elements[i + 1];
      lists.elements[i + 2] = {e.a, e.b, e.a};
      lists.elements[i + 3] = {e.c, e.c, e.c};
      lists.elements[i + 4] = {e.b, e.c, e.a};
      lists.nodes.push_back(lists.nodes[static_cast<std::size_t>(next.a) - 1]);
      lists.elements[i + 5] = {static_cast<int>(lists.nodes.size()), next.b, next.c};
    }
    make_mesh(run, lists);
    compare_with_walk(run, test::name_of(kind));
  }
}

TEST(FindElement, VectorRegistersTellTheSidesAsThePlainLoopDoes) {
  std::mt19937 random(3);
  std::uniform_int_distribution<int> place(0, cell_lines::cell_units + 2 * cell_lines::beside);
  int told = 0;
  for (test::MeshKind kind : test::all_mesh_kinds) {
    RunState run;
    make_mesh(run, test::random_mesh(kind, 20, 20, 8));
    for (const ElementGrid::Cell& cell : run.mesh.grid.cells) {
      if (cell.element[0] <= 0) continue;
      for (int i = 0; i < 20; ++i) {
        const int px = place(random), py = place(random);
        ASSERT_EQ(cell_lines::slot_bits(cell, px, py), cell_lines::slot_bits_plainly(cell, px, py));
        told += (cell_lines::slot_bits(cell, px, py) & 0xffu) != 0 ? 1 : 0;
      }
    }
  }
  EXPECT_GT(told, 0);
}

// Big arrays ask for big pages, small ones do not waste them.
TEST(FindElement, BigArraysStartAtABigPage) {
  using Vector = HugePageVector<ElementGrid::Cell>;
  const auto place_in_page = [](const Vector& v) {
    return reinterpret_cast<std::uintptr_t>(v.data()) % HugePageAllocator<char>::page_bytes;
  };
  Vector cells(1 << 15);
  EXPECT_EQ(place_in_page(cells), 0u);
  const Vector copy = cells;
  EXPECT_EQ(place_in_page(copy), 0u);
  const Vector small(3);
  EXPECT_EQ(place_in_page(small) % alignof(ElementGrid::Cell), 0u);
}

// Lengths whose products are no ordinary numbers.
TEST(FindElement, MeshesOfExtremeSizeAreSearchedAsInTheWalk) {
  for (double scale : {1.0e-170, 1.0e-110, 1.0e100, 1.0e160}) {
    RunState run;
    test::MeshLists lists = test::random_mesh(test::MeshKind::irregular, 9, 14, 7);
    for (test::TestNode& node : lists.nodes) node.x *= scale, node.y *= scale;
    test::quiet(run, "unused");
    test::set_mesh(run, lists.nodes, lists.elements);
    MeshState& mesh = run.mesh;
    for (int e = 1; e <= mesh.NUMelem; ++e) {
      const auto [x1, x2] = std::minmax(
          {mesh.Xnode(mesh.ELnode1(e)), mesh.Xnode(mesh.ELnode2(e)), mesh.Xnode(mesh.ELnode3(e))});
      const auto [y1, y2] = std::minmax(
          {mesh.Ynode(mesh.ELnode1(e)), mesh.Ynode(mesh.ELnode2(e)), mesh.Ynode(mesh.ELnode3(e))});
      mesh.XMINelem(e) = x1, mesh.XMAXelem(e) = x2, mesh.YMINelem(e) = y1, mesh.YMAXelem(e) = y2;
      mesh.SORTxmin(e) = e;
    }
    SORT_KEYS(mesh.XMINelem, mesh.SORTxmin);
    BUILD_ELEMENT_GRID(mesh);
    for (const auto& [x, y] : trial_points(mesh, 11)) {
      ASSERT_EQ(FIND_ELEMENT(mesh, x, y), test::literal_find_element(mesh, x, y)) << scale;
    }
  }
}

// The walk goes from the end that is farther away, as elements 1 and NUMelem tell it.
TEST(FindElement, SharedSideGoesToTheFirstInTheWalk) {
  struct Case {
    double x, y;
    int element;
  };
  // Four triangles side by side in x from 0 to 4, elements in ascending x.
  const std::vector<test::TestNode> nodes = {{0, 0, 1}, {2, 0, 1}, {4, 0, 1}, {1, 2, 1}, {3, 2, 1}};
  RunState run;
  test::quiet(run, "unused");
  test::set_mesh(run, nodes, {{1, 2, 4}, {2, 5, 4}, {2, 3, 5}});
  MESH_GEOMETRY(run);
  const Case cases[] = {
      {1.5, 1.0, 1},   // left half, dR 2.5 >= dL 1.5: ascending
      {2.0, 0.0, 1},   // the middle, dR = dL: ascending
      {2.5, 1.0, 3},   // right half: descending
      {4.0, 0.0, 3},   // a corner of the mesh
      {2.0, 2.0, 2},   // on the top edge
      {0.0, 2.0, 0},   // in a bounding box, beside the triangle
      {-1.0, 0.0, 0},  // beside the mesh
  };
  for (const Case& c : cases) {
    EXPECT_EQ(FIND_ELEMENT(run.mesh, c.x, c.y), c.element) << c.x << ' ' << c.y;
  }
}

TEST(FindElement, NumbersThatAreNoPlaceGiveNoElement) {
  RunState run;
  make_mesh(run, test::random_mesh(test::MeshKind::irregular, 5, 5, 3));
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  for (const auto& [x, y] : {std::pair{nan, 1.0},
                             {1.0, nan},
                             {nan, nan},
                             {infinity, 1.0},
                             {-infinity, 1.0},
                             {1.0, infinity},
                             {1e300, 1e300}}) {
    EXPECT_EQ(FIND_ELEMENT(run.mesh, x, y), 0);
    int element = -1;
    find_elements(run.mesh, &x, &y, 1, &element);
    EXPECT_EQ(element, 0);
  }
  const MeshState empty;
  EXPECT_EQ(FIND_ELEMENT(empty, 0.0, 0.0), 0);
}

// Elements without area lie on their edges: found like any other, first in the walk.
TEST(FindElement, ElementsWithoutAreaAreFoundAsInTheWalk) {
  RunState run;
  test::quiet(run, "unused");
  test::set_mesh(run, {{0, 0, 1}, {4, 0, 1}, {0, 4, 1}, {2, 2, 1}, {1, 1, 1}},
                 {{1, 2, 4}, {1, 4, 3}, {1, 5, 4}, {5, 5, 5}});
  MESH_GEOMETRY(run);
  EXPECT_EQ(run.mesh.MESHtol, 0.0f);
  for (const auto& [x, y] : trial_points(run.mesh, 5)) {
    ASSERT_EQ(FIND_ELEMENT(run.mesh, x, y), test::literal_find_element(run.mesh, x, y));
  }
}

// A few elements across the whole mesh must not fill every cell of the grid.
TEST(FindElement, GridMemoryStaysInProportion) {
  for (test::MeshKind kind : test::all_mesh_kinds) {
    RunState run;
    make_mesh(run, test::random_mesh(kind, 60, 60, 5));
    const auto elements = static_cast<std::size_t>(run.mesh.NUMelem);
    EXPECT_LE(run.mesh.grid.candidates.size(), 40 * elements) << test::name_of(kind);
    EXPECT_LE(run.mesh.grid.cells.size(), 4 * elements) << test::name_of(kind);
  }
}

}  // namespace
}  // namespace dfl
