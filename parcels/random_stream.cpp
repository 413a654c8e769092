#include "parcels/random_stream.h"

namespace dfl {

namespace {

// A state of 0 would stay 0 for ever.
int valid_seed(int seed, int modulus) {
  while (seed < 0) seed += modulus;
  if (seed >= modulus) seed -= modulus - 1;
  if (seed == 0) seed = modulus - 1;
  return seed;
}

}  // namespace

void seed_generator(RandomStream& random, int seed1, int seed2) {
  random.state = {valid_seed(seed1, 2147483563), valid_seed(seed2, 2147483399)};
}

}  // namespace dfl
