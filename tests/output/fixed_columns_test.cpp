#include "output/fixed_columns.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "control/text_tools.h"

namespace dfl {
namespace {

std::string fast(double value, int width, int decimals) {
  std::vector<char> field(static_cast<std::size_t>(width), '?');
  EXPECT_EQ(put_columns(field.data(), value, width, decimals), field.data() + width);
  return std::string(field.begin(), field.end());
}

TEST(FixedColumns, EdgesAgreeWithTheReference) {
  const double infinite = std::numeric_limits<double>::infinity();
  const std::vector<double> values = {0.0,
                                      -0.0,
                                      0.0005,
                                      0.0015,
                                      0.0025,
                                      0.0625,
                                      0.1875,
                                      0.5,
                                      0.9995,
                                      0.99949999999999994,
                                      9.9995,
                                      999.9995,
                                      -0.0004,
                                      -0.0005,
                                      1e-300,
                                      5e-324,
                                      0x1p-34,
                                      0x1p-35,
                                      5e-10,
                                      4.9999999999999e-10,
                                      1.5e-9,
                                      99999999.999,
                                      99999999.9996,
                                      -9999999.9994,
                                      -9999999.9996,
                                      123456789.0,
                                      2147483647.5,
                                      999999999999999.0,
                                      1e15,
                                      1e22,
                                      -1e300,
                                      infinite,
                                      -infinite,
                                      std::nan(""),
                                      static_cast<double>(0.1f),
                                      static_cast<double>(0.099999994f)};
  for (const double value : values) {
    for (const int decimals : {0, 1, 3, 6, 9, 12}) {
      for (const int width : {3, 8, 12, 16, 18}) {
        EXPECT_EQ(fast(value, width, decimals), columns(value, width, decimals))
            << value << " in " << width << '.' << decimals;
      }
    }
  }
}

TEST(FixedColumns, RandomNumbersAgreeWithTheReference) {
  std::mt19937_64 draw(20201113);
  std::uniform_real_distribution<double> exponent(-40.0, 50.0);
  for (int i = 0; i < 200000; ++i) {
    double value =
        std::ldexp(static_cast<double>(draw()) - 9.2e18, static_cast<int>(exponent(draw)) - 64);
    // Ties appear when few bits lie behind the point.
    if (i % 3 == 0) value = std::round(value * 16384.0) / 16384.0;
    if (i % 3 == 1) value = static_cast<double>(static_cast<float>(value));
    const int decimals = i % 2 == 0 ? 3 : 9;
    ASSERT_EQ(fast(value, 18, decimals), columns(value, 18, decimals));
    ASSERT_EQ(fast(value, 12, decimals), columns(value, 12, decimals));
  }
}

TEST(FixedColumns, IntegersThatDoNotFitBecomeStars) {
  for (const int value :
       {0, 7, -7, 12345678, -1234567, 123456789, -12345678, std::numeric_limits<int>::min()}) {
    std::vector<char> field(8, '?');
    put_columns(field.data(), value, 8);
    EXPECT_EQ(std::string(field.begin(), field.end()), columns(value, 8));
  }
}

}  // namespace
}  // namespace dfl
