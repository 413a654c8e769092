// Meshes of gridded models: known answers, and files that are damaged.

#include "mesh/grid_mesh.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <limits>
#include <map>
#include <random>
#include <set>

#include "common/test_run.h"
#include "mesh/find_element.h"
#include "mesh/geometry.h"
#include "mesh/grid_files.h"

namespace dfl {
namespace {

using test::GridRun;

double area_of(const MeshState& mesh) {
  double area = 0.0;
  for (int e = 1; e <= mesh.NUMelem; ++e) area += static_cast<double>(mesh.AREAelem(e));
  return area;
}

// ---- structured ----

TEST(GridMesh, RotatedStructuredGridWithLinearDepth) {
  const int columns = 6, rows = 5;
  const double size = 20.0, bearing = 30.0, x0 = 5000.0, y0 = 7000.0;
  test::StructuredGrid grid = test::even_grid(columns, rows, size, 0.0f);
  grid.x0 = x0;
  grid.y0 = y0;
  grid.bearing = bearing;
  const auto depth = [](double a, double b) { return 4.0 + 0.05 * a + 0.02 * b; };
  for (int j = 0, k = 0; j < rows; ++j) {
    for (int i = 0; i < columns; ++i, ++k) {
      grid.depths[static_cast<std::size_t>(k)] =
          static_cast<float>(depth((i + 0.5) * size, (j + 0.5) * size));
    }
  }
  GridRun it(test::structured_cards());
  test::write_structured(it.folder.path("grid.h5"), grid);
  it.run.settings.rvs_mesh = true;  // the card file has the last word
  it.run.messages.echo_file = std::fopen(it.folder.path("echo").c_str(), "w");
  READ_GRID_MESH(it.run);
  std::fclose(it.run.messages.echo_file);
  it.run.messages.echo_file = nullptr;
  // The log tells the counts of meshes that are read, not of those made from a grid.
  EXPECT_EQ(test::read_text(it.folder.path("echo")).find("Input Mesh"), std::string::npos);
  const MeshState& mesh = it.run.mesh;
  EXPECT_FALSE(it.run.settings.rvs_mesh);
  EXPECT_EQ(it.run.settings.hyfs_grid_path, "Grid");
  ASSERT_EQ(mesh.NUMnode, (columns + 1) * (rows + 1));
  ASSERT_EQ(mesh.NUMelem, 2 * columns * rows);
  EXPECT_NEAR(area_of(mesh), columns * rows * size * size, 0.1);
  EXPECT_NEAR(it.run.grid.GRIDangle, 330.0, 1e-9);
  // Along the grid's own axes a node lies at multiples of the cell size. The constant of a turn
  // has six digits and the grid spans 120 m.
  const double pi = std::acos(-1.0), s = std::sin(bearing * pi / 180.0),
               c = std::cos(bearing * pi / 180.0);
  for (int n = 1; n <= mesh.NUMnode; ++n) {
    const double dx = mesh.Xnode(n) - x0, dy = mesh.Ynode(n) - y0;
    const double a = c * dx + s * dy, b = -s * dx + c * dy;
    EXPECT_NEAR(a, std::round(a / size) * size, 2e-3);
    EXPECT_NEAR(b, std::round(b / size) * size, 2e-3);
    const bool inside = a > 1.0 && a < 119.0 && b > 1.0 && b < 99.0;
    if (inside) {
      // Four cells at the same distance.
      EXPECT_NEAR(static_cast<double>(mesh.DEPTHnode(n)), depth(a, b), 1e-3);
    }
  }
  // The first cell's corners in their order, counter-clockwise triangles of it.
  EXPECT_EQ(it.run.grid.CELLnodes(1, 1), 1);
  EXPECT_EQ(it.run.grid.CELLnodes(1, 4), 4);
  EXPECT_EQ(mesh.ELnode3(1), 3);
  EXPECT_EQ(mesh.ELnode1(2), 2);
  EXPECT_EQ(mesh.ELnode2(2), 4);
  EXPECT_EQ(mesh.ELcell(2), 1);
  EXPECT_EQ(mesh.ELcell(2 * columns * rows), columns * rows);
  EXPECT_EQ(mesh.NUMland, 1);
}

TEST(GridMesh, OddCellTypesAreActive) {
  test::StructuredGrid grid = test::even_grid(3, 2, 10.0, 2.0f);
  grid.types = {-1, 2, 0, 1, 3, 4};
  GridRun it(test::structured_cards());
  test::write_structured(it.folder.path("grid.h5"), grid);
  READ_GRID_MESH(it.run);
  EXPECT_EQ(it.run.grid.NUMactive, 3);  // cells 1, 4, 5
  EXPECT_EQ(it.run.mesh.NUMelem, 6);
  EXPECT_EQ(it.run.mesh.NUMnode, 8);
  // The nodes that only inactive cells touch are gone.
  EXPECT_EQ(it.run.grid.CELLnodes(3, 2), 0);
  EXPECT_EQ(it.run.grid.CELLnodes(3, 4), 0);
  EXPECT_GT(it.run.grid.CELLnodes(3, 3), 0);
  EXPECT_EQ(it.run.mesh.ELcell(3), 4);
}

TEST(GridMesh, FirstColumnHasTheSizeOfTheSecondButItsOwnCorners) {
  test::StructuredGrid grid = test::even_grid(3, 2, 10.0, 2.0f);
  grid.i = {4.0, 14.0, 24.0};
  GridRun it(test::structured_cards());
  test::write_structured(it.folder.path("grid.h5"), grid);
  READ_GRID_MESH(it.run);
  const GridState& cells = it.run.grid;
  EXPECT_DOUBLE_EQ(cells.CELLS(1).DX, 10.0);
  EXPECT_NEAR(cells.CELLS(1).X, 2.0, 1e-4);
  EXPECT_NEAR(cells.CELLS(2).X, 12.0, 1e-4);  // 3 m past the middle of 4 to 14
  EXPECT_NEAR(cells.CELLS(3).X, 22.0, 1e-4);
  const auto x = [&](int cell, int corner) {
    return it.run.mesh.Xnode(cells.CELLnodes(cell, corner));
  };
  EXPECT_NEAR(x(1, 1), 0.0, 1e-4);
  EXPECT_NEAR(x(1, 2), 7.0, 1e-4);  // the second column placed it last
  EXPECT_NEAR(x(2, 2), 17.0, 1e-4);
}

TEST(GridMesh, NamesAreTakenFromTheFolderOfTheCardFile) {
  test::StructuredGrid grid = test::even_grid(3, 2, 10.0, 2.0f);
  test::TemporaryFolder elsewhere;
  test::write_structured(elsewhere.path("deep.h5"), grid);
  GridRun it(
      "PARAMS_FILE\t cells.h5\nother words here\n  Grid_File " + elsewhere.path("deep.h5") +
      "\r\nbathymetry_dataset \"x y.h5\" \"Grid/Datasets/Depth\"\nEnd_Parameters\ngrid_file");
  READ_GRID_MESH(it.run);
  EXPECT_EQ(it.run.settings.mesh_file, elsewhere.path("deep.h5"));
  EXPECT_EQ(it.run.grid.cellstring_file, it.folder.path("/cells.h5"));
  EXPECT_EQ(it.run.settings.hyfs_dep_path, "Grid/Datasets/Depth");
  // With a sign of the other kind.
  GridRun other(
      test::telescoping_cards("qdriver_cellstring \"a b.h5\" \"S/1\"\n"
                              "cellstring c.h5 S/2\n"));
  const test::QuadtreeGrid cells(2, 2, 10.0, [](double, double) { return 0; });
  other.folder.write("grid.tel", cells.text(0.0, 0.0, 0.0, [](double, double) { return 1.0f; }));
  std::string path = other.folder.path("rvcards");
  path.replace(path.rfind('/'), 1, "\\");
  other.run.settings.mesh_file = path;
  READ_GRID_MESH(other.run);
  EXPECT_EQ(other.run.settings.rvs_quadtree, path.substr(0, path.rfind('\\')) + "\\grid.tel");
  EXPECT_EQ(other.run.grid.cellstring_file, path.substr(0, path.rfind('\\')) + "\\c.h5");
  EXPECT_EQ(other.run.grid.CELLstrings, (std::vector<std::string>{"S/1", "S/2"}));
}

// ---- telescoping ----

bool land(double x, double y) {
  return std::hypot(x - 100.0, y - 75.0) < 14.0;
}
float sloping(double x, double y) {
  return land(x, y) ? -999.0f : static_cast<float>(5.0 + 0.02 * x);
}
// Around an island two levels finer.
int around_island(double x, double y) {
  const double r = std::hypot(x - 100.0, y - 75.0);
  return r < 30.0 ? 2 : r < 55.0 ? 1 : 0;
}

TEST(GridMesh, TelescopingGridWithTwoLevelsAndAnIsland) {
  const test::QuadtreeGrid grid(10, 8, 20.0, around_island);
  GridRun it(test::telescoping_cards());
  it.folder.write("grid.tel", grid.text(1000.0, 2000.0, 25.0, sloping));
  READ_GRID_MESH(it.run);
  const MeshState& mesh = it.run.mesh;
  const GridState& cells = it.run.grid;
  EXPECT_TRUE(it.run.settings.rvs_mesh);
  EXPECT_NEAR(cells.GRIDangle, 385.0, 1e-9);

  double water = 0.0;
  int active = 0;
  for (const Cell& cell : cells.CELLS) {
    if (!is_active(cell.DEPTH)) continue;
    water += cell.DX * cell.DY;
    ++active;
  }
  EXPECT_EQ(mesh.NUMelem, 2 * active);
  EXPECT_NEAR(area_of(mesh), water, 1e-3 * water);

  // One node a place, and every corner of every active cell at its place.
  std::set<std::pair<long, long>> places;
  for (int n = 1; n <= mesh.NUMnode; ++n) {
    places.insert({std::lround(mesh.Xnode(n) * 100.0), std::lround(mesh.Ynode(n) * 100.0)});
  }
  EXPECT_EQ(static_cast<int>(places.size()), mesh.NUMnode);

  // One outside line and one around the island, both closed.
  ASSERT_EQ(mesh.NUMland, 2);
  for (const Boundary& boundary : mesh.LANDbnd) {
    EXPECT_EQ(boundary.NODES(1), boundary.NODES(boundary.NUMpts));
  }
}

// Points across each side with two neighbours: the walk from the big cell finds the small one.
TEST(GridMesh, HangingNodesLinkBigCellsWithSmallOnes) {
  const test::QuadtreeGrid grid(10, 8, 20.0, around_island);
  GridRun it(test::telescoping_cards());
  it.folder.write("grid.tel", grid.text(0.0, 0.0, 0.0, sloping));
  READ_GRID_MESH(it.run);
  const MeshState& mesh = it.run.mesh;
  const auto is_neighbour = [&](int e, int f) {
    for (int k = 0; k < mesh.NEIGHcount(e); ++k) {
      if (mesh.NEIGHlist(mesh.NEIGHstart(e) + k) == f) return true;
    }
    return false;
  };
  int sides = 0;
  for (int k = 1; k <= it.run.grid.NUMcells; ++k) {
    const Cell& cell = it.run.grid.CELLS(k);
    if (!is_active(cell.DEPTH)) continue;
    struct Step {
      Neighbour second;
      double x, y;  // of the side from the centre, in half cells
    };
    const Step steps[] = {{N2, 0, 1}, {E2, 1, 0}, {S2, 0, -1}, {W2, -1, 0}};
    for (int side = 1; side <= 4; ++side) {
      const Step& step = steps[side - 1];
      const int second = cell.NEIGH[step.second];
      const int hanging = mesh.CELLcorners(k, side);
      EXPECT_EQ(hanging != 0, second != 0 && is_active(it.run.grid.CELLS(second).DEPTH));
      if (hanging == 0) continue;
      ++sides;
      // A whole turn with a constant of six digits is off by 5e-6; the grid spans 200 m.
      EXPECT_NEAR(mesh.Xnode(hanging), cell.X + step.x * cell.DX / 2.0, 2e-3);
      EXPECT_NEAR(mesh.Ynode(hanging), cell.Y + step.y * cell.DY / 2.0, 2e-3);
      // From a point inside the cell to one just across, on both halves of the side.
      for (double half : {-0.25, 0.25}) {
        const double along_x = step.y * half * cell.DX, along_y = step.x * half * cell.DY;
        const double reach = 0.5 + 1e-3;
        const int f = FIND_ELEMENT(mesh, cell.X + step.x * reach * cell.DX + along_x,
                                   cell.Y + step.y * reach * cell.DY + along_y);
        const int e = FIND_ELEMENT(mesh, cell.X + step.x * 0.499 * cell.DX + along_x,
                                   cell.Y + step.y * 0.499 * cell.DY + along_y);
        ASSERT_NE(f, 0);
        ASSERT_NE(e, 0);
        EXPECT_TRUE(is_neighbour(e, f)) << "cell " << k << " side " << side;
      }
    }
  }
  EXPECT_GT(sides, 20);
}

// Trees of three levels: every corner must come out as one node, whatever the order of the cells.
TEST(GridMesh, CornersOfRandomTreesAreMergedWhereTheyMeet) {
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    const test::QuadtreeGrid grid(6, 5, 64.0, test::random_levels(seed, 64.0, 3));
    GridRun it(test::telescoping_cards());
    it.folder.write("grid.tel", grid.text(0.0, 0.0, 0.0, [](double, double) { return 2.0f; }));
    READ_GRID_MESH(it.run);
    std::map<std::pair<long, long>, int> places;
    for (int n = 1; n <= it.run.mesh.NUMnode; ++n) {
      ++places[{std::lround(it.run.mesh.Xnode(n) * 100.0),
                std::lround(it.run.mesh.Ynode(n) * 100.0)}];
    }
    EXPECT_EQ(static_cast<int>(places.size()), it.run.mesh.NUMnode) << "seed " << seed;
    EXPECT_NEAR(area_of(it.run.mesh), 30.0 * 64.0 * 64.0, 1.0);
    EXPECT_EQ(it.run.mesh.NUMland, 1);
  }
}

TEST(GridMesh, DryDepthsEdge) {
  const test::QuadtreeGrid grid(2, 1, 10.0, [](double, double) { return 0; });
  for (const auto& [depth, elements] : {std::pair{-999.0f, 2}, std::pair{-998.9f, 4}}) {
    const float first = depth;
    GridRun it(test::telescoping_cards());
    it.folder.write("grid.tel", grid.text(0.0, 0.0, 0.0, [first](double x, double) {
      return x < 10.0 ? first : 1.0f;
    }));
    READ_GRID_MESH(it.run);
    EXPECT_EQ(it.run.mesh.NUMelem, elements);
  }
}

TEST(GridMesh, SidesMatchWithinAHundredthOfTheSmallestSize) {
  Cell big, small;
  big.DX = big.DY = 20.0;
  small.DX = 10.0;
  small.DY = 5.0;  // the smallest: a tolerance of 0.05
  small.X = 15.0;
  struct Case {
    double shift;
    bool match;
  };
  for (const Case& c : {Case{0.0, true}, Case{0.049, true}, Case{-0.049, true}, Case{0.051, false},
                        Case{-0.051, false}}) {
    small.Y = 10.0 - 2.5 + c.shift;  // upper sides in line
    EXPECT_EQ(SIDES_MATCH(big, Side::N, small, Side::N), c.match) << c.shift;
    EXPECT_EQ(SIDES_MATCH(small, Side::N, big, Side::N), c.match) << c.shift;
  }
  EXPECT_TRUE(SIDES_MATCH(big, Side::E, small, Side::W));
  EXPECT_FALSE(SIDES_MATCH(big, Side::E, small, Side::E));
  EXPECT_FALSE(SIDES_MATCH(big, Side::S, small, Side::S));
}

// ---- bad input ----

struct BadFile {
  std::string text;
  const char* message;
};

TEST(GridMesh, BadCardFileStopsTheRun) {
  const std::string last = "end_parameters\n";
  const BadFile cases[] = {
      {"", "Premature end of file encountered.*RVCARDS file error"},
      {"grid_file g\nparams_file p\n", "Premature end of file encountered.*RVCARDS file error"},
      {"xend_parameters\n", "Premature end of file"},
      {last, "ERROR: RVCARDS file error"},
      {"grid_file\n" + last, "ERROR in line: grid_file.*RVCARDS file error"},
      {"telescoping   \n" + last, "ERROR in line: telescoping.*RVCARDS file error"},
      {" \tparams_file\t\n" + last, "ERROR in line: params_file\n(.|\n)*RVCARDS file error"},
      {"cellstring\n" + last, "ERROR in line: cellstring"},
      {"bathymetry_dataset\n" + last, "ERROR in line: bathymetry_dataset"},
      {"grid_file g\nbathymetry_dataset \"g\" \"a/b\"\n" + last, "RVCARDS file error"},
      {"params_file p\nbathymetry_dataset \"g\" \"a/b\"\n" + last, "RVCARDS file error"},
      {"params_file p\ngrid_file g\n" + last, "RVCARDS file error"},
      {"telescoping t\n" + last, "RVCARDS file error"},
      {"params_file p\ntelescoping none\n" + last, "TELESCOPING file error"},
      {"params_file p\ntelescoping .\n" + last, "TELESCOPING file error"},
      {std::string(300, ' ') + "grid_file g\n" + last, "RVCARDS file error"},
      {"params_file p\ngrid_file \"\"\nbathymetry_dataset \"\"\n" + last, "HF_OPEN_FILE error: "},
      {std::string("\0\xff\n\0", 4), "Premature end of file"},
  };
  for (const BadFile& c : cases) {
    GridRun it(c.text, true);
    EXPECT_EXIT(READ_GRID_MESH(it.run), testing::ExitedWithCode(0),
                std::string("(.|\n)*") + c.message)
        << c.text;
  }
  for (const char* name : {"absent", "."}) {
    GridRun it("", true);
    it.run.settings.mesh_file = it.folder.path(name);
    EXPECT_EXIT(READ_GRID_MESH(it.run), testing::ExitedWithCode(0), "RVCARDS file not found");
  }
  // A pipe that nobody writes to is not waited for.
  for (const bool cards : {true, false}) {
    GridRun it(test::telescoping_cards(), true);
    const std::string pipe = it.folder.path(cards ? "pipe" : "grid.tel");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    if (cards) it.run.settings.mesh_file = pipe;
    EXPECT_EXIT(READ_GRID_MESH(it.run), testing::ExitedWithCode(0),
                cards ? "RVCARDS file not found" : "TELESCOPING file error");
  }
  GridRun it("", true);
  it.run.settings.method.mesh = MeshFormat::n2g;
  EXPECT_EXIT(READ_GRID_MESH(it.run), testing::ExitedWithCode(0),
              "DFL v2.1 does not support N2D v3.02");
}

TEST(GridMesh, BadTelescopingFileStopsWithItsLine) {
  const std::string head = "title\n0 0 0 2\n";
  const std::string one = "1 5 5 10 10 0 0 2 0 0 0 0 0 3.5\n";
  const std::string two = "2 15 5 10 10 0 0 0 0 0 0 1 0 3.5\n";
  const BadFile cases[] = {
      {"", "grid.tel"},
      {"title\n", "grid.tel:[0-9]+: expected"},
      {"title\n0 0 x 2\n", "grid.tel:2: expected a real number, found \"x\""},
      {"title\n0 0 0 2.5\n", "grid.tel:2: expected an integer"},
      {"title\n0 0 0 0\n" + one, "grid.tel:2: a number of cells of 0 cannot stand"},
      {"title\n0 0 0 -2\n" + one, "grid.tel:2: a number of cells of -2 cannot stand"},
      {"title\n0 0 0 2000000000\n" + one, "grid.tel:2: a number of cells of 2000000000 cannot"},
      {"title\n0 0 0 20\n" + one + two, "grid.tel:[0-9]+: expected an integer"},
      {head + one, "grid.tel:3: expected an integer"},
      {head + one + two.substr(0, 20), "grid.tel:4: expected"},
      {head + one + "2 15 5 ten 10 0 0 0 0 0 0 1 0 3.5\n", "grid.tel:4: expected a real"},
      {head + one + "2 15 5 10 10 0 0 0 0 0 0 a 0 3.5\n", "grid.tel:4: expected an integer"},
      {head + one + "2 15 5 10 10 0 0 0 0 0 0 3 0 3.5\n",
       "grid.tel:4: expected 0 or a neighbouring cell from 1 to 2, found 3"},
      {head + one + "2 15 5 10 10 0 0 0 0 0 0 -1 0 3.5\n",
       "neighbouring cell from 1 to 2, found -1"},
      {head + one + "3 15 5 10 10 0 0 0 0 0 0 1 0 3.5\n",
       "grid.tel:4: expected a cell number from 1 to 2, found 3"},
      {head + one + "0 15 5 10 10 0 0 0 0 0 0 1 0 3.5\n", "cell number from 1 to 2, found 0"},
      {head + one + one, "grid.tel:4: second line of cell 1"},
      {head + one + "2 15 5 0 10 0 0 0 0 0 0 1 0 3.5\n", "grid.tel:4: expected cell sizes above 0"},
      {head + one + "2 15 5 10 -10 0 0 0 0 0 0 1 0 3.5\n", "expected cell sizes above 0"},
      {"title\n0 0 0 1\n1 5 5 10 10 0 0 0 0 0 0 0 0 -999.0\n", "The grid has no active cells"},
  };
  for (const BadFile& c : cases) {
    GridRun it(test::telescoping_cards(), true);
    it.folder.write("grid.tel", c.text);
    EXPECT_EXIT(READ_GRID_MESH(it.run), testing::ExitedWithCode(0), c.message) << c.text;
  }
}

// Neighbours that make no sense in the plane merge corners that lie apart; the run has to end with
// a message or go on, but never crash.
TEST(GridMesh, NeighboursAtRandomDoNotCrash) {
  for (unsigned seed = 1; seed <= 30; ++seed) {
    std::mt19937 random(seed);
    std::string text = "title\n0 0 0 9\n";
    for (int n = 1; n <= 9; ++n) {
      text += std::to_string(n) + " " + std::to_string(10 * (n % 3)) + " " +
              std::to_string(10 * (n / 3)) + " 10 10";
      for (int k = 0; k < 8; ++k) text += " " + std::to_string(random() % 10);
      text += " 3\n";
    }
    GridRun it(test::telescoping_cards(), true);
    it.folder.write("grid.tel", text);
    EXPECT_EXIT(
        {
          READ_GRID_MESH(it.run);
          std::exit(0);
        },
        testing::ExitedWithCode(0), "");
  }
}

// Numbers that a file can hold but that leave no finite places, areas or angles: a message or a
// mesh, never a crash.
TEST(GridMesh, PlacesBeyondAllNumbersDoNotCrash) {
  const auto cells = [](const char* head, const char* x, const char* dx) {
    return std::string("title\n") + head + " 2\n1 " + x + " 5 " + dx +
           " 10 0 0 2 0 0 0 0 0 3\n2 15 5 " + dx + " 10 0 0 0 0 0 0 1 0 3\n";
  };
  for (const std::string& text :
       {cells("1e300 0 0", "5", "10"), cells("0 1e308 1e308", "5", "10"),
        cells("0 1.7e308 0", "1.7e308", "10"), cells("0 0 0", "5", "1.7e308"),
        cells("45 1.7e308 -1.7e308", "1.7e308", "1.7e308"), cells("0 0 0", "1e200", "1e-300")}) {
    GridRun it(test::telescoping_cards(), true);
    it.folder.write("grid.tel", text);
    EXPECT_EXIT(
        {
          READ_GRID_MESH(it.run);
          std::exit(0);
        },
        testing::ExitedWithCode(0), "")
        << text;
  }
}

// A file of the dataset library in which one thing is wrong.
struct BadDataset {
  const char* name;
  void (*spoil)(test::StructuredGrid& grid);
  const char* message;
};

TEST(GridMesh, BadGridDatasetsStopTheRun) {
  const BadDataset cases[] = {
      {"too few types", [](test::StructuredGrid& g) { g.types.pop_back(); },
       "HF_READ_PROPERTY_FLOAT.CellTypes. error"},
      {"too many types", [](test::StructuredGrid& g) { g.types.push_back(1); },
       "HF_READ_PROPERTY_FLOAT.CellTypes. error"},
      {"too few depths", [](test::StructuredGrid& g) { g.depths.pop_back(); },
       "HF_READ_SCALAR_VALUES_TIMESTEP.H. error"},
      {"depths at faces", [](test::StructuredGrid& g) { g.location = "i-face"; },
       "GRID_LOC_CENTER.RVS-Z. error"},
      {"depths at nodes", [](test::StructuredGrid& g) { g.location = "node"; },
       "GRID_LOC_CENTER.RVS-Z. error"},
      {"infinite depth",
       [](test::StructuredGrid& g) { g.depths[2] = std::numeric_limits<float>::infinity(); },
       "The depth of cell 3 is infinite"},
      {"no number in i",
       [](test::StructuredGrid& g) { g.i[1] = std::numeric_limits<double>::quiet_NaN(); },
       "HF_GET_GRID_COORDS_I error"},
      {"too large in j", [](test::StructuredGrid& g) { g.j[1] = 1e300; },
       "HF_GET_GRID_COORDS_J error"},
      {"no origin",
       [](test::StructuredGrid& g) { g.x0 = std::numeric_limits<double>::quiet_NaN(); },
       "HF_GET_ORIGIN error"},
      {"no bearing",
       [](test::StructuredGrid& g) { g.bearing = std::numeric_limits<double>::infinity(); },
       "HF_GET_BEARING.Layers. error"},
      {"one column",
       [](test::StructuredGrid& g) {
         g.i = {10.0};
         g.types.resize(2);
         g.depths.resize(2);
       },
       "two columns and two rows or more, this one has 1 by 2"},
      {"backward", [](test::StructuredGrid& g) { std::swap(g.i[0], g.i[2]); }, "ERROR: "},
      {"no active cell", [](test::StructuredGrid& g) { g.types.assign(6, 2); },
       "The grid has no active cells"},
  };
  for (const BadDataset& c : cases) {
    GridRun it(test::structured_cards(), true);
    test::StructuredGrid grid = test::even_grid(3, 2, 10.0, 2.0f);
    c.spoil(grid);
    test::write_structured(it.folder.path("grid.h5"), grid);
    EXPECT_EXIT(READ_GRID_MESH(it.run), testing::ExitedWithCode(0), c.message) << c.name;
  }
}

// Makes a dataset file by hand.
void write_by_hand(const std::string& path, void (*fill)(HyfsHandle file)) {
  HyfsHandle file = 0;
  HyfsFileInfo info;
  info.start_date = "2000-01-01 00:00:00";
  test::good(hfpinitialize_f());
  test::good(hfcreatefile_f(path, true, info, file));
  fill(file);
  test::good(hfclosefile_f(file));
}

HyfsHandle grid_group(HyfsHandle file) {
  HyfsGrid head;
  head.i = {1.0, 2.0};
  head.j = {1.0, 2.0};
  head.k = {1.0};
  HyfsHandle group = 0;
  test::good(hfcreategrid_f(file, "Grid", head));
  test::good(hfopengroup_f(file, "Grid", group));
  return group;
}

TEST(GridMesh, GridFilesWithoutTheirPartsStopTheRun) {
  struct Case {
    void (*fill)(HyfsHandle file);
    const char* message;
  };
  const Case cases[] = {
      {[](HyfsHandle) {}, "grid.h5: \"Grid\": does not exist\nERROR: HF_OPEN_GROUP error"},
      {[](HyfsHandle file) {
         test::good(hfwritepropertyint_f(file, "Grid", {1, 2}));
       },
       "HF_GET_NUMBER_CELLS_IN_I.NumI. error"},
      {[](HyfsHandle file) { grid_group(file); }, "HF_OPEN_GROUP error"},
      {[](HyfsHandle file) {
         test::good(hfwritepropertyint_f(grid_group(file), "Other", {1, 1, 1, 1}));
       },
       "HF_READ_PROPERTY_FLOAT.CellTypes. error"},
      {[](HyfsHandle file) {
         test::good(hfwritepropertyfloat_f(grid_group(file), "CellTypes", {1, 1, 0.5f, 1}));
       },
       "HF_READ_PROPERTY_FLOAT.CellTypes. error"},
      {[](HyfsHandle file) {
         test::good(hfwritepropertyint_f(grid_group(file), "CellTypes", {1, 1, 1, 1}));
       },
       "HF_OPEN_GROUP error .H."},
      {[](HyfsHandle file) {
         test::good(hfwritepropertyint_f(grid_group(file), "CellTypes", {1, 1, 1, 1}));
         HyfsGrid none;
         none.i = none.j = none.k = {1.0};
         test::good(hfcreategrid_f(file, "Grid/Datasets/Depth", none));
       },
       "HF_GET_SCALAR_DATA_LOC.RVS-Z. error"},
      {[](HyfsHandle file) {
         test::good(hfwritepropertyint_f(grid_group(file), "CellTypes", {1, 1, 1, 1}));
         HyfsDatasetInfo about;
         about.location = "centre";
         HyfsHandle depth = 0;
         test::good(hfcreatescalardataset_f(file, "Grid/Datasets/Depth", about, depth));
       },
       "HF_READ_SCALAR_VALUES_TIMESTEP.H. error"},
  };
  int number = 0;
  for (const Case& c : cases) {
    GridRun it(test::structured_cards(), true);
    write_by_hand(it.folder.path("grid.h5"), c.fill);
    EXPECT_EXIT(READ_GRID_MESH(it.run), testing::ExitedWithCode(0), c.message) << "case " << number;
    ++number;
  }
}

// Cut off at many places, overwritten, or no dataset file at all: a message, never a crash.
TEST(GridMesh, DamagedGridFilesStopWithAMessage) {
  test::TemporaryFolder folder;
  test::StructuredGrid grid = test::even_grid(4, 3, 10.0, 2.0f);
  test::write_structured(folder.path("sound.h5"), grid);
  const std::string sound = test::read_text(folder.path("sound.h5"));
  std::vector<std::string> damaged = {"", "no dataset file\n", sound.substr(0, 100)};
  for (int part = 1; part < 12; ++part) {
    damaged.push_back(sound.substr(0, sound.size() * static_cast<std::size_t>(part) / 12));
  }
  std::mt19937 random(3);
  for (int k = 0; k < 12; ++k) {
    std::string text = sound;
    for (int n = 0; n < 40; ++n) text[random() % text.size()] = static_cast<char>(random());
    damaged.push_back(text);
  }
  for (const std::string& text : damaged) {
    GridRun it(test::structured_cards(), true);
    it.folder.write("grid.h5", text);
    // Bytes that nothing depends on do no harm.
    EXPECT_EXIT(
        {
          READ_GRID_MESH(it.run);
          std::fputs("HF_ whole\n", stderr);
          std::exit(0);
        },
        testing::ExitedWithCode(0), "HF_|ERROR: ")
        << text.size() << " bytes";
  }
}

}  // namespace
}  // namespace dfl
