// Whether the user CPU time of the process has reached a limit, decided as if
// it were read at every question, with far fewer readings.
//
// Proof. Until a question, the user time since the last reading has grown by no
// more than the whole CPU time of the process has, and that by no more than the
// time on a monotonic clock for each configured processor. So while that
// product lies below what the last reading left, whole CPU time against limit,
// the limit is not reached. Half of it is kept as a margin for clocks that run
// unequally.

#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <optional>

#include "solver/cpu_time.h"

/// The clocks of the system.
struct SystemClocks {
  struct Reading {
    double user;   ///< as CpuTime reads it, seconds
    double total;  ///< the same with the system time added
  };

  CpuTime const& cpuTime;
  /// At least 1, those switched off too; 0 when the system does not tell.
  double numProcessors =
      static_cast<double>(std::max(0L, sysconf(_SC_NPROCESSORS_CONF)));

  explicit SystemClocks(CpuTime const& stopwatch) : cpuTime(stopwatch) {}

  /// Nothing when the system gives no reading.
  std::optional<Reading> readCpu() const {
    rusage usage;
    if (getrusage(RUSAGE_SELF, &usage) != 0) {
      return std::nullopt;
    }
    double const user = secondsOf(usage.ru_utime) - cpuTime.start;
    return Reading{user, user + secondsOf(usage.ru_stime)};
  }

  /// Monotonic seconds, without a system call where the processor allows it.
  double readMonotonic() const {
    auto const now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count();
  }
};

template <class Clocks>
class CpuLimit {
 public:
  explicit CpuLimit(Clocks const& itsClocks) : clocks(itsClocks) {}

  /// Whether the user CPU time is at least `limit`, in seconds; a reading that
  /// fails counts as 0.
  bool isReached(double limit) {
    double const now = clocks.readMonotonic();
    if (limit == knownLimit && now < unreachedUntil) {
      return false;
    }
    knownLimit = limit;
    unreachedUntil = now;
    auto const cpu = clocks.readCpu();
    if (!cpu) {
      return 0.0 >= limit;
    }
    // A limit that is NaN also skips nothing.
    if (clocks.numProcessors > 0.0 && cpu->total < limit) {
      unreachedUntil =
          now + (limit - cpu->total) / (2.0 * clocks.numProcessors);
    }
    return cpu->user >= limit;
  }

 private:
  Clocks clocks;
  double knownLimit = 0.0;      ///< for which the following holds
  double unreachedUntil = 0.0;  ///< on the monotonic clock
};
