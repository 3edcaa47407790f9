#include "tools/polish/signals.h"

#include <sys/time.h>
#include <unistd.h>

#include <initializer_list>

namespace polish {

namespace {

volatile std::sig_atomic_t signalCame = 0;

sigset_t allSignals() {
  sigset_t all;
  sigemptyset(&all);
  for (int const signal : {SIGINT, SIGTERM, SIGHUP, SIGALRM}) {
    sigaddset(&all, signal);
  }
  return all;
}

// A SIGINT that comes before the solver has its handler in place ends no
// search, so the next one follows in a second.
void take(int signal) {
  signalCame = 1;
  alarm(1);
  if (signal != SIGINT) {
    static_cast<void>(raise(SIGINT));
  }
}

}  // namespace

Signals::Signals() {
  struct sigaction action = {};
  action.sa_handler = take;
  action.sa_flags = SA_RESTART;
  action.sa_mask = allSignals();
  for (int const signal : {SIGINT, SIGTERM, SIGHUP, SIGALRM}) {
    struct sigaction previous = {};
    sigaction(signal, nullptr, &previous);
    // The solver itself takes a SIGINT that was ignored.
    if (previous.sa_handler != SIG_IGN || signal == SIGINT ||
        signal == SIGALRM) {
      sigaction(signal, &action, nullptr);
    }
  }
  const sigset_t all = allSignals();
  pthread_sigmask(SIG_UNBLOCK, &all, nullptr);
}

void Signals::startTimer(double seconds) {
  auto const whole = static_cast<time_t>(seconds);
  auto const rest = static_cast<suseconds_t>(
      (seconds - static_cast<double>(whole)) * 1000000.0);
  // A timer of 0 would never end.
  const itimerval timer{{0, 0}, {whole, rest + (whole == 0 && rest == 0)}};
  setitimer(ITIMER_REAL, &timer, nullptr);
}

bool Signals::hasCome() {
  return signalCame != 0;
}

SignalsHeld::SignalsHeld() {
  const sigset_t all = allSignals();
  pthread_sigmask(SIG_BLOCK, &all, &previous);
}

SignalsHeld::~SignalsHeld() {
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}

}  // namespace polish
