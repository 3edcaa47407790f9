// wcsp-check: recomputes what a report says of a model, and explains it.
//
// It shares no code with the solver, so that a fault there cannot hide itself
// here. The exit status tells the outcome; standard output explains it, and
// standard error holds warnings and what keeps a check from being made.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "tools/check/evaluate.h"
#include "tools/check/model.h"
#include "tools/check/output.h"
#include "tools/check/report.h"
#include "tools/check/warnings.h"

namespace {

using check::Result;

struct Options {
  std::string model;
  std::string report;
  bool hasReport = false;  // else the report is standard input
  bool isStart = false;
  bool isJson = false;
  bool isQuiet = false;
};

// Reads with C streams: they tell a directory from an empty file.
std::string readAll(std::FILE* file, const std::string& name) {
  std::string text;
  char buffer[65536];
  std::size_t size = 0;
  while (file != nullptr &&
         (size = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
    text.append(buffer, size);
  }
  if (file == nullptr || std::ferror(file) != 0) {
    throw std::runtime_error("cannot read '" + name + "'");
  }
  return text;
}

std::string readFile(const std::string& name) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
      std::fopen(name.c_str(), "rb"), &std::fclose);
  return readAll(file.get(), name);
}

void judge(const check::Model& model, const check::Report& report,
           Result& result) {
  using check::Report;
  if (report.kind == Report::missing) {
    result.status = check::noReport;
    result.verdict = "wcsp-check: no report: " + report.problem;
    return;
  }
  if (report.kind == Report::unrecorded) {
    result.verdict = "agrees: no assignment recorded";
    return;
  }
  if (report.kind == Report::broken) {
    result.status = check::differs;
    result.differences = {report.problem};
    result.verdict = "differs: the report has no whole assignment";
    return;
  }
  result.isEvaluated = true;
  result.assignment = report.assignment;
  result.evaluation = evaluate(model, report.assignment);
  if (report.kind == Report::start) {
    result.verdict = "start file: sets " + std::to_string(report.numSet) +
                     " of " + std::to_string(model.variables.size()) +
                     " variables, prints no penalties to compare";
    return;
  }
  result.differences = findDifferences(model, result.evaluation, report);
  result.status = result.differences.empty() ? check::agrees : check::differs;
  result.verdict = result.differences.empty() ? "agrees: the report is right"
                                              : "differs: the report is wrong";
}

// What is unreadable ends up in the result, too, so that it can be written.
check::Model run(const Options& options, Result& result) {
  check::Model model;
  try {
    const std::string text = readFile(options.model);
    result.warnings = check::textWarnings(text);
    model = check::readModel(text);
    auto more = check::modelWarnings(model);
    result.warnings.insert(result.warnings.end(), more.begin(), more.end());
    const std::string report = options.hasReport
                                   ? readFile(options.report)
                                   : readAll(stdin, "standard input");
    judge(model,
          options.isStart ? check::readStart(model, report)
                          : check::readReport(model, report),
          result);
  } catch (const check::ModelError& error) {
    result.status = check::unreadable;
    result.verdict = options.model + ":" + std::to_string(error.line) +
                     ": error: " + error.message;
  } catch (const std::runtime_error& error) {
    result.status = check::unreadable;
    result.verdict = std::string("wcsp-check: ") + error.what();
  }
  return model;
}

void write(const Options& options, const check::Model& model,
           const Result& result) {
  if (!options.isQuiet && !options.isJson) {
    check::writeWarnings(std::cerr, options.model, result.warnings);
  }
  const bool isJudged = result.status < check::unreadable;
  if (!isJudged) {
    std::cerr << check::printable(result.verdict) << "\n";
  }
  if (options.isJson) {
    writeJson(std::cout, model, result);
  } else if (!options.isQuiet && isJudged) {
    writeText(std::cout, model, result);
  }
}

int main2(int argc, char** argv) {
  Options options;
  CLI::App app(
      "Checks a report of wcsp or a whole run's output against a "
      "model:\nrecomputes the penalties and explains the violated "
      "constraints.\nStatus: 0 agrees, 1 differs, 2 unreadable, 3 no report.",
      "wcsp-check");
  app.add_option("MODEL", options.model, "The model")->required();
  CLI::Option* const report = app.add_option(
      "REPORT", options.report, "The report; standard input when absent");
  app.add_flag("--start", options.isStart,
               "REPORT is a start file: show what it sets")
      ->disable_flag_override();
  CLI::Option* const json =
      app.add_flag("--json", options.isJson, "Write one JSON object")
          ->disable_flag_override();
  app.add_flag("--quiet", options.isQuiet, "Write errors only")
      ->excludes(json)
      ->disable_flag_override();
  app.set_version_flag("--version", "wcsp-check " WCSP_VERSION);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      return app.exit(error);
    }
    std::cerr << "wcsp-check: " << check::printable(error.what()) << "\n";
    return check::unreadable;
  }
  options.hasReport = report->count() > 0;
  Result result;
  const check::Model model = run(options, result);
  write(options, model, result);
  return result.status;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const int status = main2(argc, argv);
    if (std::cout.flush()) {
      return status;
    }
    std::cerr << "wcsp-check: cannot write\n";
  } catch (const std::bad_alloc&) {
    std::cerr << "wcsp-check: out of memory\n";
  }
  return check::unreadable;
}
