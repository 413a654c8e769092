#include "sediment/primitives.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace dfl {
namespace {

// kh of linear waves by Newton's method on omega^2 h / g = kh tanh(kh).
double exact_kh(double h, double omega) {
  const double y = omega * omega * h / 9.8065;
  double kh = y > 1.0 ? y : std::sqrt(y);
  for (int i = 0; i < 100; ++i) {
    const double t = std::tanh(kh);
    kh -= (kh * t - y) / (t + kh * (1.0 - t * t));
  }
  return kh;
}

TEST(WaveNumber, FollowsTheDispersionRelation) {
  for (const double h : {0.02, 0.5, 2.0, 10.0, 60.0, 1000.0}) {
    for (const double T : {0.5, 1.0, 3.0, 6.0, 9.0, 20.0, 44700.0}) {
      const double omega = 2.0 * 3.14159265358979 / T;
      const WaveNumber wave = WAVE_NUMBER(static_cast<float>(h), static_cast<float>(omega));
      const double kh = exact_kh(h, omega);
      SCOPED_TRACE(testing::Message() << "h " << h << " T " << T);
      // The fit is good to 0.3 per cent.
      EXPECT_NEAR(static_cast<double>(wave.k) * h, kh, 0.003 * kh);
      EXPECT_NEAR(static_cast<double>(wave.t), std::tanh(kh), 0.003);
      EXPECT_NEAR(static_cast<double>(wave.G), 2.0 * kh / std::sinh(2.0 * kh), 0.006);
    }
  }
}

TEST(WaveNumber, LimitsHaveNoNan) {
  const WaveNumber still = WAVE_NUMBER(5.0f, 0.0f);
  EXPECT_EQ(still.k, 0.0f);
  EXPECT_EQ(still.G, 1.0f);
  const WaveNumber shortest = WAVE_NUMBER(5.0f, std::numeric_limits<float>::infinity());
  EXPECT_EQ(shortest.t, 1.0f);
  EXPECT_EQ(shortest.G, 0.0f);
}

TEST(FallVelocity, KnownGrains) {
  // Worked out by hand: D* = 5.0594 for 0.2 mm, 25.297 for 1 mm, 0.025296 for 1 micron.
  const struct {
    float nu, rho, rhos, D;
    double speed;
  } cases[] = {
      {1.0e-6f, 1000.0f, 2650.0f, 0.0002f, 0.0261691},
      {1.0e-6f, 1000.0f, 2650.0f, 0.001f, 0.120357},
      {1.0e-6f, 1000.0f, 2650.0f, 1.0e-6f, 4.92711e-6},
      {1.0e-6f, 1000.0f, 1000.0f, 0.0002f, 0.0},
      {1.0e-6f, 1000.0f, 990.0f, 0.001f, -0.00545},
      {1.0e-6f, 1000.0f, 2650.0f, 0.0f, 0.0},
  };
  for (const auto& c : cases) {
    const double speed = static_cast<double>(FALL_VELOCITY(c.nu, c.rho, c.rhos, c.D));
    EXPECT_NEAR(speed, c.speed, 2.0e-5 * std::abs(c.speed)) << c.D << ' ' << c.rhos;
  }
}

TEST(FallVelocity, TwoBranchesMeet) {
  // D* = 0.0672 at this size; 4-byte cancellation in the upper branch leaves 2 digits.
  const float D = 0.0672f / 25297.0f;
  const float below = FALL_VELOCITY(1.0e-6f, 1000.0f, 2650.0f, 0.999f * D);
  const float above = FALL_VELOCITY(1.0e-6f, 1000.0f, 2650.0f, 1.001f * D);
  EXPECT_NEAR(above / below, 1.0f, 0.05f);
}

TEST(ViscosityT, WaterAtTwentyDegrees) {
  EXPECT_NEAR(VISCOSITY_T(20.0f), 1.0e-6f, 1.0e-12f);
}

struct Vectors {
  float u, v, kx, ky;
};

WaveFriction friction_of(const Vectors& x, float a = 0.5f) {
  const float k = 0.15f;
  return WAVE_FRICTION(0.9f, k, 6.0f, 0.0012f, a, k * x.kx, k * x.ky, x.u, x.v, 1025.0f);
}

TEST(WaveFriction, WithoutWavesTheDragIsThatOfTheLogLaw) {
  for (const float h : {0.05f, 1.0f, 30.0f}) {
    for (const float angle : {0.3f, 1.2f, 2.0f, 3.9f, 5.1f}) {
      const float u = 0.7f * std::cos(angle), v = 0.7f * std::sin(angle);
      const WaveFriction f =
          WAVE_FRICTION(6.28318f, 4.0f, h, 0.0012f, 0.0f, 0.0f, 0.0f, u, v, 1025.0f);
      const double root = 0.4 / (std::log(0.0012 / 30.0 / static_cast<double>(h)) + 1.0);
      const double Cd = root * root;
      EXPECT_NEAR(static_cast<double>(f.Cdx), Cd, 1.0e-5 * Cd);
      EXPECT_NEAR(static_cast<double>(f.Cdy), Cd, 1.0e-5 * Cd);
      EXPECT_NEAR(static_cast<double>(f.Dc), 1025.0 * Cd * 0.343, 1.0e-5 * 1025.0 * Cd);
    }
  }
}

TEST(WaveFriction, TurnsWithThePlane) {
  // 23 and 51 degrees and the like keep clear of the sector limits, where rounding may decide.
  for (const float current : {0.4f, 1.9f, 3.5f, 5.3f}) {
    for (const float waves : {0.1f, 0.9f, 1.75f, 2.6f, 3.3f, 4.2f, 5.0f, 6.1f}) {
      const Vectors x = {0.6f * std::cos(current), 0.6f * std::sin(current), std::cos(waves),
                         std::sin(waves)};
      const WaveFriction f = friction_of(x);
      const WaveFriction quarter = friction_of({-x.v, x.u, -x.ky, x.kx});
      const WaveFriction half = friction_of({-x.u, -x.v, -x.kx, -x.ky});
      const WaveFriction mirror = friction_of({x.u, -x.v, x.kx, -x.ky});
      const WaveFriction against = friction_of({x.u, x.v, -x.kx, -x.ky});
      SCOPED_TRACE(testing::Message() << "current " << current << " waves " << waves);
      const float tolerance = 1.0e-4f * (f.Cdx + f.Cdy);
      EXPECT_NEAR(quarter.Cdx, f.Cdy, tolerance);
      EXPECT_NEAR(quarter.Cdy, f.Cdx, tolerance);
      for (const WaveFriction& same : {half, mirror, against}) {
        EXPECT_NEAR(same.Cdx, f.Cdx, tolerance);
        EXPECT_NEAR(same.Cdy, f.Cdy, tolerance);
      }
      for (const WaveFriction& other : {quarter, half, mirror, against}) {
        EXPECT_NEAR(other.Dc, f.Dc, 1.0e-4f * f.Dc);
        EXPECT_NEAR(other.Dw, f.Dw, 1.0e-4f * f.Dw);
      }
    }
  }
}

TEST(WaveFriction, NoCurrentLeavesTheDissipationOfTheWaves) {
  const WaveFriction f = friction_of({0.0f, 0.0f, 1.0f, 0.0f});
  EXPECT_EQ(f.Cdx, 0.0f);
  EXPECT_EQ(f.Cdy, 0.0f);
  EXPECT_EQ(f.Dc, 0.0f);
  // kh = 0.9: ab = 0.5 / sinh 0.9 = 0.48708, ub = 0.5 9.8065 0.15 / 0.9 / cosh 0.9 = 0.57025,
  // fw = exp(5.213 405.90^-0.194 - 6.67) = 0.0064463, 4/(3 pi) 1025 fw ub^3 = 0.52000.
  EXPECT_NEAR(f.Dw, 0.52000f, 1.0e-4f);
}

TEST(WaveFriction, NoRoughnessGivesNoNan) {
  const WaveFriction f =
      WAVE_FRICTION(0.9f, 0.15f, 6.0f, 0.0f, 0.5f, 0.15f, 0.0f, 0.5f, 0.1f, 1025.0f);
  EXPECT_EQ(f.Cdx, 0.0f);
  EXPECT_EQ(f.Dc, 0.0f);
  EXPECT_TRUE(std::isfinite(f.Dw));
}

TEST(WaveDrift, KnownProfiles) {
  MessageState messages;
  const float omega = 6.28318f / 8.0f, a = 0.5f;
  const WaveNumber wave = WAVE_NUMBER(4.0f, omega);
  const float k = wave.k, c = omega / k;
  // Mass transport at the bed in finite depth: 5/4 a^2 omega k / sinh^2(kh).
  const float sinh_kh = std::sinh(k * 4.0f);
  const float at_bed = 1.25f * a * a * omega * k / (sinh_kh * sinh_kh);
  EXPECT_NEAR(WAVE_DRIFT(messages, 1, k, 4.0f, 0.0f, 2.0f * a, 8.0f, c), at_bed, 1.0e-5f * at_bed);
  // Stokes drift: a^2 omega k cosh(2kz) / (2 sinh^2(kh)).
  const float stokes = a * a * omega * k * std::cosh(2.0f * k * 3.0f) / (2.0f * sinh_kh * sinh_kh);
  EXPECT_NEAR(WAVE_DRIFT(messages, 0, k, 4.0f, 3.0f, 2.0f * a, 8.0f, c), stokes, 1.0e-4f * stokes);
}

TEST(WaveDrift, DeepWaterNeitherOverflowsNorJumps) {
  MessageState messages;
  // kh of 44 has finite squares, of 60 not; the drift 1 m below the surface is a^2 omega k e^-2k.
  for (const float h : {44.0f, 60.0f, 200.0f}) {
    const float omega = std::sqrt(9.8065f), c = omega;
    const float expected = 0.01f * omega * std::exp(-2.0f);
    EXPECT_NEAR(WAVE_DRIFT(messages, 0, 1.0f, h, h - 1.0f, 0.2f, 6.28318f / omega, c), expected,
                1.0e-4f * expected);
  }
  EXPECT_EQ(WAVE_DRIFT(messages, 1, 1.0f, 60.0f, 1.0f, 0.2f, 2.0f, 3.0f), 0.0f);
  EXPECT_EQ(WAVE_DRIFT(messages, 1, 1.0f, 60.0f, 1.0f, 0.0f, 0.0f, 3.0f), 0.0f);
}

TEST(WaveDriftDeathTest, UnknownModeStops) {
  MessageState messages;
  messages.console_out = stderr;
  messages.console_in = nullptr;
  messages.output_prefix = "/dev/null";
  EXPECT_EXIT(WAVE_DRIFT(messages, 2, 1.0f, 1.0f, 0.0f, 1.0f, 5.0f, 1.0f),
              testing::ExitedWithCode(0), "WaveDrift method not available");
}

}  // namespace
}  // namespace dfl
