// The command line: every setting of a run with its default.

#pragma once

#include <optional>
#include <string>

#include "solver/wcsp.h"

struct Options {
  bool adjustment = true;                  ///< of the constraint weights
  int display = 0;                         ///< level of the search log
  int maxIteration = Wcsp::inf;            ///< not negative
  std::string initialSolutionFile;         ///< empty: none
  std::string inputFile;                   ///< empty: standard input
  int interval = 0;                        ///< of the search log, not negative
  std::string logFile;                     ///< empty: standard output
  int maxIterationUnimproved = Wcsp::inf;  ///< not negative
  int seed = 1;                            ///< of the random generator
  int target = -1;                         ///< soft penalty; -1: not set
  double maxCpuTime = 600.0;               ///< seconds, not negative
};

/// The settings given by the arguments; the last of several equal options
/// applies. Empty if an argument is not an option or a value is missing.
std::optional<Options> readOptions(int argc, char** argv);

/// The usage text, printed if the arguments are wrong.
std::string usageText(char const* program);
