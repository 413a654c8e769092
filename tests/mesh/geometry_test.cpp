#include "mesh/geometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "mesh/random_mesh.h"

namespace dfl {
namespace {

TEST(Geometry, AreaIsSignedAndEdgesAreInside) {
  EXPECT_EQ(TRIANGLE_AREA(0, 0, 4, 0, 0, 3), 6.0);
  EXPECT_EQ(TRIANGLE_AREA(0, 0, 0, 3, 4, 0), -6.0);
  struct Case {
    double x, y;
    bool inside;
  };
  const Case cases[] = {{1, 1, true},        {0, 0, true},     {4, 0, true},
                        {2, 0, true},        {2, 1.5, true},   {2, 1.5000001, false},
                        {-1e-300, 1, false}, {1, -1e-9, false}};
  for (const Case& c : cases) {
    EXPECT_EQ(IN_TRIANGLE(c.x, c.y, 0, 0, 4, 0, 0, 3), c.inside) << c.x << ' ' << c.y;
  }
}

struct WeightCase {
  double w1, w2, w3;  // before the repair
  bool good;
  double r1, r2, r3;  // after it
};

// On the triangle (0,0) (1,0) (0,1) with a stored area of A the weights at (x, y) are 1-x-y, x and
// y times 0.5/A: any three weights can be set, as an area rounded to 4 bytes does in small.
TEST(Geometry, WeightsAreRepairedByTheSumOfTheOthers) {
  const WeightCase cases[] = {
      {-0.02, 0.5, 0.5, true, 0.0, 0.5, 0.5},
      {-0.02, 0.5, 0.51, false, 0, 0, 0},
      {-0.001, 0.5, 0.499, true, 0.001, 0.5, 0.499},
      {-0.001, 0.5, 0.49, false, 0, 0, 0},
      {-0.001, 0.5, 0.504, true, 0.0, 0.5 / 1.004, 1.0 - 0.5 / 1.004},
      {0.499, -0.001, 0.5, true, 0.499, 0.001, 0.5},
      {0.5, -0.001, 0.504, true, 1.0 - 0.504 / 1.004, 0.0, 0.504 / 1.004},
      {0.5, -0.001, 0.51, false, 0, 0, 0},
      {0.499, 0.5, -0.001, true, 0.499, 0.5, 0.001},
      {0.504, 0.5, -0.001, true, 0.504 / 1.004, 1.0 - 0.504 / 1.004, 0.0},
      {0.49, 0.5, -0.001, false, 0, 0, 0},
      // The second repair works on what the first left.
      {-0.001, -0.001, 0.999, true, 1.0 - 0.999 / 1.001, 0.0, 0.999 / 1.001},
      // Weights that are not negative stay, whatever their sum.
      {0.25, 0.5, 0.5, true, 0.25, 0.5, 0.5},
      {0.0, 0.0, 1.0, true, 0.0, 0.0, 1.0},
  };
  for (const WeightCase& c : cases) {
    const auto area = static_cast<float>(0.5 / (c.w1 + c.w2 + c.w3));
    const double x = 2.0 * static_cast<double>(area) * c.w2;
    const double y = 2.0 * static_cast<double>(area) * c.w3;
    Weights w;
    ASSERT_EQ(try_weighting_facs(x, y, 0, 0, 1, 0, 0, 1, area, w), c.good) << c.w1 << ' ' << c.w2;
    if (!c.good) continue;
    // The area is good to 6e-8 only.
    EXPECT_NEAR(static_cast<double>(w.w1), c.r1, 1e-7) << c.w1 << ' ' << c.w2 << ' ' << c.w3;
    EXPECT_NEAR(static_cast<double>(w.w2), c.r2, 1e-7) << c.w1 << ' ' << c.w2 << ' ' << c.w3;
    EXPECT_NEAR(static_cast<double>(w.w3), c.r3, 1e-7) << c.w1 << ' ' << c.w2 << ' ' << c.w3;
  }
}

TEST(Geometry, WeightsThatAreNoNumbersAreAnError) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  Weights w;
  EXPECT_FALSE(try_weighting_facs(0.5, 0.0, 0, 0, 1, 0, 2, 0, 0.0f, w));  // no area
  EXPECT_FALSE(try_weighting_facs(nan, 0.2, 0, 0, 1, 0, 0, 1, 0.5f, w));
}

void stop_in_weights(const std::string& prefix) {
  RunState run;
  test::quiet(run, prefix, true);
  WEIGHTING_FACS(run.messages, 3.0, 0.5, 0, 0, 1, 0, 0, 1, 0.5f);
  std::exit(7);
}

TEST(GeometryDeathTest, CalculationErrorLeavesItsOperands) {
  const test::TemporaryFolder folder;
  EXPECT_EXIT(stop_in_weights(folder.path("run")), testing::ExitedWithCode(0),
              "\\*\\*\\* Calculation error in WEIGHTING_FACS \\*\\*\\*");
  EXPECT_EQ(test::read_text(folder.path("run.err")),
            "x, y 3 0.5\nx1, y1 0 0\nx2, y2 1 0\nx3, y3 0 1\n"
            "x2*y3-x3*y2, y2-y3, x3-x2 1 -1 -1\n"
            "x3*y1-x1*y3, y3-y1, x1-x3 0 1 0\n"
            "x1*y2-x2*y1, y1-y2, x2-x1 0 0 1\n"
            "area 0.5\nw1, w2, w3 -2.5 3 0.5\n");
}

TEST(Geometry, LineCoefficients) {
  float slope = 0.0f, intercept = 0.0f;
  LINE_COEFS(2.0, 2.0, 1.0, 5.0, slope, intercept);
  EXPECT_EQ(slope, largest_float);
  EXPECT_EQ(intercept, largest_float);
  LINE_COEFS(2.0, 5.0, 7.0, 7.0, slope, intercept);
  EXPECT_EQ(slope, 0.0f);
  EXPECT_EQ(intercept, 7.0f);
  // Far from the origin the intercept shows that the slope was rounded first.
  LINE_COEFS(500000.0, 500003.0, 10.0, 11.0, slope, intercept);
  EXPECT_EQ(slope, static_cast<float>(1.0 / 3.0));
  EXPECT_EQ(intercept, static_cast<float>(
                           10.0 - static_cast<double>(static_cast<float>(1.0 / 3.0)) * 500000.0));
  double slope8 = 0.0, intercept8 = 0.0;
  LINE_COEFS8(500000.0, 500003.0, 10.0, 11.0, slope8, intercept8);
  EXPECT_EQ(slope8, 1.0 / 3.0);
  EXPECT_EQ(intercept8, 10.0 - 1.0 / 3.0 * 500000.0);
  LINE_COEFS8(2.0, 2.0, 1.0, 5.0, slope8, intercept8);
  EXPECT_EQ(slope8, 1.7976931348623157e308);
  EXPECT_EQ(intercept8, 1.7976931348623157e308);
}

// The plain exchange form of the sort: the order of equal keys depends on it.
std::vector<int> shell_sorted(std::vector<double> key) {
  const auto count = static_cast<int>(key.size());
  std::vector<int> index(key.size());
  std::iota(index.begin(), index.end(), 1);
  for (int gap = count / 2; gap > 0; gap /= 2) {
    for (int i = 0; i < count - gap; ++i) {
      for (int j = i; j >= 0; j -= gap) {
        const auto low = static_cast<std::size_t>(j), high = static_cast<std::size_t>(j + gap);
        if (key[high] >= key[low]) break;
        std::swap(key[high], key[low]);
        std::swap(index[high], index[low]);
      }
    }
  }
  return index;
}

void expect_shell_order(const std::vector<double>& values) {
  Array<double> keys;
  Array<int> index;
  for (const double value : values) {
    keys.push_back(value);
    index.push_back(keys.size());
  }
  SORT_KEYS(keys, index);
  const std::vector<int> expected = shell_sorted(values);
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), index.begin(), index.end()));
}

TEST(Geometry, EqualKeysStandAsTheShellSortLeavesThem) {
  std::mt19937 random(5);
  for (int count : {0, 1, 2, 3, 7, 100, 1000}) {
    for (int different : {1, 3, 40, 100000}) {
      SCOPED_TRACE(std::to_string(count) + " " + std::to_string(different));
      std::uniform_int_distribution<int> value(1, different);
      std::vector<double> values;
      for (int i = 1; i <= count; ++i) values.push_back(value(random));
      expect_shell_order(values);
    }
  }
}

// Columns in a power of two keep the gaps from mixing them: entries then sink far at small gaps,
// and the sort takes its other way.
TEST(Geometry, LatticeInPowersOfTwoIsSortedAlike) {
  constexpr int count = 1 << 14, columns = 64;
  std::vector<double> values;
  for (int i = 0; i < count; ++i) values.push_back(i / 2 % columns);
  expect_shell_order(values);
}

TEST(Geometry, MeshGeometryOfTwoTriangles) {
  RunState run;
  test::quiet(run, "unused");
  test::set_mesh(run, {{0, 0, 1}, {2, 0, 1}, {2, 3, 1}, {-1, 3, 1}}, {{1, 2, 3}, {1, 3, 4}});
  MESH_GEOMETRY(run);
  const MeshState& mesh = run.mesh;
  EXPECT_EQ(mesh.AREAelem(1), 3.0f);
  EXPECT_EQ(mesh.AREAelem(2), 4.5f);
  EXPECT_EQ(mesh.XMINelem(2), -1.0);
  EXPECT_EQ(mesh.XMAXelem(2), 2.0);
  EXPECT_EQ(mesh.YMINelem(2), 0.0);
  EXPECT_EQ(mesh.YMAXelem(2), 3.0);
  EXPECT_EQ(mesh.SORTxmin(1), 2);
  EXPECT_EQ(mesh.SORTxmax(1), 1);
  EXPECT_EQ(mesh.MESHtol, std::sqrt(3.0f) / 5.0f);

  RunState large;
  test::quiet(large, "unused");
  test::set_mesh(large, {{0, 0, 1}, {200, 0, 1}, {200, 300, 1}}, {{1, 2, 3}});
  MESH_GEOMETRY(large);
  EXPECT_EQ(large.mesh.MESHtol, 1.0f);
}

void turn_an_element() {
  RunState run;
  test::quiet(run, "/dev/null/unused", true);
  test::set_mesh(run, {{0, 0, 1}, {2, 0, 1}, {2, 3, 1}, {0, 3, 1}}, {{1, 2, 3}, {1, 4, 3}});
  MESH_GEOMETRY(run);
  std::exit(7);
}

TEST(GeometryDeathTest, ClockwiseElementStopsWithItsNumber) {
  EXPECT_EXIT(turn_an_element(), testing::ExitedWithCode(0),
              "ERROR: ELEMENT not counter-clockwise     2 <RETURN>");
}

}  // namespace
}  // namespace dfl
