// One table row per option: its name, whether a value follows, and the setting
// that it changes. Values are never refused: as much of a value as possible is
// converted, numbers are cut to 32 bits, and a limit below 0 becomes 0.

#include "front/options.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace {

int toInt(char const* value) {
  return static_cast<int>(std::strtol(value, nullptr, 10));
}

int toLimit(char const* value) {
  return std::max(toInt(value), 0);
}

double toSeconds(char const* value) {
  double const seconds = std::strtod(value, nullptr);
  return seconds > 0.0 ? seconds : 0.0;  // 0 also for what is not a number
}

struct Row {
  char const* name;
  bool takesValue;
  void (*set)(Options& options, char const* value);
};

const Row rows[] = {
    {"-noadjust", false, [](Options& o, char const*) { o.adjustment = false; }},
    {"-display", true, [](Options& o, char const* v) { o.display = toInt(v); }},
    {"-iteration", true,
     [](Options& o, char const* v) { o.maxIteration = toLimit(v); }},
    {"-initsolfile", true,
     [](Options& o, char const* v) { o.initialSolutionFile = v; }},
    {"-inputfile", true, [](Options& o, char const* v) { o.inputFile = v; }},
    {"-interval", true,
     [](Options& o, char const* v) { o.interval = toLimit(v); }},
    {"-logfile", true, [](Options& o, char const* v) { o.logFile = v; }},
    {"-noimprovement", true,
     [](Options& o, char const* v) { o.maxIterationUnimproved = toLimit(v); }},
    {"-seed", true, [](Options& o, char const* v) { o.seed = toInt(v); }},
    {"-target", true, [](Options& o, char const* v) { o.target = toInt(v); }},
    {"-time", true,
     [](Options& o, char const* v) { o.maxCpuTime = toSeconds(v); }},
};

}  // namespace

std::optional<Options> readOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    auto const row = std::find_if(
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

std::string usageText(char const* program) {
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
