// Cell values to node values against the form that collects the values cell by cell.

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <random>

#include "common/test_run.h"
#include "mesh/grid_files.h"
#include "mesh/grid_mesh.h"
#include "mesh/quadtree_map.h"

namespace dfl {
namespace {

// Node by node four slots of value and distance, filled cell after cell.
Array<float> literal_map(const RunState& run, const Array<float>& values, int location,
                         bool quadtree) {
  const GridState& grid = run.grid;
  const MeshState& mesh = run.mesh;
  Array2<float> work_f, work_d;
  work_f.allocate(mesh.NUMnode, 1, 4, -999.0f);
  work_d.allocate(mesh.NUMnode, 1, 4, -999.0f);
  const double angle = grid.GRIDangle * static_cast<double>(3.14159f) / 180.0;
  const double s = std::sin(angle), c = std::cos(angle);
  for (int k = 1; k <= grid.NUMcells; ++k) {
    const Cell& cell = grid.CELLS(k);
    double xs = 0.0, ys = 0.0;
    if (quadtree) {
      const double x = location == 3 ? cell.X - cell.DX / 2.0 : cell.X;
      const double y = location == 4 ? cell.Y - cell.DY / 2.0 : cell.Y;
      xs = grid.GRIDx0 + c * x + s * y;
      ys = grid.GRIDy0 - s * x + c * y;
    } else {
      const double p = location == 3 ? -cell.DX / 2.0 : 0.0;
      const double q = location == 4 ? -cell.DY / 2.0 : 0.0;
      xs = cell.X + c * p + s * q;
      ys = cell.Y - s * p + c * q;
    }
    for (int corner = 1; corner <= 4; ++corner) {
      const int n = grid.CELLnodes(k, corner);
      if (n == 0) continue;
      for (int slot = 1; slot <= 4; ++slot) {
        if (!(work_d(n, slot) < 0.0f)) continue;
        if (values(k) > -999.0f) {
          const double dx = mesh.Xnode(n) - xs, dy = mesh.Ynode(n) - ys;
          work_f(n, slot) = values(k);
          work_d(n, slot) = static_cast<float>(std::sqrt(dx * dx + dy * dy));
        }
        break;
      }
    }
  }
  Array<float> result;
  result.allocate(mesh.NUMnode);
  for (int n = 1; n <= mesh.NUMnode; ++n) {
    const float f1 = work_f(n, 1), f2 = work_f(n, 2), f3 = work_f(n, 3), f4 = work_f(n, 4);
    const float d1 = work_d(n, 1), d2 = work_d(n, 2), d3 = work_d(n, 3), d4 = work_d(n, 4);
    int count = 0;
    for (int slot = 1; slot <= 4; ++slot) count += work_d(n, slot) > 0.0f ? 1 : 0;
    if (count == 1) {
      result(n) = f1;
    } else if (count == 2) {
      result(n) = f1 * d2 / (d1 + d2) + f2 * d1 / (d1 + d2);
    } else if (count == 3) {
      const float S = d1 + d2 + d3;
      result(n) = (f1 * (S - d1) / S + f2 * (S - d2) / S + f3 * (S - d3) / S) * 0.5f;
    } else {
      const float S = d1 + d2 + d3 + d4;
      result(n) =
          (f1 * (S - d1) / S + f2 * (S - d2) / S + f3 * (S - d3) / S + f4 * (S - d4) / S) / 3.0f;
    }
  }
  return result;
}

void expect_same_bytes(const Array<float>& found, const Array<float>& expected) {
  ASSERT_EQ(found.size(), expected.size());
  int different = 0;
  for (int n = 1; n <= found.size(); ++n) {
    if (std::bit_cast<std::uint32_t>(found(n)) == std::bit_cast<std::uint32_t>(expected(n))) {
      continue;
    }
    if (++different <= 3) ADD_FAILURE() << "node " << n << ": " << found(n) << ", " << expected(n);
  }
  EXPECT_EQ(different, 0);
}

// Values with dry cells of all kinds among them.
Array<float> random_values(int cells, std::uint64_t seed, double dry_share) {
  std::mt19937_64 random(seed);
  std::uniform_real_distribution<double> value(-5.0, 30.0), chance(0.0, 1.0);
  constexpr float marks[] = {-999.0f, -99999.0f, -999.5f, std::numeric_limits<float>::quiet_NaN()};
  Array<float> values;
  for (int k = 0; k < cells; ++k) {
    const bool dry = chance(random) < dry_share;
    values.push_back(dry ? marks[random() % 4] : static_cast<float>(value(random)));
  }
  return values;
}

void map(RunState& run, const Array<float>& values, int location, bool quadtree,
         Array<float>& nodes) {
  if (quadtree) {
    MAP_QUADTREE(run, values, location, nodes);
  } else {
    MAP_GRID(run, values, location, nodes);
  }
}

void compare_all(RunState& run, bool quadtree) {
  for (int location : {0, 3, 4}) {
    for (double dry_share : {0.0, 0.2, 0.7, 1.0}) {
      for (std::uint64_t seed = 1; seed <= 3; ++seed) {
        const Array<float> values = random_values(run.grid.NUMcells, seed, dry_share);
        Array<float> nodes;
        map(run, values, location, quadtree, nodes);
        SCOPED_TRACE(location);
        expect_same_bytes(nodes, literal_map(run, values, location, quadtree));
      }
    }
  }
}

TEST(GridMap, StructuredSameAsCellByCell) {
  test::StructuredGrid grid = test::even_grid(9, 7, 25.0, 4.0f);
  grid.x0 = 412345.0;
  grid.y0 = 5123456.0;
  grid.bearing = 33.0;
  for (std::size_t i = 4; i < grid.i.size(); ++i) grid.i[i] += 7.0 * static_cast<double>(i - 3);
  for (int hole : {11, 12, 21, 40}) grid.types[static_cast<std::size_t>(hole)] = 2;
  test::GridRun it(test::structured_cards());
  test::write_structured(it.folder.path("grid.h5"), grid);
  READ_GRID_MESH(it.run);
  compare_all(it.run, false);
}

TEST(GridMap, TelescopingSameAsCellByCell) {
  const test::QuadtreeGrid grid(8, 6, 64.0, test::random_levels(5, 64.0, 3));
  test::GridRun it(test::telescoping_cards());
  it.folder.write("grid.tel", grid.text(1000.0, 2000.0, 17.0, test::random_islands(2, 0.1)));
  READ_GRID_MESH(it.run);
  compare_all(it.run, true);
}

// Nodes set by hand around which any number of cells lie, and one on which a value stands.
void star(RunState& run, int cells) {
  test::quiet(run, "unused");
  test::set_mesh(run, {{0.0, 0.0, 0.0f}, {50.0, 0.0, 0.0f}}, {});
  run.grid.NUMcells = cells;
  run.grid.CELLS.allocate(cells);
  run.grid.CELLnodes.allocate(cells, 1, 4);
  for (int k = 1; k <= cells; ++k) {
    Cell& cell = run.grid.CELLS(k);
    cell.X = k == 2 ? 50.0 : 10.0 * k;
    cell.Y = k == 2 ? 0.0 : 3.0 * k;
    cell.DX = cell.DY = 4.0;
    run.grid.CELLnodes(k, 1 + k % 4) = 1;
    run.grid.CELLnodes(k, 1 + (k + 1) % 4) = 2;
  }
}

TEST(GridMap, FifthCellIsDroppedUnlessAnEarlierOneIsDry) {
  for (int cells = 1; cells <= 7; ++cells) {
    RunState run;
    star(run, cells);
    compare_all(run, true);
    compare_all(run, false);
  }
  RunState run;
  star(run, 5);
  Array<float> values, nodes, without;
  values.allocate(5, 2.0f);
  values(5) = 1000.0f;
  MAP_QUADTREE(run, values, 0, nodes);
  EXPECT_FLOAT_EQ(nodes(1), 2.0f);
  values(3) = -999.0f;
  MAP_QUADTREE(run, values, 0, without);
  EXPECT_GT(without(1), 100.0f);
}

TEST(GridMap, KnownAnswers) {
  RunState run;
  test::quiet(run, "unused");
  test::set_mesh(run, {{0.0, 0.0, 0.0f}, {2.0, 0.0, 0.0f}, {9.0, 9.0, 0.0f}}, {});
  run.grid.NUMcells = 2;
  run.grid.CELLS.allocate(2);
  run.grid.CELLnodes.allocate(2, 1, 4);
  // Node 1 is 1 from the first centre and 3 from the second; node 2 has one cell; node 3 none.
  run.grid.CELLS(1).X = 1.0;
  run.grid.CELLS(2).X = 3.0;
  run.grid.CELLS(1).DX = run.grid.CELLS(2).DX = 1.0;
  run.grid.CELLnodes(1, 1) = run.grid.CELLnodes(2, 4) = 1;
  run.grid.CELLnodes(2, 2) = 2;
  Array<float> values, nodes;
  values.push_back(8.0f);
  values.push_back(4.0f);
  MAP_GRID(run, values, 0, nodes);
  EXPECT_FLOAT_EQ(nodes(1), 7.0f);  // 8 * 3/4 + 4 * 1/4
  EXPECT_EQ(nodes(2), 4.0f);
  EXPECT_EQ(nodes(3), -999.0f);
  // At the lower I-faces the distances are 0.5 and 2.5.
  MAP_GRID(run, values, 3, nodes);
  EXPECT_FLOAT_EQ(nodes(1), 8.0f * 2.5f / 3.0f + 4.0f * 0.5f / 3.0f);
  values(1) = -999.0f;
  MAP_GRID(run, values, 0, nodes);
  EXPECT_EQ(nodes(1), 4.0f);
}

TEST(GridMap, UnknownLocationOrTooFewValuesStop) {
  for (int location : {-1, 1, 2, 5}) {
    EXPECT_EXIT(
        {
          RunState run;
          star(run, 2);
          test::quiet(run, "unused", true);
          Array<float> values;
          Array<float> nodes;
          values.allocate(2);
          MAP_GRID(run, values, location, nodes);
        },
        testing::ExitedWithCode(0), "ERROR: iPOS \\(map_quadtree\\) error");
  }
  EXPECT_EXIT(
      {
        RunState run;
        star(run, 3);
        test::quiet(run, "unused", true);
        Array<float> values;
        Array<float> nodes;
        values.allocate(2);
        MAP_QUADTREE(run, values, 0, nodes);
      },
      testing::ExitedWithCode(0), "2 values for 3 cells");
}

}  // namespace
}  // namespace dfl
