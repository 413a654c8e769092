#include "parcels/random_stream.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "parcels/kinematics.h"

namespace dfl {
namespace {

// The two generators and their combination by plain 64-bit residues (L'Ecuyer 1988).
struct Residues {
  std::int64_t s1, s2;
  int next() {
    s1 = s1 * 40014 % 2147483563;
    s2 = s2 * 40692 % 2147483399;
    const std::int64_t z = s1 - s2;
    return static_cast<int>(z < 1 ? z + 2147483562 : z);
  }
};

TEST(RandomStream, AgreesWithPlainResidues) {
  const int seeds[][2] = {{12345, 67890}, {1, 1}, {2147483562, 2147483398}, {53668, 52774}};
  for (const auto& seed : seeds) {
    RandomStream random;
    seed_generator(random, seed[0], seed[1]);
    Residues residues{seed[0], seed[1]};
    for (int i = 0; i < 20000; ++i) {
      const int z = residues.next();
      ASSERT_EQ(next_random_integer(random), z) << seed[0] << " at " << i;
    }
  }
  RandomStream random;
  seed_generator(random, 12345, 67890);
  EXPECT_EQ(next_random_integer(random), 2026359911);  // worked out with exact integers elsewhere
  EXPECT_EQ(next_random_integer(random), 1950599823);
}

TEST(RandomStream, SeedsOutsideTheModuliAreBroughtInside) {
  struct Case {
    int seed1, seed2, state1, state2;
  };
  const Case cases[] = {
      {0, 0, 2147483562, 2147483398},
      {2147483562, 2147483398, 2147483562, 2147483398},
      {2147483563, 2147483399, 1, 1},
      {2147483647, 2147483647, 85, 249},
      {-1, -1, 2147483562, 2147483398},
      {-2147483563, -2147483399, 2147483562, 2147483398},  // 0 after the modulus is added
  };
  for (const Case& c : cases) {
    RandomStream random;
    seed_generator(random, c.seed1, c.seed2);
    EXPECT_EQ(random.state[0], c.state1) << c.seed1;
    EXPECT_EQ(random.state[1], c.state2) << c.seed2;
  }
}

TEST(RandomStream, UniformNumbersStayInsideTheUnitIntervalAtBothEnds) {
  RandomStream random;
  random.state = {1820375243, 964129908};  // both residues become 5: z = 0 turns into the largest
  EXPECT_EQ(next_random_integer(random), 2147483562);
  random.state = {1820375243, 964129908};
  EXPECT_LT(UNIFORM_NUMBER(random), 1.0f);
  random.state = {1754953579, 964129908};  // 6 and 5: z = 1
  EXPECT_EQ(UNIFORM_NUMBER(random), 4.656613e-10f);
}

TEST(RandomStream, NormalNumbersAreThePairOfThePolarMethodInOrder) {
  RandomStream random;
  seed_generator(random, 12345, 67890);
  Residues residues{12345, 67890};
  for (int pair = 0; pair < 100; ++pair) {
    double a = 0.0, b = 0.0, s = 0.0;
    do {
      a = 2.0 * (residues.next() * 4.656613e-10) - 1.0;
      b = 2.0 * (residues.next() * 4.656613e-10) - 1.0;
      s = a * a + b * b;
    } while (s >= 1.0 || s <= 0.0);
    const double f = std::sqrt(-2.0 * std::log(s) / s);
    EXPECT_DOUBLE_EQ(GAUSS_NUMBER(random), b * f);
    EXPECT_DOUBLE_EQ(GAUSS_NUMBER(random), a * f);
  }
}

TEST(RandomStream, NormalNumbersHaveTheMomentsOfTheNormalDistribution) {
  RandomStream random;
  seed_generator(random, 4711, 815);
  constexpr int n = 400000;
  double sum = 0.0, squares = 0.0, fourth = 0.0;
  int beyond_two = 0;
  for (int i = 0; i < n; ++i) {
    const double g = GAUSS_NUMBER(random);
    sum += g;
    squares += g * g;
    fourth += g * g * g * g;
    if (std::abs(g) > 2.0) ++beyond_two;
  }
  // Five standard errors each.
  EXPECT_NEAR(sum / n, 0.0, 5.0 / std::sqrt(n));
  EXPECT_NEAR(squares / n, 1.0, 5.0 * std::sqrt(2.0 / n));
  EXPECT_NEAR(fourth / n, 3.0, 5.0 * std::sqrt(96.0 / n));
  EXPECT_NEAR(beyond_two / static_cast<double>(n), 0.0455, 5.0 * std::sqrt(0.0455 / n));
}

TEST(WalkNumbers, RepeatableChainStartsFromZeroSeedsWhateverWasDrawnBefore) {
  RandomStream one, other;
  seed_generator(other, 99, 1234);
  for (int i = 0; i < 7; ++i) UNIFORM_NUMBER(other);
  // Seeds of 0 become the moduli less 1; the first four values from there, by exact integers.
  const int first[] = {842, 54718832, 757022662, 1432187887};
  const Walk walk = WALK_NUMBERS(one, false, true, 1);
  EXPECT_FLOAT_EQ(walk.w1, static_cast<float>(first[0]) * 4.656613e-10f);
  EXPECT_FLOAT_EQ(walk.w2, (static_cast<float>(first[1]) * 4.656613e-10f - 0.5f) * 2.0f);
  EXPECT_FLOAT_EQ(walk.w4, (static_cast<float>(first[3]) * 4.656613e-10f - 0.5f) * 2.0f);
  EXPECT_EQ(WALK_NUMBERS(other, false, true, 1).w3, walk.w3);
  // The second link is seeded by the fourth and third number of the first.
  const int seed1 = static_cast<int>(static_cast<float>(first[3]) * 4.656613e-10f * 1.0e6f);
  const int seed2 = static_cast<int>(static_cast<float>(first[2]) * 4.656613e-10f * 1.0e6f * 2.0f);
  Residues residues{seed1, seed2};
  // Draws in between change nothing.
  for (int i = 0; i < 5; ++i) GAUSS_NUMBER(one);
  EXPECT_EQ(WALK_NUMBERS(one, false, true, 1).w1,
            static_cast<float>(residues.next()) * 4.656613e-10f);
}

TEST(WalkNumbers, WithoutRepeatableTheStartStateDecides) {
  RandomStream one, same, other;
  seed_generator(one, 10, 20);
  seed_generator(same, 10, 20);
  seed_generator(other, 11, 20);
  const Walk walk = WALK_NUMBERS(one, false, false, 1);
  EXPECT_EQ(WALK_NUMBERS(same, false, false, 1).w1, walk.w1);
  EXPECT_NE(WALK_NUMBERS(other, false, false, 1).w1, walk.w1);
}

TEST(WalkNumbers, EvenStepsTurnTheSignsAndDebugGivesZeros) {
  RandomStream odd, even, debug;
  const Walk a = WALK_NUMBERS(odd, false, true, 3);
  const Walk b = WALK_NUMBERS(even, false, true, 4);
  EXPECT_EQ(b.w1, a.w1);
  EXPECT_EQ(b.w2, -a.w2);
  EXPECT_EQ(b.w3, -a.w3);
  EXPECT_EQ(b.w4, -a.w4);
  for (int step = 1; step <= 2; ++step) {
    const Walk c = WALK_NUMBERS(debug, true, false, step);
    EXPECT_EQ(c.w1, 0.0f);
    EXPECT_EQ(c.w2, 0.0f);
    EXPECT_EQ(c.w4, 0.0f);
  }
}

TEST(WalkNumbers, DisplacementsHaveTheVarianceOfAUniformNumberAndNoDrift) {
  // The chain with repeated seeding has to be as random as the generator: variance 1/3, no mean.
  RandomStream random;
  constexpr int n = 200000;
  double sum[3] = {}, squares[3] = {}, product = 0.0;
  for (int i = 1; i <= n; ++i) {
    const Walk walk = WALK_NUMBERS(random, false, true, 1);
    const double w[3] = {static_cast<double>(walk.w2), static_cast<double>(walk.w3),
                         static_cast<double>(walk.w4)};
    for (int k = 0; k < 3; ++k) {
      EXPECT_GE(w[k], -1.0);
      EXPECT_LT(w[k], 1.0);
      sum[k] += w[k];
      squares[k] += w[k] * w[k];
    }
    product += w[0] * w[1];
  }
  for (int k = 0; k < 3; ++k) {
    EXPECT_NEAR(sum[k] / n, 0.0, 5.0 * std::sqrt(1.0 / 3.0 / n));
    EXPECT_NEAR(squares[k] / n, 1.0 / 3.0, 5.0 * std::sqrt(4.0 / 45.0 / n));
  }
  EXPECT_NEAR(product / n, 0.0, 5.0 / 3.0 / std::sqrt(n));
}

TEST(Kinematics, CriticalStressOfFineSandIsThatOfTheTextbook) {
  // Soulsby (1997): quartz of 0.2 mm in sea water at 10 degrees C has D* = 4.06, 0.176 Pa.
  EXPECT_NEAR(TAUCR_SOULSBY(1027.0f, 2650.0f, 1.36e-6f, 0.0002f), 0.176f, 0.001f);
  EXPECT_EQ(TAUCR_SOULSBY(1027.0f, 1027.0f, 1.36e-6f, 0.0002f), 1.0e-6f);
  EXPECT_EQ(TAUCR_SOULSBY(1027.0f, 900.0f, 1.36e-6f, 0.0002f), 1.0e-6f);
}

TEST(Kinematics, PickUpStartsAtTheThresholdAndGrowsWithPowerThreeHalves) {
  const float nu = 1.2e-6f, D = 0.0002f;
  EXPECT_EQ(PICKUP_RATE(2650.0f, 1025.0f, nu, 0.05f, 0.05f, D), 0.0f);
  EXPECT_EQ(PICKUP_RATE(2650.0f, 1025.0f, nu, 0.04f, 0.05f, D), 0.0f);
  const float at_one = PICKUP_RATE(2650.0f, 1025.0f, nu, 0.10f, 0.05f, D);
  const float at_four = PICKUP_RATE(2650.0f, 1025.0f, nu, 0.25f, 0.05f, D);
  EXPECT_NEAR(at_four / at_one, 8.0f, 1.0e-4f);
  // T = 1: 0.00033 (g' D^3 / nu^2)^0.1 sqrt(g' D), g' = 15.5527 m/s2, D^3 / nu^2 = 5.5556.
  EXPECT_NEAR(at_one, 0.00033 * std::pow(86.404, 0.1) * std::sqrt(0.00311054), 1.0e-8);
}

}  // namespace
}  // namespace dfl
