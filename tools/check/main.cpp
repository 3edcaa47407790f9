// wcsp-check: reports the errors in a model. With a report, it recomputes the
// penalties and explains them.
//
// It shares no code with the solver, so that a bug there is not repeated here.
// The exit status gives the outcome; standard output explains it; standard
// error has warnings, and errors that prevent a check.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <new>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tools/check/advice.h"
#include "tools/check/evaluate.h"
#include "tools/check/files.h"
#include "tools/check/layout.h"
#include "tools/check/layout_options.h"
#include "tools/check/model.h"
#include "tools/check/output.h"
#include "tools/check/reader.h"
#include "tools/check/report.h"
#include "tools/check/shown_names.h"
#include "tools/check/text.h"
#include "tools/check/warnings.h"

namespace {

using check::Result;

struct Options {
  std::string model;
  std::vector<std::string> reports;
  std::optional<std::string> grouping;  // an expression
  bool isImproving = false;
  bool isConflict = false;
  bool isStart = false;
  bool isStrict = false;
  std::vector<std::string> unwanted;  // kinds of warnings
  std::string names;                  // a file, or empty
  std::string before;                 // a report, or empty
  check::LayoutWishes layout;
  bool isJson = false;
  bool isQuiet = false;
};

// The evaluation of an assignment.
void evaluateReport(Options const& options, check::Model const& model,
                    check::Report const& report, Result& result) {
  result.isEvaluated = true;
  result.assignment = report.assignment;
  result.evaluation = evaluate(model, report.assignment);
  if (options.isImproving) {
    result.neighbours = findBest(model, result.assignment, result.evaluation);
  }
}

void judge(Options const& options, check::Model const& model,
           check::Report const& report, Result& result) {
  using check::Report;
  if (report.kind == Report::missing) {
    result.status = check::noReport;
    result.verdict = "wcsp-check: not a report: " + report.error;
    return;
  }
  if (report.kind == Report::unrecorded) {
    result.verdict = "agrees: no assignment recorded";
    return;
  }
  if (report.kind == Report::broken) {
    result.status = check::differs;
    result.differences = {report.error};
    result.verdict = "differs: the assignment is incomplete";
    return;
  }
  evaluateReport(options, model, report, result);
  if (report.kind == Report::start) {
    result.verdict = "start file: sets " + std::to_string(report.numSet) +
                     " of " + std::to_string(model.variables.size()) +
                     " variables, has no penalties to compare";
    return;
  }
  result.differences = findDifferences(model, result.evaluation, report);
  result.status = result.differences.empty() ? check::agrees : check::differs;
  result.verdict = result.differences.empty() ? "agrees: the report is correct"
                                              : "differs: the report is wrong";
}

// Checks a model alone.
check::Model advise(Options const& options, Result& result) {
  const std::string text = check::readFile(options.model);
  check::Reading reading = check::readWhole(text);
  result.errors = locate(text, reading.errors);
  result.numErrors = reading.numErrors;
  check::Warnings warnings = check::textWarnings(text);
  warnings.append(reading.warnings);
  if (reading.numErrors == 0) {
    warnings.append(check::modelWarnings(reading.model));
  }
  result.warnings = warnings.take(options.unwanted);
  return std::move(reading.model);
}

void concludeAdvice(Options const& options, check::Model const& model,
                    Result& result) {
  bool const isClean =
      result.numErrors == 0 && !(options.isStrict && !result.warnings.empty());
  result.status = isClean ? check::clean : check::hasErrors;
  result.verdict = result.numErrors == 0 ? summary(model) : "no model";
}

// Replaces the names in the model by those of the user, if any.
check::ShownNames useNames(Options const& options, check::Model& model) {
  return options.names.empty() ? check::ShownNames()
                               : rename(model, check::readFile(options.names));
}

check::Earlier readBefore(Options const& options, check::Model const& model) {
  auto earlier = readEarlier(model, check::readFile(options.before));
  if (!earlier) {
    throw std::runtime_error("--before: not a report");
  }
  return std::move(*earlier);
}

// Compares several reports and prints the result as text.
void compareReports(Options const& options, check::Model& model,
                    Result& result) {
  std::vector<std::vector<std::size_t>> violated;
  for (std::string const& name : options.reports) {
    const std::string text = check::readFileOrInput(name);
    const check::Report report = readReport(model, text);
    if (report.kind != check::Report::report) {
      result.status = check::noReport;
      result.verdict = "wcsp-check: not a report: '" + name + "'";
      return;
    }
    const check::Evaluation evaluation = evaluate(model, report.assignment);
    std::vector<std::size_t> hard;
    for (std::size_t c = 0; c < model.constraints.size(); ++c) {
      if (model.constraints[c].weight == check::inf &&
          evaluation.violations[c] > 0) {
        hard.push_back(c);
      }
    }
    if (!hard.empty()) {
      violated.push_back(std::move(hard));
    }
  }
  useNames(options, model);
  std::ostringstream out;
  const std::size_t numReports = options.reports.size();
  writeFailing(out, model, check::findFailing(violated), numReports,
               numReports - violated.size());
  result.verdict = out.str();
  result.verdict.pop_back();
}

check::Model run(Options const& options, Result& result) {
  check::Model model;
  try {
    model = advise(options, result);
    if (options.reports.empty()) {
      concludeAdvice(options, model, result);
    } else if (result.numErrors > 0) {
      result.status = check::unreadable;
      result.verdict = "no model";
    } else if (options.isConflict) {
      compareReports(options, model, result);
    } else {
      const std::string report = check::readFileOrInput(options.reports[0]);
      judge(options, model,
            options.isStart ? check::readStart(model, report)
                            : check::readReport(model, report),
            result);
      if (result.isEvaluated) {
        if (!options.before.empty()) {
          result.before = readBefore(options, model);
        }
        check::ShownNames names = useNames(options, model);
        const check::Grouping grouping(options.grouping,
                                       std::move(names.groups));
        result.groups = sumGroups(model, result.evaluation, grouping);
        if (options.isJson) {
          result.layout = layOut(model, names, options.layout);
        }
      }
    }
  } catch (std::runtime_error const& error) {
    result.status = check::unreadable;
    result.verdict = std::string("wcsp-check: ") + error.what();
  }
  return model;
}

check::Manner mannerOf(std::FILE* file) {
  bool const isTerminal = isatty(fileno(file)) == 1;
  char const* const noColour = std::getenv("NO_COLOR");
  return {isTerminal,
          isTerminal && (noColour == nullptr || noColour[0] == '\0')};
}

void writeErrors(Options const& options, Result const& result) {
  writeErrors(std::cerr, options.model, result.errors, mannerOf(stderr));
  if (result.numErrors > result.errors.size()) {
    std::cerr << check::printable(options.model) << ": the first "
              << result.errors.size() << " of " << result.numErrors
              << " errors\n";
  }
  if (result.numErrors == 0 && result.status >= check::unreadable) {
    std::cerr << check::printable(result.verdict) << "\n";
  }
}

void write(Options const& options, check::Model const& model,
           Result const& result) {
  if (options.isJson) {
    if (result.numErrors == 0 && result.status >= check::unreadable) {
      std::cerr << check::printable(result.verdict) << "\n";
    }
    writeJson(std::cout, model, result);
    return;
  }
  writeErrors(options, result);
  if (!options.isQuiet) {
    check::writeWarnings(std::cerr, options.model, result.warnings);
  }
  if (!options.isQuiet && result.numErrors == 0 &&
      result.status < check::unreadable) {
    writeText(std::cout, model, result);
  }
}

CLI::Option* addFlag(CLI::App& app, char const* name, bool& isSet,
                     char const* help) {
  return app.add_flag(name, isSet, help)->disable_flag_override();
}

// Returns --conflict. The lookup of an option by its name is not used: it ends
// the program when memory is short.
CLI::Option* addReportOptions(CLI::App& app, Options& options,
                              CLI::Option* report) {
  addFlag(app, "--start", options.isStart,
          "REPORT is a start file: show what it sets")
      ->needs(report);
  app.add_option_function<std::string>(
         "--by",
         [&options](std::string const& text) { options.grouping = text; },
         "Group constraints by the match of this expression")
      ->type_name("REGEX")
      ->needs(report);
  addFlag(app, "--improve", options.isImproving,
          "Show the best change of a variable and the best swap of two")
      ->needs(report);
  CLI::Option* const conflict = addFlag(
      app, "--conflict", options.isConflict,
      "Compare the REPORTs of several seeds: which hard constraints fail");
  conflict->needs(report);
  addFlag(app, "--strict", options.isStrict,
          "Without REPORT: exit with status 1 on warnings as well")
      ->excludes(report);
  return conflict;
}

void addOutputOptions(CLI::App& app, Options& options, CLI::Option* report,
                      CLI::Option* conflict) {
  app.add_option("--no-warn", options.unwanted,
                 "Suppress warnings of this kind")
      ->check(CLI::IsMember(check::warningNames()).description(""))
      ->type_name("KIND")
      ->expected(1)
      ->allow_extra_args(false)
      ->take_all();
  CLI::Option* const json =
      addFlag(app, "--json", options.isJson, "Print one JSON object");
  addFlag(app, "--quiet", options.isQuiet, "Print errors only")->excludes(json);
  conflict->excludes(json);
  app.add_option("--names", options.names,
                 "JSON file of names to show instead of those of the model")
      ->type_name("FILE")
      ->needs(report);
  app.add_option("--before", options.before,
                 "An earlier report, maybe of another model, to print as well")
      ->type_name("EARLIER")
      ->needs(report)
      ->needs(json);
  for (CLI::Option* const option :
       check::addLayoutOptions(app, options.layout)) {
    option->needs(json);
  }
}

int main2(int argc, char** argv) {
  CLI::App app(
      "Checks a model: reports every error with a remedy, warns about what is "
      "rarely\nmeant, and prints a summary. With a report of wcsp, or the "
      "whole "
      "output of a run,\nrecomputes the penalties and explains the violated "
      "constraints.\nStatus: 0 no errors, or the report agrees; 1 errors, or "
      "the report differs;\n2 unreadable input or a wrong argument; 3 not a "
      "report.",
      "wcsp-check");
  Options options;
  app.add_option("MODEL", options.model, "The model")->required();
  CLI::Option* const report = app.add_option("REPORT", options.reports,
                                             "The report; - for standard input")
                                  ->type_name("TEXT");
  addOutputOptions(app, options, report,
                   addReportOptions(app, options, report));
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
  if (options.reports.size() > 1 && !options.isConflict) {
    std::cerr << "wcsp-check: several reports need --conflict\n";
    return check::unreadable;
  }
  Result result;
  const check::Model model = run(options, result);
  write(options, model, result);
  return result.status;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    int const status = main2(argc, argv);
    if (std::cout.flush()) {
      return status;
    }
    std::cerr << "wcsp-check: cannot write\n";
  } catch (std::bad_alloc const&) {
    std::cerr << "wcsp-check: out of memory\n";
  }
  return check::unreadable;
}
