#pragma once

// Normal numbers that are drawn in their place but may not be needed. The stream is left as
// GAUSS_NUMBER leaves it; only the logarithm and the root of a number that nobody reads are saved.

#include <cmath>

#include "parcels/random_stream.h"

namespace dfl {

// The kept number of a pair whose value has not been formed yet.
struct DeferredGauss {
  bool pending = false;
  double a = 0.0, s = 0.0;
};

// Forms the kept number; to be called before the stream is given to anyone else.
inline void settle_gauss(DeferredGauss& deferred, RandomStream& random) {
  if (!deferred.pending) return;
  random.gauss_value = deferred.a * std::sqrt(-2.0 * std::log(deferred.s) / deferred.s);
  deferred.pending = false;
}

// Draws a number that is not read.
inline void pass_gauss(DeferredGauss& deferred, RandomStream& random) {
  if (random.gauss_kept) {
    random.gauss_kept = false;
    deferred.pending = false;
    return;
  }
  const PolarPair pair = next_polar_pair(random);
  deferred = {true, pair.a, pair.s};
  random.gauss_kept = true;
}

// Draws a number that is read.
inline double draw_gauss(DeferredGauss& deferred, RandomStream& random) {
  settle_gauss(deferred, random);
  return GAUSS_NUMBER(random);
}

}  // namespace dfl
