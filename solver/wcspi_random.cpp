// The random generator: Park and Miller's minimal standard.

#include <cassert>

#include "solver/wcspi.h"

std::int64_t RealWcsp::nextRandom() {
  // 44488 and 3399: quotient and remainder of 2147483647 by 48271. A negative
  // seed relies on divisions that truncate toward zero.
  const std::int64_t high = seed / 44488;
  const std::int64_t low = seed - 44488 * high;
  seed = 48271 * low - 3399 * high;
  if (seed <= 0) {
    seed += 2147483647;
  }
  return seed;
}

unsigned RealWcsp::randomInt(unsigned k) {
  assert(k >= 1 && k <= static_cast<unsigned>(inf));
  const std::int64_t divisor = 2147483646 / static_cast<int>(k) + 1;
  return static_cast<unsigned>(nextRandom() / divisor);
}
