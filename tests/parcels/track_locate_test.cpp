// Location of a moved position and the estimates that stand in for formulas.

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "flow/vertical_profile.h"
#include "parcels/estimates.h"
#include "parcels/mesh_walk.h"
#include "parcels/parcel_locate.h"
#include "tests/parcels/literal_tracking.h"
#include "tests/parcels/track_case.h"

namespace dfl {
namespace {

using test::TemporaryFolder;

// A jittered lattice with its lower edge open, an island, and on demand an element laid over
// others and a thin one.
void make_mesh(RunState& run, const TemporaryFolder& folder, bool overlap) {
  constexpr int columns = 14, rows = 10;
  std::vector<test::TestNode> nodes;
  std::vector<test::TestElement> elements;
  test::rectangle_mesh(columns, rows, 10.0, 4.0f, nodes, elements);
  std::mt19937_64 random(17);
  std::uniform_real_distribution<double> jitter(-3.5, 3.5);
  const auto number = [&](int i, int j) { return j * (columns + 1) + i + 1; };
  for (int j = 1; j < rows; ++j) {
    for (int i = 1; i < columns; ++i) {
      nodes[static_cast<std::size_t>(number(i, j)) - 1].x += jitter(random);
      nodes[static_cast<std::size_t>(number(i, j)) - 1].y += jitter(random);
    }
  }
  const auto hole = elements.begin() + 2 * (5 * columns + 7);
  elements.erase(hole, hole + 2);
  if (overlap) {
    for (const auto& [x, y] : {std::pair{30.0, 30.0},
                               {42.0, 31.0},
                               {36.0, 42.0},
                               {60.0, 20.0},
                               {120.0, 20.001},
                               {90.0, 20.002}}) {
      nodes.push_back({x, y, 4.0f});
    }
    const int n = static_cast<int>(nodes.size());
    elements.push_back({n - 5, n - 4, n - 3});
    elements.push_back({n - 2, n - 1, n});
  }
  test::set_mesh(run, nodes, elements);
  std::vector<int> land, open, island;
  for (int i = 0; i <= columns; ++i) open.push_back(number(i, 0));
  for (int j = 0; j <= rows; ++j) land.push_back(number(columns, j));
  for (int i = columns; i > 0; --i) land.push_back(number(i, rows));
  for (int j = rows; j >= 0; --j) land.push_back(number(0, j));
  island = {number(7, 5), number(7, 6), number(8, 6), number(8, 5), number(7, 5)};
  test::finish_mesh(run, folder, {open}, {land, island});
  test::still_water(run);
}

class Locate : public testing::TestWithParam<bool> {};

TEST_P(Locate, AgreesWithTheFullSearchForMovesOfAllLengths) {
  TemporaryFolder folder;
  RunState run;
  make_mesh(run, folder, GetParam());
  const test::FieldsPointer fields = test::packed_fields(run);
  std::mt19937_64 random(23);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  int stopped = 0, left = 0, lost = 0;
  for (int i = 0; i < 60000; ++i) {
    Stage s;
    double x = unit(random) * 140.0, y = unit(random) * 100.0;
    const int node = 1 + static_cast<int>(unit(random) * run.mesh.NUMnode);
    if (i % 5 == 1) {  // from a node
      x = run.mesh.Xnode(node);
      y = run.mesh.Ynode(node);
    }
    s.element = s.e0 = FIND_ELEMENT(run.mesh, x, y);
    if (s.e0 == 0) continue;
    s.Xs = x;
    s.Ys = y;
    s.height = s.h0 = 1.0f;
    s.B0 = 4.0f;
    const double length = std::pow(10.0, 3.0 * unit(random) - 1.0), angle = 6.3 * unit(random);
    s.x = x + length * std::cos(angle);
    s.y = y + length * std::sin(angle);
    if (i % 7 == 1) s.x = x;  // a vertical path
    if (i % 7 == 2) s.y = y;
    if (i % 11 == 1) {  // to a node
      s.x = run.mesh.Xnode(node);
      s.y = run.mesh.Ynode(node);
    }
    literal::Working w{s};
    const double to_x = s.x, to_y = s.y;
    PARCEL_LOCATE(run, *fields, false, s);
    literal::PARCEL_LOCATE(run, w);
    ASSERT_EQ(s.status, w.status) << i << ": " << x << " " << y << " to " << to_x << " " << to_y;
    if (w.status < 0) {
      (w.status == lost_open_boundary ? left : lost) += 1;
      continue;
    }
    ASSERT_EQ(s.element, w.element) << i << ": " << x << " " << y << " to " << to_x << " " << to_y;
    ASSERT_EQ(s.x, w.x);
    ASSERT_EQ(s.y, w.y);
    ASSERT_EQ(s.z, w.z);
    stopped += s.x != x + length * std::cos(angle) && i % 77 > 2 ? 1 : 0;
  }
  EXPECT_GT(stopped, 100);
  EXPECT_GT(left, 100);
  EXPECT_GT(lost, 10);
}

INSTANTIATE_TEST_SUITE_P(Meshes, Locate, testing::Bool(),
                         [](const auto& v) { return v.param ? "overlapping" : "sound"; });

TEST(MeshWalk, TrustsNoElementThatOverlapsAnotherOrIsThin) {
  TemporaryFolder sound_folder, bad_folder;
  RunState sound, bad;
  make_mesh(sound, sound_folder, false);
  make_mesh(bad, bad_folder, true);
  const test::FieldsPointer sound_fields = test::packed_fields(sound);
  const test::FieldsPointer bad_fields = test::packed_fields(bad);
  for (const TrackElement& t : sound_fields->elements) EXPECT_TRUE(std::isfinite(t.well_inside));
  // The two elements laid over others are the last.
  EXPECT_FALSE(std::isfinite(bad_fields->elements(bad.mesh.NUMelem - 1).well_inside));
  EXPECT_FALSE(std::isfinite(bad_fields->elements(bad.mesh.NUMelem).well_inside));
  EXPECT_FALSE(
      std::isfinite(bad_fields->elements(FIND_ELEMENT(sound.mesh, 36.0, 34.0)).well_inside));
  EXPECT_TRUE(
      std::isfinite(bad_fields->elements(FIND_ELEMENT(sound.mesh, 130.0, 90.0)).well_inside));
}

TEST(Estimate, CentreOfMotionIsGoodToOnePercent) {
  std::mt19937_64 random(31);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const auto power = [&](double low, double high) {
    return static_cast<float>(std::pow(10.0, low + (high - low) * unit(random)));
  };
  int estimated = 0, low_centroids = 0;
  for (int i = 0; i < 300000; ++i) {
    const float H = power(-1.5, 2.5), KSgrain = power(-4.5, -1.0);
    const float KStotal = std::max(KSgrain, power(-4.5, 0.3));
    const float Ws = power(-5.0, 0.0), ustar = power(-4.0, 0.0), S = power(-3.0, 1.0);
    const float MOBILITY = power(0.0, 4.0);
    if (H < KSgrain) continue;
    const float ustarc = S / (5.75f * std::log10(H / KSgrain) + 6.0f);
    float hc = 0.0f, fr = 0.0f;
    SUSPENDED_LAYER(VelocityMethod::log, H, Ws, S, MOBILITY, KStotal, KSgrain, ustarc, ustar, hc,
                    fr);
    if (centroid_is_low(H, S, KStotal, KSgrain, ustar)) {
      ++low_centroids;
      ASSERT_LT(hc, 0.495f * H) << H << " " << KStotal << " " << KSgrain << " " << Ws;
    }
    const float c = estimate_centroid_at(H / KStotal, H / KSgrain, Ws, S, MOBILITY, KStotal, ustar);
    if (c < 0.0f) continue;
    ++estimated;
    ASSERT_NEAR(c / hc, 1.0f, 0.01f) << "H " << H << " Ws " << Ws << " S " << S << " M " << MOBILITY
                                     << " K " << KStotal << " " << KSgrain << " u* " << ustar;
  }
  EXPECT_GT(estimated, 50000);
  EXPECT_GT(low_centroids, 50000);
}

TEST(Estimate, PowersAndLogarithmsAreGoodToTheirBounds) {
  for (float x = 1.0e-6f; x < 1.0e6f; x *= 1.0037f) {
    EXPECT_NEAR(estimate_log2(x), std::log2(x), 2.0e-4f);
  }
  for (float x = -119.0f; x < 119.0f; x += 0.0173f) {
    EXPECT_NEAR(estimate_exp2(x) / std::exp2(x), 1.0f, 2.0e-4f) << x;
  }
}

}  // namespace
}  // namespace dfl
