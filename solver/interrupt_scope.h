// The keyboard interrupt of a search.

#pragma once

#include <csignal>  // with the signal masks of POSIX

/// SIGINT during the tabu search: asks it to stop at the next iteration.
void handler(int);

/// Holds SIGINT back from its making to install(), and directs it to `handler`
/// from there to release(). So no interrupt is lost that comes once the start
/// of the search has been announced.
class InterruptScope {
 public:
  InterruptScope();
  InterruptScope(InterruptScope const&) = delete;
  InterruptScope& operator=(InterruptScope const&) = delete;
  ~InterruptScope();

  void install();

  /// Restores the disposition that was in force before.
  void release();

  /// Whether `handler` has been called since the program started.
  static bool isInterrupted();

 private:
  bool isBlocked = false;
  bool isInstalled = false;
  sigset_t previousMask = {};
  struct sigaction previousAction = {};

  void unblock();
};
