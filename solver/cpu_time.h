// A stopwatch of the user CPU time of the process.

#pragma once

#include <sys/resource.h>

inline double secondsOf(timeval const& time) {
  return static_cast<double>(time.tv_sec) +
         static_cast<double>(time.tv_usec) / 1000000.0;
}

/// Counts user CPU seconds from its construction. System time and wall-clock
/// time do not count.
class CpuTime {
 public:
  double start = 0.0;  ///< the reading of the process at construction, seconds

  CpuTime() { start = (*this)(); }

  /// Seconds since construction; 0.0 when the system gives no reading.
  double operator()() const {
    rusage usage;
    if (getrusage(RUSAGE_SELF, &usage) != 0) {
      return 0.0;
    }
    return secondsOf(usage.ru_utime) - start;
  }
};
