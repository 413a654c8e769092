#include "sediment/van_rijn.h"

#include <gtest/gtest.h>

#include <cmath>

namespace dfl {
namespace {

// Number, h, U, Vr, Ud, H, T, phi, D50, D90, Ds, kc, kw, temperature, salinity.
const VanRijnInput river{0, 5, 1, 0, 0, 0, 0, 0, 2.5e-4f, 5e-4f, 2.5e-4f, 0.03f, 0.03f, 15, 34};
const VanRijnInput coast{0,       5,     0.6f,  9,     9,     1.5f, 7, 90,
                         2.5e-4f, 5e-4f, 2e-4f, 0.03f, 0.05f, 15,   34};
const VanRijnInput deep_coast{0,       10,    0.6f,  0,     0.05f, 1,  4, 30,
                              2.5e-4f, 5e-4f, 2e-4f, 0.03f, 0.05f, 15, 0};

VanRijnResult solve(const VanRijnInput& in) {
  MessageState messages;
  return VAN_RIJN(messages, in);
}

void expect_close(float value, double expected, double relative) {
  EXPECT_NEAR(static_cast<double>(value), expected, relative * std::abs(expected) + 1.0e-9);
}

// Compared with a separate calculation in double precision that takes the wave number from the
// dispersion relation. `suspended` to `centroid`: its march in the same steps; `fine_...`: the
// profile in 40000 steps, which the march of at most 24 rows meets less closely.
TEST(VanRijn, AgreesWithASeparateCalculation) {
  const struct {
    VanRijnInput in;
    double Vr, Ud, Ustar, Ws, ka, max_stress, wave_stress, current_stress, mean_stress, bed,
        bed_angle, suspended_angle, THETA, suspended, total, centroid, fine_suspended,
        fine_centroid;
  } cases[] = {
      {river, 0.0, 0.0, 0.0527124, 0.0315966, 0.03, 1.452128, 0.0, 2.822347, 1.466649, 0.0682025,
       0.0, 0.0, 0.708253, 0.271458, 0.339661, 0.692356, 0.261442, 0.720792},
      {coast, -0.0932428, -0.0398606, 0.0320071, 0.0227010, 0.3, 2.634995, 9.827061, 1.040583,
       0.981931, 0.0504733, 11.70205, -8.833374, 0.261129, 0.306759, 0.354468, 1.249221, 0.308664,
       1.260020},
      {deep_coast, 0.0, 0.05, 0.0289843, 0.0235220, 0.0379274, 0.504485, 0.937422, 0.831706,
       0.826658, 0.0166714, 9.593368, 0.0, 0.205430, 0.0173207, 0.0338731, 1.426549, 0.0166450,
       1.619812},
  };
  // The fitted wave number is off by 0.2 per cent, the orbital motion by up to twice that.
  const double waves = 5.0e-3;
  for (const auto& c : cases) {
    const VanRijnResult r = solve(c.in);
    SCOPED_TRACE(testing::Message() << "h " << c.in.h << " H " << c.in.H);
    expect_close(r.Vr, c.Vr, 1.0e-5);
    expect_close(r.Ud, c.Ud, waves);
    expect_close(r.Ustar, c.Ustar, 1.0e-4);
    expect_close(r.Ws, c.Ws, 1.0e-4);
    expect_close(r.ka, c.ka, waves);
    expect_close(r.max_stress, c.max_stress, waves);
    expect_close(r.wave_stress, c.wave_stress, 2.0 * waves);
    expect_close(r.current_stress, c.current_stress, 1.0e-4);
    expect_close(r.mean_stress, c.mean_stress, 2.0 * waves);
    expect_close(r.bed, c.bed, 2.0 * waves);
    expect_close(r.bed_angle, c.bed_angle, 4.0 * waves);
    expect_close(r.suspended_angle, c.suspended_angle, 1.0e-3);
    expect_close(r.THETA, c.THETA, 1.0e-4);
    expect_close(r.mobility, c.THETA / static_cast<double>(r.THETAcr), 1.0e-4);
    expect_close(r.suspended, c.suspended, waves);
    expect_close(r.total, c.total, waves);
    expect_close(r.centroid, c.centroid, waves);
    expect_close(r.suspended, c.fine_suspended, 0.05);
    expect_close(r.centroid, c.fine_centroid, 0.13);
  }
}

TEST(VanRijn, SteadyStressCountsTwoPointsTwice) {
  // Without waves the largest stress is the grain stress of the current; its mean over the cycle
  // is that of the bed load's own friction, 202 times summed and divided by 200.
  const VanRijnResult r = solve(river);
  const double h = 5.0, Lc1 = std::log10(12.0 * h / 0.0015);
  const double Zm = 0.03, L = std::log(30.0), B = std::log(30.0 * h / 0.03) - 1.0;
  const double Uz = std::log(30.0 * Zm / 0.03) / B;
  const double Tt = 0.5 * 1025.3 * 0.25 * 0.24 / (Lc1 * Lc1) * (B / L) * (B / L) * Uz * Uz;
  expect_close(r.mean_stress, 1.01 * Tt, 1.0e-3);
}

TEST(VanRijn, StressAloneIsThatOfTheWholeRoutine) {
  VanRijnInput irregular = river;
  irregular.h = 1.0f;
  irregular.kc = 12.0f;
  VanRijnInput no_grain = coast;
  no_grain.D50 = 0.0f;
  MessageState messages;
  for (const VanRijnInput& in : {river, coast, deep_coast, irregular, no_grain}) {
    EXPECT_EQ(VAN_RIJN_STRESS(messages, in), solve(in).max_stress);
  }
}

TEST(VanRijn, PeriodBelowOneSecond) {
  VanRijnInput in = coast;
  in.T = 0.4f;  // counts as 1 s
  VanRijnInput second = in;
  second.T = 1.0f;
  EXPECT_EQ(solve(in).total, solve(second).total);
  in.T = 0.0f;  // no waves
  EXPECT_EQ(solve(in).wave_stress, 0.0f);
  EXPECT_TRUE(std::isfinite(solve(in).total));
}

TEST(VanRijn, AnglesOfZeroAndHalfTurnAreMovedAside) {
  for (const float phi : {0.0f, 180.0f, 360.0f}) {
    VanRijnInput in = coast;
    in.phi = phi;
    const VanRijnResult r = solve(in);
    EXPECT_TRUE(std::isfinite(r.total)) << phi;
    EXPECT_GT(r.total, 0.0f) << phi;
  }
}

TEST(VanRijn, LimitsGiveNoNan) {
  VanRijnInput still = river;
  still.U = 0.0f;
  VanRijnInput swell = coast;
  swell.U = 0.0f;
  VanRijnInput no_grain = coast;
  no_grain.D50 = no_grain.Ds = 0.0f;
  VanRijnInput high_roughness = coast;  // the reference level lies above the surface
  high_roughness.kw = 7.0f;
  VanRijnInput shallow = river;
  shallow.h = 0.011f;
  VanRijnInput floating = river;
  floating.Ds = 0.0f;
  // Gravel under a deep river: one sub-step takes the concentration below the least float.
  const VanRijnInput deep{0,          46.436f,    0.97864f,  0,         0,
                          0,          0,          0,         0.001797f, 0.004826f,
                          0.0012303f, 0.0010508f, 0.011349f, 7.9012f,   34.678f};
  // Waves far higher than the water is deep, as fast as the current.
  const VanRijnInput storm{0,        0.0142593f, 1.73815f, 0,         9,
                           11.5375f, 5.70984f,   0,        7.888e-5f, 0.00025149f,
                           2e-4f,    0.0697f,    0.3187f,  15,        34};
  for (const VanRijnInput& in :
       {still, swell, no_grain, high_roughness, shallow, floating, deep, storm}) {
    const VanRijnResult r = solve(in);
    for (const float value :
         {r.bed, r.suspended, r.total, r.centroid, r.mean_stress, r.max_stress, r.mobility, r.Ustar,
          r.bed_angle, r.suspended_angle, r.total_angle, r.new_kc, r.new_kw}) {
      EXPECT_TRUE(std::isfinite(value)) << "h " << in.h << " U " << in.U << " H " << in.H;
    }
  }
  EXPECT_EQ(solve(still).total, 0.0f);
  EXPECT_EQ(solve(swell).suspended, 0.0f);  // the current carries it, and there is none
  EXPECT_GT(solve(swell).bed, 0.0f);
  EXPECT_EQ(solve(no_grain).total, 0.0f);
  EXPECT_EQ(solve(high_roughness).suspended, 0.0f);
  EXPECT_GT(solve(deep).suspended, 0.0f);
}

TEST(VanRijn, DivisorOfZeroGivesNoLoad) {
  VanRijnInput in = river;
  in.h = 1.0f;
  in.kc = 12.0f;  // log10(12 h / kc) is exactly 0
  const VanRijnResult r = solve(in);
  EXPECT_EQ(r.total, 0.0f);
  EXPECT_EQ(r.max_stress, 0.0f);
  EXPECT_EQ(r.Ustar, 0.0f);
}

TEST(VanRijn, RoughnessOfRipplesAndDunes) {
  // Ripples 0.22 A while the orbit is weak, none above Psi of 250 or without waves; dunes of 0.02 h
  // above 0.3 m/s, 0.15 h more in deep water.
  const struct {
    float h, U, H, T;
    double ripple, form;  // m
  } cases[] = {
      {5.0f, 0.2f, 0.3f, 4.0f, 0.0170266, 0.0},    {5.0f, 0.4f, 0.3f, 4.0f, 0.0170266, 0.1},
      {12.0f, 0.6f, 0.3f, 4.0f, 0.00318559, 2.04}, {12.0f, 0.6f, 0.0f, 4.0f, 0.0, 0.0},
      {5.0f, 0.4f, 2.5f, 9.0f, 0.0, 0.0},
  };
  for (const auto& c : cases) {
    VanRijnInput in = river;
    in.h = c.h;
    in.U = c.U;
    in.H = c.H;
    in.T = c.T;
    in.phi = 90.0f;
    const VanRijnResult r = solve(in);
    SCOPED_TRACE(testing::Message() << "h " << c.h << " U " << c.U << " H " << c.H);
    expect_close(r.new_kw, std::max(c.ripple, 0.001), 1.0e-2);
    expect_close(r.new_kc, std::max(c.ripple + c.form, 0.001), 1.0e-2);
  }
}

TEST(VanRijn, RoughnessFloorIsToldToTheCaller) {
  VanRijnInput in = river;
  in.kc = in.kw = 0.0f;
  const VanRijnResult r = solve(in);
  EXPECT_EQ(r.kc, 0.01f);
  EXPECT_EQ(r.kw, 0.01f);
}

TEST(VanRijnDeathTest, NoWaterStops) {
  MessageState messages;
  messages.console_out = stderr;
  messages.console_in = nullptr;
  messages.output_prefix = "/dev/null";
  VanRijnInput in = river;
  in.h = 0.0f;
  EXPECT_EXIT(VAN_RIJN(messages, in), testing::ExitedWithCode(0),
              "WATER DEPTH .LE. 0 IN van_Rijn SUBROUTINE");
}

}  // namespace
}  // namespace dfl
