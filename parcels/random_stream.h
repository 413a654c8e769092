#pragma once

// Every random draw of a run. The order of draws is part of the result.

#include "parcels/parcel_state.h"

namespace dfl {

// Sets the state of the generator (L'Ecuyer 1988, combined multiplicative congruential). A seed of
// 0 is replaced, one at or above its modulus is reduced.
void seed_generator(RandomStream& random, int seed1, int seed2);
// A uniform number in (0, 1): z * 4.656613e-10 formed in 4 bytes.
float UNIFORM_NUMBER(RandomStream& random);
// A standard normal by Marsaglia's polar method; two are made at a time and one is kept.
double GAUSS_NUMBER(RandomStream& random);

struct Walk {
  float w1 = 0.0f, w2 = 0.0f, w3 = 0.0f, w4 = 0.0f;  // w1 in [0, 1), the others in [-1, 1)
};
// The four numbers of a parcel's step. step: NStep; signs change on even steps.
Walk WALK_NUMBERS(RandomStream& random, bool debug, bool repeatable, int step);

}  // namespace dfl
