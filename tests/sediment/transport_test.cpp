#include <gtest/gtest.h>

#include <cmath>

#include "sediment/bedforms.h"
#include "sediment/transport_formulas.h"

namespace dfl {
namespace {

constexpr float rho = 1025.0f, rhos = 2650.0f, nu = 1.1e-6f;

void expect_close(float value, double expected, double relative) {
  EXPECT_NEAR(static_cast<double>(value), expected, relative * std::abs(expected));
}

TEST(ClosedFormulas, LoadsOfThreePoints) {
  // Worked out in double precision by a separate calculation.
  const struct {
    float D50, h, U, Uw, T, Dstar, Ucr;
    double soulsby, van_rijn;
  } cases[] = {
      {0.0002f, 5.0f, 1.0f, 0.5f, 8.0f, 4.68491f, 0.380942f, 0.00062498, 1.33291},
      {0.001f, 2.0f, 1.5f, 0.0f, 0.0f, 23.4245f, 0.485255f, 0.000666659, 0.976497},
      {0.0002f, 5.0f, 0.3f, 0.0f, 8.0f, 4.68491f, 0.380942f, 0.0, 0.0},  // below the threshold
  };
  for (const auto& c : cases) {
    expect_close(
        Q_SOULSBY_VAN_RIJN(c.D50, c.h, rho, rhos, c.U, c.Uw, c.Ucr, 0.0f, transport_z0, c.Dstar),
        c.soulsby, 1.0e-4);
    expect_close(Q_VAN_RIJN_2017(c.D50, c.h, rho, rhos, c.U, c.Uw, c.Ucr, c.T, c.Dstar), c.van_rijn,
                 1.0e-4);
  }
}

TEST(ClosedFormulas, StillWaterCarriesNothing) {
  EXPECT_EQ(Q_VAN_RIJN_2017(0.0002f, 5.0f, rho, rhos, 0.0f, 0.0f, 0.38f, 8.0f, 4.7f), 0.0f);
  EXPECT_EQ(
      Q_SOULSBY_VAN_RIJN(0.0002f, 5.0f, rho, rhos, 0.0f, 0.0f, 0.38f, 0.0f, transport_z0, 4.7f),
      0.0f);
  const Load load = Q_CAMENEN_LARSON(0.0002f, rho, rhos, 0.05f, 5.0f, nu, 0.0f, true, 0.0f, 0.0f,
                                     0.0f, 0.16f, 0.0f, 0.0f, transport_kb);
  EXPECT_EQ(load.total, 0.0f);
  EXPECT_EQ(load.suspended, 0.0f);
}

TEST(CamenenLarson, BreakingChangesOnlyTheSuspendedLoad) {
  for (const bool breaking : {false, true}) {
    const Load load = Q_CAMENEN_LARSON(0.0002f, rho, rhos, 0.0502236f, 5.0f, nu, 1.0f, breaking,
                                       2.0f, 3.0f, 4.0f, 0.160125f, 7.0f, 0.0f, transport_kb);
    expect_close(load.bed, 7.77563e-05, 1.0e-4);
    expect_close(load.suspended, breaking ? 0.00466441 : 0.00343, 2.0e-4);
    EXPECT_EQ(load.total, load.bed + load.suspended);
  }
}

using LundFormula = decltype(&Q_LUND);

Load lund_at(LundFormula formula, SedimentState& latches, float U, float H, float TAUc, float TAUw,
             float TAUbed, float breaking) {
  return formula(latches, 0.0002f, rho, rhos, 0.0502236f, 5.0f, nu, U, H, TAUc, TAUw, TAUbed,
                 breaking, 0.0f, transport_kb);
}

TEST(Lund, MixesOnlyWhereBothHaveBeenSeen) {
  // Worked out in double precision; Ws lies below and above both shear velocities.
  const struct {
    LundFormula formula;
    bool waves_seen;
    float TAUc, TAUw;
    double bed, suspended;
  } cases[] = {
      {Q_LUND, true, 2.0f, 3.0f, 7.77563e-05, 0.000924026},
      {Q_LUND, false, 2.0f, 0.3f, 0.000103836, 0.00129031},
      {Q_LUND, true, 0.3f, 0.3f, 3.2266e-05, 0.000669782},
      {Q_LUND_OLD, true, 2.0f, 3.0f, 7.77563e-05, 0.000583663},
      {Q_LUND_OLD, false, 2.0f, 0.3f, 0.000103836, 0.0013306},
      {Q_LUND_OLD, true, 0.3f, 0.3f, 3.2266e-05, 0.000558534},
  };
  for (const auto& c : cases) {
    SedimentState latches;
    const float H = c.waves_seen ? 1.0f : 0.0f;
    const Load load = lund_at(c.formula, latches, 1.0f, H, c.TAUc, c.TAUw, 4.0f, 5.0f);
    expect_close(load.bed, c.bed, 1.0e-4);
    expect_close(load.suspended, c.suspended, 1.0e-4);
  }
}

TEST(Lund, LatchesBelongToTheRunAndToOneFormula) {
  SedimentState latches;
  EXPECT_EQ(lund_at(Q_LUND, latches, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 5.0f).total, 0.0f);
  lund_at(Q_LUND, latches, 1.0f, 0.0f, 2.0f, 0.0f, 2.0f, 0.0f);
  EXPECT_TRUE(latches.lund_current_seen);
  EXPECT_FALSE(latches.lund_waves_seen);
  EXPECT_FALSE(latches.lund_old_current_seen);
  // A calm point now passes through the formula: no stress, no load, and no NaN.
  const Load calm = lund_at(Q_LUND, latches, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f);
  EXPECT_EQ(calm.total, 0.0f);
  lund_at(Q_LUND, latches, 0.0f, 1.0f, 0.0f, 2.0f, 2.0f, 0.0f);
  EXPECT_TRUE(latches.lund_waves_seen);
  const Load calm_again = lund_at(Q_LUND, latches, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f);
  EXPECT_EQ(calm_again.total, 0.0f);
}

TEST(Bedforms, StandOnlyBetweenTheirLimits) {
  EXPECT_EQ(BEDFORM_HEIGHT(1.0f, 5.0f, 0.0002f), 0.0f);
  EXPECT_EQ(BEDFORM_HEIGHT(24.0f, 5.0f, 0.0002f), 0.0f);
  // 0.55 (4e-5)^0.3 (1 - e^-2) 19 = 0.43309
  expect_close(BEDFORM_HEIGHT(5.0f, 5.0f, 0.0002f), 0.433094, 1.0e-4);
  EXPECT_EQ(BEDFORM_RATE(rhos, rho, nu, 0.05f, 0.05f, 0.0002f), 0.0f);
  // T = 3, g' = 15.55244, 0.00033 3^1.5 (g' D^3 / nu^2)^0.1 sqrt(g' D)
  expect_close(BEDFORM_RATE(rhos, rho, nu, 0.2f, 0.05f, 0.0002f), 1.51992e-4, 1.0e-4);
}

TEST(Bedforms, SlopeFactorKeepsItsLimits) {
  const float degree = 3.14159f / 180.0f;
  EXPECT_NEAR(SLOPE_FACTOR(0.0f, 31.0f), 1.0f, 1.0e-6f);
  // cos 10 + sin 10 / tan 31 = 1.27381
  EXPECT_NEAR(SLOPE_FACTOR(10.0f * degree, 31.0f), 1.27381f, 1.0e-4f);
  EXPECT_EQ(SLOPE_FACTOR(31.0f * degree, 31.0f), 1.5f);
  EXPECT_EQ(SLOPE_FACTOR(-31.0f * degree, 31.0f), 0.5f);
}

TEST(Bedforms, RippleRoughnessIsAtLeastTheGrain) {
  // Worked out in double precision on both sides of the most likely ripple; long orbits wash
  // ripples out.
  const struct {
    float Aw;
    double roughness;
  } cases[] = {{0.0f, 0.0002},     {0.0001f, 0.0002}, {0.01f, 0.000316964},
               {0.1f, 0.00509251}, {0.5f, 0.0002},    {2.0f, 0.0002}};
  for (const auto& c : cases) {
    // Powers of 10 of 4-byte logarithms lose two digits.
    expect_close(RIPPLE_ROUGHNESS(rho, rhos, 0.0002f, 0.8f, c.Aw), c.roughness, 1.0e-3);
  }
}

}  // namespace
}  // namespace dfl
