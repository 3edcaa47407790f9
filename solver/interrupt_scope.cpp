#include "solver/interrupt_scope.h"

namespace {

/// Set by SIGINT during a tabu search and never cleared.
volatile std::sig_atomic_t flag_interrupt = 0;

}  // namespace

void handler(int) {
  flag_interrupt = 1;
}

InterruptScope::InterruptScope() {
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGINT);
  isBlocked = pthread_sigmask(SIG_BLOCK, &blocked, &previousMask) == 0;
}

InterruptScope::~InterruptScope() {
  release();
  unblock();
}

// A write that is interrupted is restarted, so no line of the log is lost.
void InterruptScope::install() {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  isInstalled = sigaction(SIGINT, &action, &previousAction) == 0;
  unblock();
}

void InterruptScope::release() {
  if (isInstalled) {
    isInstalled = false;
    static_cast<void>(sigaction(SIGINT, &previousAction, nullptr));
  }
}

bool InterruptScope::isInterrupted() {
  return flag_interrupt != 0;
}

void InterruptScope::unblock() {
  if (isBlocked) {
    isBlocked = false;
    static_cast<void>(pthread_sigmask(SIG_SETMASK, &previousMask, nullptr));
  }
}
