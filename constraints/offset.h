// Places in long arrays, kept in half the width of a pointer.

#pragma once

#include <cstddef>
#include <limits>
#include <new>

/// The size as an offset. Throws std::bad_alloc where it is too large for one:
/// then the array cannot be addressed, whatever memory there is.
inline unsigned offsetOf(std::size_t size) {
  if (size > std::numeric_limits<unsigned>::max()) {
    throw std::bad_alloc();
  }
  return static_cast<unsigned>(size);
}
