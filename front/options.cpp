// One table row per option: its name, whether a value follows, and the setting
// that it changes. Values are converted as far as they can be and never
// refused: numbers are cut to 32 bits, a limit below 0 is 0.

#include "front/options.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace {

int toInt(const char* value) {
  return static_cast<int>(std::strtol(value, nullptr, 10));
}

int toLimit(const char* value) {
  return std::max(toInt(value), 0);
}

double toSeconds(const char* value) {
  const double seconds = std::strtod(value, nullptr);
  return seconds > 0.0 ? seconds : 0.0;  // 0 also for what is not a number
}

struct Row {
  const char* name;
  bool takesValue;
  void (*set)(Options& options, const char* value);
};

const Row rows[] = {
    {"-noadjust", false, [](Options& o, const char*) { o.adjustment = false; }},
    {"-display", true, [](Options& o, const char* v) { o.display = toInt(v); }},
    {"-iteration", true,
     [](Options& o, const char* v) { o.maxIteration = toLimit(v); }},
    {"-initsolfile", true,
     [](Options& o, const char* v) { o.initialSolutionFile = v; }},
    {"-inputfile", true, [](Options& o, const char* v) { o.inputFile = v; }},
    {"-interval", true,
     [](Options& o, const char* v) { o.interval = toLimit(v); }},
    {"-logfile", true, [](Options& o, const char* v) { o.logFile = v; }},
    {"-noimprovement", true,
     [](Options& o, const char* v) { o.maxIterationUnimproved = toLimit(v); }},
    {"-seed", true, [](Options& o, const char* v) { o.seed = toInt(v); }},
    {"-target", true, [](Options& o, const char* v) { o.target = toInt(v); }},
    {"-time", true,
     [](Options& o, const char* v) { o.maxCpuTime = toSeconds(v); }},
};

}  // namespace

std::optional<Options> readOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const auto row = std::find_if(
        std::begin(rows), std::end(rows),
        [&](Row const& r) { return std::strcmp(r.name, argv[i]) == 0; });
    if (row == std::end(rows)) {
      return std::nullopt;
    }
    if (row->takesValue && ++i == argc) {
      return std::nullopt;
    }
    row->set(options, argv[i]);
  }
  return options;
}

std::string usageText(const char* program) {
  return std::string("Usage: ") + program + R"( [-options...]
  -noadjust         deactivate weight adjustment mechanism
  -display #        set log display level
  -iteration #      set iteration limit
  -initsolfile file set initial solution file name
  -inputfile file   set input file name
  -interval #       set log display interval
  -logfile file     set log file name
  -noimprovement #  set iteration limit for no improvement
  -seed #           set random seed
  -logfile file     set log file name
  -target #         set target
  -time #.#         set cpu time limit in second

)";
}
