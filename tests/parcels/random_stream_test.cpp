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
  const struct {
    int seed1, seed2, state1, state2;
  } cases[] = {
      {0, 0, 2147483562, 2147483398},
      {2147483562, 2147483398, 2147483562, 2147483398},
      {2147483563, 2147483399, 1, 1},
      {2147483647, 2147483647, 85, 249},
      {-1, -1, 2147483562, 2147483398},
      {-2147483563, -2147483399, 2147483562, 2147483398},  // 0 after the modulus is added
  };
  for (const auto& c : cases) {
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

TEST(WalkNumbers, RepeatableChainIsSeededByItsOwnNumbersWhateverElseIsDrawn) {
  RandomStream random;
  seed_generator(random, 99, 1234);
  Residues residues{2147483562, 2147483398};  // what seeds of 0 become
  for (int link = 0; link < 1000; ++link) {
    for (int i = 0; i < link % 3; ++i) GAUSS_NUMBER(random);
    float u[4];
    for (float& number : u) number = static_cast<float>(residues.next()) * 4.656613e-10f;
    const Walk walk = WALK_NUMBERS(random, false, true, 1);
    ASSERT_EQ(walk.w1, u[0]) << link;
    ASSERT_EQ(walk.w2, (u[1] - 0.5f) * 2.0f) << link;
    ASSERT_EQ(walk.w3, (u[2] - 0.5f) * 2.0f) << link;
    ASSERT_EQ(walk.w4, (u[3] - 0.5f) * 2.0f) << link;
    residues = {static_cast<int>(u[3] * 1.0e6f), static_cast<int>(u[2] * 1.0e6f * 2.0f)};
  }
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
