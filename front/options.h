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

/// The settings that the arguments ask for; the later of two equal options
/// holds. Nothing when an argument is no option or an option lacks its value.
std::optional<Options> readOptions(int argc, char** argv);

/// What is printed when the arguments are not understood.
std::string usageText(char const* program);
