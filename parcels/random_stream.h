#pragma once

// Every random draw of a run. The order of draws is part of the result. All inline: tracking draws
// several numbers for each parcel and step.

#include <array>
#include <cmath>
#include <cstdint>

#include "parcels/parcel_state.h"

namespace dfl {

// Sets the state of the generator (L'Ecuyer 1988, combined multiplicative congruential). A seed of
// 0 is replaced, one at or above its modulus is reduced; a negative one is raised by its modulus.
inline void seed_generator(RandomStream& random, int seed1, int seed2) {
  const auto valid = [](int seed, int modulus) {
    while (seed < 0) seed += modulus;
    if (seed >= modulus) seed -= modulus - 1;
    return seed == 0 ? modulus - 1 : seed;  // a state of 0 would stay 0 for ever
  };
  random.state = {valid(seed1, 2147483563), valid(seed2, 2147483399)};
}

// The next combined value, 1 to 2147483562. Schrage's method keeps the products in 31 bits.
inline int next_random_integer(RandomStream& random) {
  int& s1 = random.state[0];
  int& s2 = random.state[1];
  const int k1 = s1 / 53668;
  s1 = 40014 * (s1 - k1 * 53668) - k1 * 12211;
  if (s1 < 0) s1 += 2147483563;
  const int k2 = s2 / 52774;
  s2 = 40692 * (s2 - k2 * 52774) - k2 * 3791;
  if (s2 < 0) s2 += 2147483399;
  int z = s1 - s2;
  if (z < 1) z += 2147483562;
  return z;
}

// The first N powers of a multiplier modulo m.
template <std::size_t N>
constexpr std::array<std::uint64_t, N> multiplier_powers(std::uint64_t a, std::uint64_t m) {
  std::array<std::uint64_t, N> powers{};
  std::uint64_t power = 1;
  for (std::uint64_t& p : powers) p = power = power * a % m;
  return powers;
}

// x modulo m for x below 2^62 and m between 2^30 and 2^31: the quotient is that of the product with
// 2^94 / m, rounded up.
template <std::uint64_t m>
inline int remainder_of(std::uint64_t x) {
  using Wide = unsigned __int128;
  constexpr auto inverse = static_cast<std::uint64_t>(((Wide{1} << 94) + m - 1) / m);
  const auto quotient = static_cast<std::uint64_t>(Wide{x} * inverse >> 94);
  return static_cast<int>(x - quotient * m);
}

// The next N combined values. A state n draws ahead is the present one times the n-th power of the
// multiplier, so that the draws need not wait for each other.
template <std::size_t N>
inline std::array<int, N> next_random_integers(RandomStream& random) {
  constexpr std::uint64_t m1 = 2147483563, m2 = 2147483399;
  constexpr std::array<std::uint64_t, N> powers1 = multiplier_powers<N>(40014, m1);
  constexpr std::array<std::uint64_t, N> powers2 = multiplier_powers<N>(40692, m2);
  const auto s1 = static_cast<std::uint64_t>(random.state[0]);
  const auto s2 = static_cast<std::uint64_t>(random.state[1]);
  std::array<int, N> z;
  int last1 = 0, last2 = 0;
#pragma GCC unroll 4
  for (std::size_t i = 0; i < N; ++i) {
    last1 = remainder_of<m1>(powers1[i] * s1);
    last2 = remainder_of<m2>(powers2[i] * s2);
    const int difference = last1 - last2;
    z[i] = difference < 1 ? difference + 2147483562 : difference;
  }
  random.state = {last1, last2};
  return z;
}

// A uniform number in (0, 1): z * 4.656613e-10 formed in 4 bytes.
inline float UNIFORM_NUMBER(RandomStream& random) {
  return static_cast<float>(next_random_integer(random)) * 4.656613e-10f;
}

// Two numbers of the unit disk for Marsaglia's polar method: a, b and s = a * a + b * b.
struct PolarPair {
  double a = 0.0, b = 0.0, s = 0.0;
};
inline PolarPair next_polar_pair(RandomStream& random) {
  PolarPair pair;
  do {
    const std::array<int, 2> z = next_random_integers<2>(random);
    const double r1 = static_cast<double>(z[0]) * 4.656613e-10;
    const double r2 = static_cast<double>(z[1]) * 4.656613e-10;
    pair.a = 2.0 * r1 - 1.0;
    pair.b = 2.0 * r2 - 1.0;
    pair.s = pair.a * pair.a + pair.b * pair.b;
  } while (!(pair.s > 0.0 && pair.s < 1.0));
  return pair;
}

// A standard normal by Marsaglia's polar method; two are made at a time and one is kept.
inline double GAUSS_NUMBER(RandomStream& random) {
  if (random.gauss_kept) {
    random.gauss_kept = false;
    return random.gauss_value;
  }
  const auto [a, b, s] = next_polar_pair(random);
  const double f = std::sqrt(-2.0 * std::log(s) / s);
  random.gauss_value = a * f;
  random.gauss_kept = true;
  return b * f;
}

inline std::array<float, 4> four_uniform_numbers(RandomStream& random) {
  const std::array<int, 4> z = next_random_integers<4>(random);
  std::array<float, 4> r;
  for (std::size_t i = 0; i < 4; ++i) r[i] = static_cast<float>(z[i]) * 4.656613e-10f;
  return r;
}

struct Walk {
  float w1 = 0.0f, w2 = 0.0f, w3 = 0.0f, w4 = 0.0f;  // w1 in [0, 1), the others in [-1, 1)
};

// The four numbers of a parcel's step. step: NStep; signs change on even steps. Each call seeds the
// generator from the numbers before it: with `repeatable` the chain starts from zero seeds and
// nothing else enters it, otherwise four fresh numbers go between.
inline Walk WALK_NUMBERS(RandomStream& random, bool debug, bool repeatable, int step) {
  std::array<float, 4>& r = random.RAND;
  if (!random.FIXED) {
    if (repeatable) {
      random.FIXED = true;
      r = {0.0f, 0.0f, 0.0f, 0.0f};
    } else {
      r = four_uniform_numbers(random);
    }
  }
  random.SEEDS = {static_cast<int>(r[3] * 1.0e6f * 1.0f), static_cast<int>(r[2] * 1.0e6f * 2.0f),
                  static_cast<int>(r[1] * 1.0e6f * 3.0f), static_cast<int>(r[0] * 1.0e6f * 4.0f)};
  seed_generator(random, random.SEEDS[0], random.SEEDS[1]);
  r = four_uniform_numbers(random);
  if (debug) {
    r = {0.0f, 0.0f, 0.0f, 0.0f};
    return Walk{};
  }
  const float sign = step % 2 == 0 ? -1.0f : 1.0f;
  return Walk{r[0], sign * ((r[1] - 0.5f) * 2.0f), sign * ((r[2] - 0.5f) * 2.0f),
              sign * ((r[3] - 0.5f) * 2.0f)};
}

}  // namespace dfl
