// wcsp-polish: improves a report by solving parts of its model again.

#include <sys/prctl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "tools/check/advice.h"
#include "tools/check/layout.h"
#include "tools/check/layout_options.h"
#include "tools/check/reader.h"
#include "tools/check/report.h"
#include "tools/check/text.h"
#include "tools/polish/output.h"
#include "tools/polish/polisher.h"
#include "tools/polish/team.h"

namespace {

using polish::Polisher;
using polish::Solution;

enum Status { success = 0, wrongReport = 1, unreadable = 2, noReport = 3 };

constexpr unsigned firstIterations = 100000;

struct Options {
  std::string model;
  std::string report;
  double seconds = 60.0;
  std::uint64_t maxSteps = std::numeric_limits<std::uint64_t>::max();
  unsigned seed = 1;
  unsigned numJobs = 1;
  std::string output;
  check::LayoutWishes layout;
};

// What ends the program with a message and a status.
struct Failure : std::runtime_error {
  Status status;

  Failure(Status itsStatus, std::string const& message)
      : std::runtime_error(message), status(itsStatus) {}
};

class Stopwatch {
 public:
  double operator()() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() -
                                         start)
        .count();
  }

 private:
  std::chrono::steady_clock::time_point start =
      std::chrono::steady_clock::now();
};

// The signals that end the work with the best so far. They stay blocked while
// the solver runs: its own mark of an interrupt would last for all later steps.
class Signals {
 public:
  Signals() {
    sigemptyset(&all);
    for (int const signal : {SIGINT, SIGTERM, SIGHUP}) {
      sigaddset(&all, signal);
    }
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
  }

  bool hasCome() const {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGINT) == 1 ||
           sigismember(&pending, SIGTERM) == 1 ||
           sigismember(&pending, SIGHUP) == 1;
  }

 private:
  sigset_t all;
};

// "90", "90s", "10m", "1.5h"; in seconds.
double secondsOf(std::string const& text) {
  std::istringstream in(text);
  double number = 0.0;
  std::string unit;
  if (!(in >> number) || !(number > 0.0)) {
    throw CLI::ValidationError("--time", "not a duration: " + text);
  }
  in >> unit;
  double const factor = unit.empty() || unit == "s" ? 1.0
                        : unit == "m"               ? 60.0
                        : unit == "h"               ? 3600.0
                                                    : 0.0;
  if (factor == 0.0 || !(in >> std::ws).eof()) {
    throw CLI::ValidationError("--time", "not a duration: " + text);
  }
  return number * factor;
}

std::string readFile(std::string const& name) {
  std::ifstream file;
  if (name != "-") {
    file.open(name, std::ios::binary);
  }
  std::istream& in = name == "-" ? std::cin : file;
  std::string text{std::istreambuf_iterator<char>(in), {}};
  if (!in || (name != "-" && !file.is_open())) {
    throw Failure(unreadable, "cannot read '" + name + "'");
  }
  return text;
}

check::Model readModel(std::string const& name) {
  const std::string text = readFile(name);
  check::Reading reading = check::readWhole(text);
  if (reading.numErrors > 0) {
    writeErrors(std::cerr, name, locate(text, reading.errors), {});
    throw Failure(unreadable, "no model");
  }
  return std::move(reading.model);
}

Solution readStart(Options const& options, check::Model const& model) {
  const std::string text = readFile(options.report);
  check::Report report = check::readReport(model, text);
  if (report.kind == check::Report::missing) {
    report = check::readStart(model, text);
  }
  if (report.kind != check::Report::report &&
      report.kind != check::Report::start) {
    throw Failure(noReport, options.report + ": no report: " + report.error);
  }
  if (report.kind == check::Report::start && report.numSet == 0) {
    throw Failure(noReport, options.report + ": sets no variable of the model");
  }
  Solution start{report.assignment, evaluate(model, report.assignment)};
  if (report.kind == check::Report::report &&
      !findDifferences(model, start.evaluation, report).empty()) {
    throw Failure(wrongReport,
                  options.report + ": the report is not of this model");
  }
  return start;
}

// Shows how far the work is and keeps the best.
class Display {
 public:
  Display(Options const& itsOptions, check::Model const& itsModel)
      : options(itsOptions), model(itsModel) {
    if (!options.output.empty()) {
      file.emplace(options.output);
    }
  }

  void improved(Solution const& solution, std::uint64_t step) {
    clearLine();
    writeProgress(std::cout, solution, clock(), step);
    if (file) {
      file->replace(textOf(solution));
    }
  }

  // "0/912, step 210, rows of 168, 31 s left"
  void stepped(Solution const& solution, std::uint64_t step,
               std::string const& part) {
    if (!isTerminal || clock() < shownAt + 0.1) {
      return;
    }
    shownAt = clock();
    std::ostringstream line;
    line << check::penaltyText(solution.evaluation) << ", step " << step << part
         << ", " << static_cast<long>(std::max(options.seconds - clock(), 0.0))
         << " s left";
    std::cerr << "\r\033[K" << line.str() << std::flush;
    isLineShown = true;
  }

  void finish(Solution const& solution) {
    clearLine();
    if (file) {
      file->finish(textOf(solution));
    } else {
      std::cout << "\n" << textOf(solution) << std::flush;
    }
  }

  bool isTimeOver() const { return clock() >= options.seconds; }

 private:
  Options const& options;
  check::Model const& model;
  Stopwatch clock;
  std::optional<polish::OutputFile> file;
  bool const isTerminal = isatty(STDERR_FILENO) == 1;
  double shownAt = 0.0;
  bool isLineShown = false;

  std::string textOf(Solution const& solution) const {
    std::ostringstream out;
    writeReport(out, model, solution);
    return out.str();
  }

  void clearLine() {
    if (isLineShown) {
      std::cerr << "\r\033[K" << std::flush;
      isLineShown = false;
    }
  }
};

bool isDone(check::Model const& model, Solution const& solution) {
  return solution.evaluation.hard == 0 &&
         solution.evaluation.soft <= model.target;
}

void polishAlone(Options const& options, check::Model const& model,
                 Signals const& signals, Display& display, Polisher& polisher) {
  for (std::uint64_t step = 1;
       step <= options.maxSteps && !isDone(model, polisher.solution()) &&
       !display.isTimeOver() && !signals.hasCome();
       ++step) {
    bool const isBetter = polisher.step();
    if (isBetter) {
      display.improved(polisher.solution(), step);
    }
    display.stepped(polisher.solution(), step,
                    std::string(", ") + nameOf(polisher.kind()) + " of " +
                        std::to_string(polisher.size()));
  }
  if (polisher.numSkipped() > 0) {
    std::cerr << "wcsp-polish: skipped " << polisher.numSkipped()
              << " steps whose bounds leave the range of a model\n";
  }
}

void polishTogether(Options const& options, check::Model const& model,
                    Signals const& signals, Display& display,
                    check::Grids const& grids, Solution& best) {
  polish::Team team(model, options.numJobs, best, options.maxSteps,
                    [&](unsigned worker) {
                      return Polisher(model, grids, options.seed + worker);
                    });
  constexpr double pause = 0.05;  // seconds
  while (team.isAtWork() && !isDone(model, best) && !display.isTimeOver() &&
         !signals.hasCome()) {
    Solution next = best;
    if (team.wait(pause, next.assignment)) {
      next.evaluation = evaluate(model, next.assignment);
      if (next.isBetterThan(best)) {
        best = std::move(next);
        display.improved(best, team.numSteps());
      }
    }
    display.stepped(best, team.numSteps(), "");
  }
  if (team.numLost() > 0) {
    std::cerr << "wcsp-polish: " << team.numLost() << " of " << options.numJobs
              << " processes ended early\n";
  }
}

void run(Options const& options) {
  const Signals signals;
  const check::Model model = readModel(options.model);
  std::optional<Solution> best;
  if (!options.report.empty()) {
    best = readStart(options, model);
  }
  const check::Grids grids = layOut(model, {}, options.layout).variables;
  Display display(options, model);
  Polisher polisher(model, grids, options.seed);
  if (!best) {
    best = polisher.search(firstIterations);
  }
  display.improved(*best, 0);
  if (polisher.canStep()) {
    if (options.numJobs > 1) {
      polishTogether(options, model, signals, display, grids, *best);
    } else {
      polisher.setSolution(*best);
      polishAlone(options, model, signals, display, polisher);
      best = polisher.solution();
    }
  }
  display.finish(*best);
}

int parse(int argc, char** argv, Options& options) {
  CLI::App app(
      "Improves a report of wcsp: frees parts of its variables, solves these "
      "small models\nby the search, and keeps what is equal or better. Without "
      "a report it searches first.\n"
      "Status: 0; 1 the report differs from the model; 2 unreadable or "
      "unwritable;\n3 no report.",
      "wcsp-polish");
  std::string time = "60s";
  app.add_option("MODEL", options.model, "The model")->required();
  app.add_option("REPORT", options.report,
                 "A report or a start file; - for standard input");
  app.add_option("--time", time, "Wall-clock time: 90s, 10m, 1h")
      ->capture_default_str();
  CLI::Option* const steps =
      app.add_option("--steps", options.maxSteps, "Stop after this many steps")
          ->check(CLI::PositiveNumber);
  app.add_option("--seed", options.seed, "Seed of all random choices")
      ->capture_default_str();
  app.add_option("--jobs", options.numJobs,
                 "Processes; runs with more than one do not repeat")
      ->check(CLI::Range(1, 1024))
      ->capture_default_str();
  app.add_option("-o,--output", options.output,
                 "Write the report to this file, anew at each improvement")
      ->type_name("FILE");
  check::addLayoutOptions(app, options.layout);
  app.set_version_flag("--version", "wcsp-polish " WCSP_VERSION);
  try {
    app.parse(argc, argv);
    options.seconds = secondsOf(time);
    if (steps->count() > 0 && app.count("--time") == 0) {
      options.seconds = std::numeric_limits<double>::infinity();
    }
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      std::exit(app.exit(error));
    }
    throw Failure(unreadable, check::printable(error.what()));
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  try {
    parse(argc, argv, options);
    run(options);
    if (std::cout.flush()) {
      return success;
    }
    std::cerr << "wcsp-polish: cannot write\n";
  } catch (Failure const& failure) {
    std::cerr << "wcsp-polish: " << check::printable(failure.what()) << "\n";
    return failure.status;
  } catch (std::bad_alloc const&) {
    std::cerr << "wcsp-polish: out of memory\n";
  } catch (std::runtime_error const& error) {
    std::cerr << "wcsp-polish: " << check::printable(error.what()) << "\n";
  }
  return unreadable;
}
