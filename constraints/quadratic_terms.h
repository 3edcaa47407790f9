// The labels of a quadratic constraint's terms as numbers.

#pragma once

#include <cstdint>

#include "constraints/wcsp_quadratic.h"

/// A label as one number; these ascend as labels do.
using LabelKey = std::uint64_t;

inline LabelKey keyOf(unsigned variable, unsigned value) {
  return LabelKey{variable} << 32U | value;
}

inline LabelKey firstKey(WcspQuadratic::Term const& term) {
  return keyOf(term.variable1, term.value1);
}

inline LabelKey secondKey(WcspQuadratic::Term const& term) {
  return keyOf(term.variable2, term.value2);
}
