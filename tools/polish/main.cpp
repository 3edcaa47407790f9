// wcsp-polish: improves a report by solving parts of its model again.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "tools/check/command.h"
#include "tools/check/files.h"
#include "tools/check/layout.h"
#include "tools/check/layout_options.h"
#include "tools/check/output_file.h"
#include "tools/check/report.h"
#include "tools/engines/engine.h"
#include "tools/polish/bound.h"
#include "tools/polish/output.h"
#include "tools/polish/polisher.h"
#include "tools/polish/signals.h"
#include "tools/polish/team.h"

namespace {

using check::failed;
using check::Failure;
using polish::Polisher;
using polish::Signals;
using polish::Solution;

enum Status { success = 0, wrongReport = 1, noReport = 3 };

const std::chrono::steady_clock::time_point programStart =
    std::chrono::steady_clock::now();

constexpr double longest = 1e9;  // seconds
constexpr unsigned mostJobs = 1024;

struct Options {
  std::string model;
  std::string report;
  double seconds = 60.0;
  std::uint64_t maxSteps = std::numeric_limits<std::uint64_t>::max();
  unsigned seed = 1;
  unsigned numJobs = 1;
  std::string output;
  check::LayoutWishes layout;
  bool isBound = false;
  std::string engine = "auto";
};

void complain(std::string const& message) {
  check::complain("wcsp-polish", message);
}

// "90", "10m", "1h30m"; in seconds.
double secondsOf(std::string const& text) {
  static const std::regex form(
      "(?:([0-9]+)d)?(?:([0-9]+)h)?(?:([0-9]+)m(?:in)?)?"
      "(?:([0-9]+(?:\\.[0-9]+)?)s?)?");
  std::smatch found;
  if (text.size() > 100 || text.empty() ||
      !std::regex_match(text, found, form)) {
    throw CLI::ValidationError(
        "--time", "'" + text + "' is not a time; write 90, 10m or 1h30m");
  }
  double sum = 0.0;
  constexpr double units[] = {86400.0, 3600.0, 60.0, 1.0};
  for (std::size_t i = 0; i < 4; ++i) {
    sum += units[i] * (found[i + 1].matched ? std::stod(found[i + 1]) : 0.0);
  }
  if (sum <= 0.0) {
    throw CLI::ValidationError("--time", "a time must be above 0");
  }
  return std::min(sum, longest);
}

// A report that differs from what it has to be is refused, as are texts that
// are neither a report nor a start file.
Solution readStart(std::string const& name, check::Model const& model) {
  using check::Report;
  const std::string text = check::readFileOrInput(name);
  Report report = check::readReport(model, text);
  if (report.kind == Report::missing) {
    report = check::readStart(model, text);
    if (report.kind == Report::start && report.numSet == 0) {
      report.kind = Report::missing;
    }
  }
  if (report.kind == Report::broken) {
    throw Failure(wrongReport, name + ": " + report.error);
  }
  if (report.kind == Report::unrecorded) {
    throw Failure(noReport, name + ": no assignment recorded");
  }
  if (report.kind == Report::missing) {
    throw Failure(noReport,
                  name + ": neither a report nor a start file of this model");
  }
  Solution start{report.assignment, evaluate(model, report.assignment)};
  if (report.kind == Report::report) {
    auto const differences = findDifferences(model, start.evaluation, report);
    if (!differences.empty()) {
      throw Failure(wrongReport,
                    name + ": the report is wrong: " + differences.front());
    }
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

  // The file comes first, so that what is shown is kept. What cannot be
  // written now may be so at the end.
  void improved(Solution const& solution, std::uint64_t step) {
    try {
      if (file) {
        file->replace(textOf(solution));
      }
    } catch (std::runtime_error const&) {
      // finish() reports it.
    }
    clearLine();
    writeProgress(std::cout, solution, clock(), step);
  }

  // "0/912, step 210, rows of 168, 31 s left"
  void stepped(Solution const& solution, std::uint64_t step,
               polish::PartKind kind, std::size_t size) {
    if (!isTerminal || clock() < shownAt + 0.1) {
      return;
    }
    shownAt = clock();
    std::cerr << "\r\033[K" << check::penaltyText(solution.evaluation)
              << ", step " << step << ", " << nameOf(kind) << " of " << size;
    if (options.seconds < longest) {
      std::cerr << ", " << static_cast<long>(secondsLeft()) << " s left";
    }
    std::cerr << std::flush;
    isLineShown = true;
  }

  // A report that has no place in the file goes to standard output.
  void finish(Solution const& solution) {
    clearLine();
    std::string error;
    if (file) {
      try {
        file->finish(textOf(solution));
        return;
      } catch (std::runtime_error const& failure) {
        error = failure.what();
      }
    }
    std::cout << "\n" << textOf(solution) << std::flush;
    if (file) {
      throw Failure(failed, error);
    }
  }

  static double clock() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() -
                                         programStart)
        .count();
  }

  double secondsLeft() const {
    return std::max(options.seconds - clock(), 0.0);
  }

 private:
  Options const& options;
  check::Model const& model;
  std::optional<check::OutputFile> file;
  bool const isTerminal = isatty(STDERR_FILENO) == 1;
  double shownAt = -1.0;  // the first step is shown at once
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

// No step improves on 0/0, whatever the target.
bool isDone(check::Model const& model, Solution const& solution) {
  return solution.evaluation.hard == 0 &&
         solution.evaluation.soft <= std::max(model.target, 0);
}

void tellSkipped(std::uint64_t numSkipped) {
  if (numSkipped > 0) {
    complain("skipped " + std::to_string(numSkipped) +
             " steps whose bounds leave the range of a model");
  }
}

void polishAlone(Options const& options, check::Model const& model,
                 Display& display, Polisher& polisher) {
  for (std::uint64_t step = 1;
       step <= options.maxSteps && !isDone(model, polisher.solution()) &&
       !Signals::hasCome() && !polisher.isInterrupted();
       ++step) {
    bool const isBetter = polisher.step();
    if (isBetter) {
      display.improved(polisher.solution(), step);
    }
    display.stepped(polisher.solution(), step, polisher.kind(),
                    polisher.size());
  }
  tellSkipped(polisher.numSkipped());
}

void polishTogether(Options const& options, check::Model const& model,
                    Display& display, check::Grids const& grids,
                    bool searchesFirst, Solution& best) {
  polish::Team team(model, options.numJobs, best, options.maxSteps,
                    searchesFirst, [&](unsigned worker) {
                      return Polisher(model, grids, options.seed + worker);
                    });
  constexpr double pause = 0.05;  // seconds
  bool isAtWork = true;
  while (isAtWork && !isDone(model, best) && !Signals::hasCome()) {
    // What the last of them has left is still taken.
    isAtWork = team.isAtWork();
    Solution next = best;
    if (team.wait(isAtWork ? pause : 0.0, next.assignment)) {
      next.evaluation = evaluate(model, next.assignment);
      if (next.isBetterThan(best)) {
        best = std::move(next);
        display.improved(best, team.numSteps());
      }
    }
    display.stepped(best, team.numSteps(), team.kind(), team.partSize());
  }
  tellSkipped(team.numSkipped());
  if (team.numLost() > 0) {
    complain(std::to_string(team.numLost()) + " of " +
             std::to_string(options.numJobs) + " processes ended early");
  }
}

// `auto` takes the engines that are there.
std::vector<std::unique_ptr<engines::Engine>> makeEngines(
    std::string const& name) {
  std::vector<std::unique_ptr<engines::Engine>> made;
  std::string missing;
  for (auto const& [offered, make] : {std::pair("highs", &engines::makeHighs),
                                      std::pair("cbc", &engines::makeCbc)}) {
    try {
      if (name == offered || name == "auto") {
        made.push_back(make());
      }
    } catch (std::runtime_error const& error) {
      missing += (missing.empty() ? "" : "; ") + std::string(error.what());
    }
  }
  if (made.empty()) {
    throw Failure(failed, missing);
  }
  return made;
}

void tellBound(Options const& options, check::Model const& model,
               std::optional<Solution> const& best) {
  auto const engines = makeEngines(options.engine);
  const polish::Bound bound =
      boundOf(model, best, engines, options.seconds - Display::clock());
  std::cout << describe(bound, best) << "\n";
}

void run(Options const& options) {
  const check::Model model = check::readModel(options.model);
  std::optional<Solution> best;
  if (!options.report.empty()) {
    best = readStart(options.report, model);
  }
  if (options.isBound) {
    tellBound(options, model, best);
    return;
  }
  std::error_code error;
  if (std::filesystem::equivalent(options.output, options.model, error)) {
    throw Failure(failed, "--output names the model");
  }
  const check::Grids grids = layOut(model, {}, options.layout).variables;
  Display display(options, model);
  // Until here a signal ends the program: there is nothing to lose.
  const Signals signals;
  Polisher polisher(model, grids, options.seed);
  bool const searchesFirst = !best;
  if (searchesFirst) {
    best = polisher.begin();
  }
  display.improved(*best, 0);
  std::string failure;
  if (polisher.canStep() && !polisher.isInterrupted()) {
    Signals::startTimer(display.secondsLeft());
    try {
      if (options.numJobs > 1) {
        polishTogether(options, model, display, grids, searchesFirst, *best);
      } else {
        polisher.setSolution(*best);
        if (searchesFirst && !isDone(model, *best) && polisher.search()) {
          display.improved(polisher.solution(), 0);
        }
        polishAlone(options, model, display, polisher);
      }
    } catch (std::bad_alloc const&) {
      failure = "out of memory";
    } catch (std::system_error const& reason) {
      failure = reason.what();
    }
    if (options.numJobs == 1) {
      best = polisher.solution();
    }
  }
  display.finish(*best);
  if (!failure.empty()) {
    throw Failure(failed, failure);
  }
}

Options parse(int argc, char** argv) {
  Options options;
  CLI::App app(
      "Improves a report of wcsp: frees parts of its variables, solves these "
      "small models\nby the search, and keeps what is equal or better. Without "
      "a report it searches first.\n"
      "Status: 0 a report is written, or a bound printed; 1 REPORT differs "
      "from the model;\n2 something cannot be read, written or understood; 3 "
      "REPORT is none.",
      "wcsp-polish");
  std::string time = "60s";
  app.add_option("MODEL", options.model, "The model")->required();
  app.add_option("REPORT", options.report,
                 "A report or a start file; - for standard input");
  CLI::Option* const limit =
      app.add_option("--time", time,
                     "Wall-clock limit: 90, 10m, 1h30m; none if --steps "
                     "is given alone")
          ->type_name("TIME")
          ->capture_default_str();
  CLI::Option* const steps =
      app.add_option("--steps", options.maxSteps, "Stop after this many steps")
          ->type_name("N")
          ->check(CLI::Range(std::uint64_t{1},
                             std::numeric_limits<std::uint64_t>::max())
                      .description(""));
  app.add_option("--seed", options.seed, "Seed of all random choices")
      ->type_name("N")
      ->check(
          CLI::Range(0U, std::numeric_limits<unsigned>::max()).description(""))
      ->capture_default_str();
  app.add_option("--jobs", options.numJobs,
                 "Processes; a run with more than one does not repeat")
      ->type_name("N")
      ->check(CLI::Range(1U, mostJobs).description(""))
      ->capture_default_str();
  CLI::Option* const output =
      app.add_option("-o,--output", options.output,
                     "Write the report to this file, anew at each improvement")
          ->type_name("FILE")
          ->check([](std::string const& name) {
            return std::string(name.empty() ? "names no file" : "");
          });
  CLI::Option* const engine =
      app.add_option("--engine", options.engine,
                     "Exact engine for --bound: cbc, highs, or auto for both")
          ->type_name("ENGINE")
          ->check(CLI::IsMember({"auto", "cbc", "highs"}).description(""))
          ->capture_default_str();
  CLI::Option* const bound =
      app.add_flag("--bound", options.isBound,
                   "Print a lower bound on the penalty instead of polishing")
          ->disable_flag_override()
          ->excludes(steps)
          ->excludes(output);
  engine->needs(bound);
  check::addLayoutOptions(app, options.layout);
  app.set_version_flag("--version", "wcsp-polish " WCSP_VERSION);
  try {
    app.parse(argc, argv);
    bool const hasLimit = steps->count() == 0 || limit->count() > 0;
    options.seconds = hasLimit ? secondsOf(time) : longest;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      app.exit(error);
      std::exit(std::cout.flush() ? success : failed);
    }
    throw Failure(failed, error.what());
  }
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  return check::runCommand("wcsp-polish", [=] { run(parse(argc, argv)); });
}
