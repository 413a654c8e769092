// Where the profile of a suspended grain begins when the bed has no roughness.

#include <gtest/gtest.h>

#include "parcels/displacement.h"

namespace dfl {
namespace {

TEST(RouseHeight, StaysAtABedWithoutRoughness) {
  RandomStream stream;
  seed_generator(stream, 3, 4);
  for (int i = 0; i < 2000; ++i) EXPECT_LT(ROUSE_HEIGHT(stream, 0.05f, 0.01f, 0.0f), 1.0e-6f);
}

}  // namespace
}  // namespace dfl
