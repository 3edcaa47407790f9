// The signals that end the work: SIGINT, SIGTERM, SIGHUP, and a timer.
//
// While the solver searches, it has a handler of SIGINT of its own, whose mark
// lasts for the rest of the process. So each of these signals becomes a SIGINT,
// which ends a long step, and after it no further step begins.

#pragma once

#include <csignal>

namespace polish {

class Signals {
 public:
  // Installs the handlers. An ignored SIGTERM or SIGHUP stays ignored.
  Signals();

  // Ends the step that is under way after so many seconds, at most 10^9.
  static void startTimer(double seconds);

  // Whether a signal has come; not if it came to the solver's own handler.
  static bool hasCome();
};

// Holds these signals back as long as it lives. What is forked meanwhile never
// gets them.
class SignalsHeld {
 public:
  SignalsHeld();
  ~SignalsHeld();
  SignalsHeld(SignalsHeld const&) = delete;
  SignalsHeld& operator=(SignalsHeld const&) = delete;

 private:
  sigset_t previous;
};

}  // namespace polish
