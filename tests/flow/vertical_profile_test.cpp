#include "flow/vertical_profile.h"

#include <gtest/gtest.h>

#include <cmath>

namespace dfl {
namespace {

// One node, levels at 0.25, 0.5 and `top`; values 10, 20, 40; 7 at level 0.
struct Column {
  explicit Column(float top) {
    flow.NUMlayers = 3;
    flow.SIGMA.allocate(3);
    flow.SIGMA(1) = 0.25f;
    flow.SIGMA(2) = 0.5f;
    flow.SIGMA(3) = top;
    field.allocate(3, 0, 3);
    for (int n = 1; n <= 3; ++n) {
      field(n, 0) = 7.0f;
      field(n, 1) = 10.0f * static_cast<float>(n);
      field(n, 2) = 20.0f * static_cast<float>(n);
      field(n, 3) = 40.0f * static_cast<float>(n);
    }
  }
  float at(float z, EndRule bottom, EndRule top) const {
    return VERT_INTERP(flow, FlowFormat::adcirc, z, 8.0f, 0, bottom, top, field, 1);
  }
  FlowState flow;
  Array2<float> field;
};

TEST(VerticalProfile, LevelPositionAtEdges) {
  const float to_surface[] = {0.25f, 0.5f, 1.0f};
  const float below_surface[] = {0.25f, 0.5f, 0.75f};
  const float from_bed[] = {0.0f, 0.5f, 1.0f};
  const struct {
    float z;
    const float* SIGMA;
    float position;
  } cases[] = {
      {0.0f, to_surface, 0.0f},    {-1.0f, to_surface, 0.0f},   {1.0f, to_surface, 0.5f},
      {2.0f, to_surface, 1.0f},    {3.0f, to_surface, 1.5f},    {4.0f, to_surface, 2.0f},
      {6.0f, to_surface, 2.5f},    {8.0f, to_surface, 3.0f},    {9.0f, to_surface, 3.0f},
      {6.0f, below_surface, 3.0f}, {7.0f, below_surface, 3.5f}, {8.0f, below_surface, 4.0f},
      {0.0f, from_bed, 0.0f},      {2.0f, from_bed, 1.5f},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(LEVEL_POSITION(c.z, 8.0f, 3, c.SIGMA), c.position) << c.z << ' ' << c.SIGMA[2];
  }
  EXPECT_EQ(LEVEL_POSITION(0.0f, 0.0f, 3, to_surface), 0.0f);  // no water
}

TEST(VerticalProfile, EndRulesBelowAndAboveTheLevels) {
  constexpr EndRule hold = EndRule::hold, zero = EndRule::to_zero;
  const struct {
    float z;
    EndRule bottom, top;
    float with_top_at_surface, with_top_below;  // top level at 1 and at 0.75
  } cases[] = {
      {0.0f, zero, hold, 0.0f, 0.0f},   {0.0f, hold, hold, 10.0f, 10.0f},
      {1.0f, zero, hold, 5.0f, 5.0f},   {1.0f, hold, hold, 10.0f, 10.0f},
      {3.0f, zero, hold, 15.0f, 15.0f}, {5.0f, zero, hold, 25.0f, 30.0f},
      {8.0f, zero, hold, 40.0f, 40.0f}, {7.0f, zero, hold, 35.0f, 40.0f},
      {8.0f, zero, zero, 40.0f, 0.0f},  {7.0f, zero, zero, 35.0f, 20.0f},
      {9.0f, zero, zero, 40.0f, 0.0f},
  };
  const Column to_surface(1.0f), below_surface(0.75f);
  for (const auto& c : cases) {
    EXPECT_FLOAT_EQ(to_surface.at(c.z, c.bottom, c.top), c.with_top_at_surface) << c.z;
    EXPECT_FLOAT_EQ(below_surface.at(c.z, c.bottom, c.top), c.with_top_below) << c.z;
  }
  EXPECT_EXIT(to_surface.at(0.0f, static_cast<EndRule>(2), hold), testing::ExitedWithCode(0), "");
}

TEST(VerticalProfile, WithoutLevelsTheDepthAverageServes) {
  Column column(1.0f);
  column.flow.NUMlayers = 0;
  EXPECT_EQ(column.at(3.0f, EndRule::to_zero, EndRule::hold), 7.0f);
  Array2<float> without_average;
  without_average.allocate(1, 1, 0);
  EXPECT_EQ(VERT_INTERP(column.flow, FlowFormat::adcirc, 3.0f, 8.0f, 1, EndRule::to_zero,
                        EndRule::to_zero, without_average, 1),
            0.0f);
}

TEST(VerticalProfile, ElementValueIsTheWeightedSumAlsoWithLevelsPerNode) {
  Column column(1.0f);
  const Weights w = {0.5f, 0.25f, 0.25f};
  const auto value = [&](FlowFormat format) {
    return ELEMENT_VERT_INTERP(column.flow, format, w, 1, 2, 3, 3.0f, 8.0f, 0, EndRule::to_zero,
                               EndRule::hold, column.field);
  };
  EXPECT_FLOAT_EQ(value(FlowFormat::adcirc), 15.0f * (0.5f + 0.5f + 0.75f));
  column.flow.SIGnode.allocate(3, 1, 3);
  for (int n = 1; n <= 3; ++n) {
    for (int k = 1; k <= 3; ++k) column.flow.SIGnode(n, k) = column.flow.SIGMA(k);
  }
  EXPECT_FLOAT_EQ(value(FlowFormat::n3d), 15.0f * (0.5f + 0.5f + 0.75f));
  // At node 3 the whole of its levels lies higher: 0.375 is half way to the first.
  for (int k = 1; k <= 3; ++k)
    column.flow.SIGnode(3, k) = 0.75f + 0.01f * static_cast<float>(k - 1);
  EXPECT_FLOAT_EQ(value(FlowFormat::n3d), 15.0f * (0.5f + 0.5f) + 0.5f * 30.0f * 0.25f);
}

TEST(VerticalProfile, TwoPointLineKeepsTheMeanAndPassesTheBottomPoint) {
  constexpr float H = 5.0f, zb = 1.0f, z0 = 0.01f, U = 1.0f, UB = 0.4f;
  float u = 0.0f, v = 0.0f;
  TWO_POINT_PROFILE(H, zb, z0, U, 0.0f, UB, -UB, zb, u, v);
  EXPECT_EQ(u, UB);  // exactly at the point: the logarithmic branch
  EXPECT_EQ(v, -UB);
  // A line: its mean from z0 to H is its value halfway.
  TWO_POINT_PROFILE(H, zb, z0, U, 0.0f, UB, 0.0f, 0.5f * (H + z0), u, v);
  EXPECT_NEAR(u * (H - z0), U * H, 1.0e-5f);
  EXPECT_NEAR(v, 0.0f, 1.0e-6f);
  TWO_POINT_PROFILE(H, zb, z0, U, 0.0f, UB, 0.0f, 0.1f, u, v);
  EXPECT_FLOAT_EQ(u, 0.5f * UB);  // halfway from z0 to zb on the logarithmic scale
  TWO_POINT_PROFILE(H, zb, z0, U, U, UB, UB, z0, u, v);
  EXPECT_EQ(u, 0.0f);
  EXPECT_EQ(v, 0.0f);
  // No line: depth of the roughness, or a bottom point at half depth.
  TWO_POINT_PROFILE(z0, -999.0f, z0, U, U, UB, UB, 0.0f, u, v);
  EXPECT_EQ(u, UB);
  TWO_POINT_PROFILE(4.0f, 2.0f, 0.0f, U, U, UB, UB, 3.0f, u, v);
  EXPECT_EQ(u, UB);
  TWO_POINT_PROFILE(4.0f, 1.0f, 0.0f, U, U, UB, UB, 0.5f, u, v);
  EXPECT_EQ(u, UB);
}

TEST(VerticalProfile, GradientOfALinearField) {
  const auto f = [](double x, double y) { return static_cast<float>(3.0 + 2.0 * x - 0.5 * y); };
  EXPECT_FLOAT_EQ(DFDX(0.5f, 0, 0, 1, 0, 0, 1, f(0, 0), f(1, 0), f(0, 1)), 2.0f);
  EXPECT_FLOAT_EQ(DFDY(0.5f, 0, 0, 1, 0, 0, 1, f(0, 0), f(1, 0), f(0, 1)), -0.5f);
}

TEST(VerticalProfile, ContinuityFallsToZeroAtTheSurface) {
  EXPECT_FLOAT_EQ(CONTINUITY_W(1.0f, 5.0f, 0.01f, 9.0f, 1.0f, 60.0, 60.0), 0.04f);
  EXPECT_EQ(CONTINUITY_W(5.0f, 5.0f, 0.01f, 2.0f, 1.0f, 120.0, 60.0), 0.0f);
  EXPECT_FLOAT_EQ(CONTINUITY_W(0.0f, 5.0f, 0.0f, 1.6f, 1.0f, 120.0, 60.0), 0.01f);
  EXPECT_EQ(CONTINUITY_W(0.0f, 0.0f, 1.0f, 2.0f, 1.0f, 120.0, 60.0), 0.0f);
}

TEST(VerticalProfile, SuspendedFractionHasLimits) {
  EXPECT_EQ(SUSPENDED_FRACTION(1.0f, 1.0e-6f), 0.0f);
  EXPECT_EQ(SUSPENDED_FRACTION(1.0e-7f, 1.0f), 1.0f);
  EXPECT_FLOAT_EQ(SUSPENDED_FRACTION(1.0f, std::exp(0.3f)), 0.5f);
  EXPECT_EQ(SUSPENDED_FRACTION(0.0f, 0.0f), 1.0f);   // never settles
  EXPECT_EQ(SUSPENDED_FRACTION(-0.1f, 0.1f), 0.0f);  // lighter than water
}

TEST(VerticalProfile, RouseCentroidHasLimits) {
  const float highest = 0.0398f * 4.0f * std::pow(10.0f, 1.08f);
  EXPECT_FLOAT_EQ(ROUSE_CENTROID(4.0f, 0.0f, 0.1f), highest);
  EXPECT_FLOAT_EQ(ROUSE_CENTROID(4.0f, 1.0e-12f, 1.0f), highest);
  EXPECT_FLOAT_EQ(ROUSE_CENTROID(4.0f, -0.01f, 0.1f), highest);
  EXPECT_FLOAT_EQ(ROUSE_CENTROID(4.0f, 0.0f, 0.0f), highest);
  EXPECT_FLOAT_EQ(ROUSE_CENTROID(4.0f, 0.1f, 0.0f), 0.0398f * 4.0f * std::pow(10.0f, -1.08f));
}

struct Layer {
  float hc = -1.0f, fr = -1.0f;
};
Layer layer(VelocityMethod method, float Ws, float S, float MOBILITY, float ustarc, float ustar) {
  Layer l;
  SUSPENDED_LAYER(method, 4.0f, Ws, S, MOBILITY, 0.03f, 0.006f, ustarc, ustar, l.hc, l.fr);
  return l;
}

TEST(VerticalProfile, SuspendedLayerOfBedLoadAlone) {
  const float lowest = 0.03f * std::pow(10.0f, -1.47826f);
  // ustar at 1e-6 Ws: all bed load; a mobility of 1 gives the factor 3.
  EXPECT_FLOAT_EQ(layer(VelocityMethod::log, 1.0f, 0.5f, 1.0f, 0.02f, 1.0e-6f).fr,
                  3.0f * 0.02f / 0.5f);
  EXPECT_NEAR(layer(VelocityMethod::log, 1.0f, 0.0f, 1.0e12f, 0.02f, 1.0e-6f).fr,
              10.0f * 0.02f / 0.001f, 1.0e-2f);  // the speed S is at least 0.001
  const Layer still = layer(VelocityMethod::two_point, 0.1f, 0.0f, 1.0f, 0.0f, 0.0f);
  EXPECT_EQ(still.fr, 0.0f);
  EXPECT_FLOAT_EQ(still.hc, lowest);
  // The bed may still move while the node's shear velocity, as old as the last bed update, is
  // almost nothing.
  for (const float ustar : {0.0f, 1.0e-30f, 1.0e-6f}) {
    const Layer l = layer(VelocityMethod::log, 0.01f, 1.0f, 1.0f, 0.02f, ustar);
    EXPECT_EQ(l.hc, lowest) << ustar;
    EXPECT_NEAR(l.fr, 3.0f * 0.02f, 1.0e-3f);
  }
}

// The power is formed from left to right: dividing first gives other last digits, which the
// positions of parcels show.
TEST(VerticalProfile, SuspendedLayerHeightIsFormedFromLeftToRight) {
  int differing = 0;
  for (int i = 1; i <= 200; ++i) {
    const float ustar = 0.0137f + 0.00031f * static_cast<float>(i);
    // With a mean speed of 1 fr is the speed of the centre.
    const Layer l = layer(VelocityMethod::log, 0.01f, 1.0f, 5.0f, 0.012f, ustar);
    ASSERT_EQ(l.hc, 0.03f * std::pow(10.0f, 0.173913f * l.fr / ustar - 1.47826f)) << ustar;
    if (l.hc != 0.03f * std::pow(10.0f, 0.173913f * (l.fr / ustar) - 1.47826f)) ++differing;
  }
  EXPECT_GT(differing, 20);
}

TEST(VerticalProfile, SuspendedLayerOfUniformAndThreeDimensionalFlow) {
  const float fs = SUSPENDED_FRACTION(0.01f, 0.02f), hr = ROUSE_CENTROID(4.0f, 0.01f, 0.02f);
  for (const VelocityMethod method : {VelocityMethod::uniform, VelocityMethod::sigma_3d}) {
    const Layer l = layer(method, 0.01f, 0.8f, 5.0f, 0.012f, 0.02f);
    EXPECT_EQ(l.fr, 1.0f);
    EXPECT_EQ(l.hc, (1.0f - fs) * 0.006f * 0.5f + fs * hr);
  }
}

TEST(VerticalProfile, VanRijnCentroidLiesInTheWaterAndGivesTheSpeedThere) {
  MessageState messages;
  CentroidInput in;
  in.H = 5.0f;
  in.S = in.u = 1.2f;
  in.D = 0.0002f;
  in.KStotal = 0.05f;
  in.temperature = 15.0f;
  in.salinity = 0.034f;
  in.ustar = 0.06f;
  float hc = 0.0f, fr = 0.0f;
  CENTROID_VAN_RIJN(messages, VelocityMethod::log, in, 0.02f, 0.0006f, hc, fr);
  EXPECT_GT(hc, 0.0f);
  EXPECT_LT(hc, 5.0f);
  EXPECT_FLOAT_EQ(fr, 0.06f * 2.5f * std::log(30.0f * hc / 0.05f) / 1.2f);
  const float hc_log = hc;
  CENTROID_VAN_RIJN(messages, VelocityMethod::uniform, in, 0.02f, 0.0006f, hc, fr);
  EXPECT_EQ(hc, hc_log);
  EXPECT_EQ(fr, 1.0f);
  // Waves of no height change nothing, whatever their direction.
  in.waves = true;
  in.wave_period = 8.0f;
  in.wave_direction = -90.0f;
  CENTROID_VAN_RIJN(messages, VelocityMethod::uniform, in, 0.02f, 0.0006f, hc, fr);
  EXPECT_NEAR(hc, hc_log, 1.0e-3f * hc_log);
  // Still water carries no load: the height of the uniform profile, no speed.
  in.waves = false;
  in.S = in.u = in.ustar = 0.0f;
  CENTROID_VAN_RIJN(messages, VelocityMethod::log, in, 0.02f, 0.0006f, hc, fr);
  EXPECT_TRUE(std::isfinite(hc));
  EXPECT_EQ(fr, 0.0f);
}

}  // namespace
}  // namespace dfl
