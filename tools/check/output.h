// The output of the checker, as text and as JSON.
//
// Names come from files and are untrusted, so all are escaped.

#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tools/check/advice.h"
#include "tools/check/evaluate.h"
#include "tools/check/failing.h"
#include "tools/check/groups.h"
#include "tools/check/improve.h"
#include "tools/check/layout.h"
#include "tools/check/model.h"
#include "tools/check/report.h"
#include "tools/check/warnings.h"

namespace check {

// A model alone is clean or has errors, a report agrees or differs.
enum Status {
  agrees = 0,
  clean = 0,
  differs = 1,
  hasErrors = 1,
  unreadable = 2,
  noReport = 3
};

// The complete result of a check.
struct Result {
  Status status = agrees;
  std::string verdict;               // one line
  std::vector<LocatedError> errors;  // in the model; the first of them, if many
  std::size_t numErrors = 0;
  std::vector<Warning> warnings;
  std::vector<std::string> differences;
  bool isEvaluated = false;  // whether the following two mean anything
  Assignment assignment;
  Evaluation evaluation;
  std::vector<Group> groups;             // with a penalty, the greatest first
  std::optional<Neighbours> neighbours;  // where they are asked for
  Layout layout;                         // for JSON
  std::optional<Earlier> before;         // as above
};

// The violated constraints explained, the differences and the verdict.
void writeText(std::ostream& out, Model const& model, Result const& result);

// The same and the warnings as one JSON object. It is written in pieces, so
// that its memory does not grow with the model.
void writeJson(std::ostream& out, Model const& model, Result const& result);

// The comparison of several reports, some of which satisfy all hard
// constraints.
void writeFailing(std::ostream& out, Model const& model, Failing const& failing,
                  std::size_t numReports, std::size_t numSatisfying);

// A line for each warning, each opened by the name of the model's file.
void writeWarnings(std::ostream& out, std::string const& fileName,
                   std::vector<Warning> const& warnings);

}  // namespace check
