// The violation of a bounded sum, shared by the linear and the quadratic
// constraint.

#pragma once

#include <algorithm>
#include <cstdint>

#include "solver/wcsp.h"

/// The distance of `sum` from [lower, upper], at most Wcsp::inf. A bound that
/// equals its default, -Wcsp::inf or Wcsp::inf, is no bound.
inline int distanceFromBounds(std::int64_t sum, int lower, int upper) {
  std::int64_t distance = 0;
  if (upper != Wcsp::inf && sum > upper) {
    distance += sum - upper;
  }
  if (lower != -Wcsp::inf && sum < lower) {
    distance += lower - sum;
  }
  return static_cast<int>(std::min<std::int64_t>(distance, Wcsp::inf));
}
