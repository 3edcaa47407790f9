// Two kinds of text contain an assignment of a model. In a report, alone or at
// the end of the output of a run, the model and the assignment determine every
// line after the heading. From a start file, only pairs of a variable, ':' and
// a value are read.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/check/evaluate.h"
#include "tools/check/model.h"

namespace check {

struct Report {
  enum Kind {
    report,      // an assignment with its penalties
    unrecorded,  // a run that failed before it had an assignment
    start,       // an assignment alone
    broken,      // a report whose assignment cannot be read
    missing      // neither
  };

  Kind kind = start;
  Assignment assignment;                // for kinds `report` and `start`
  std::vector<std::string_view> lines;  // after the assignment, of a `report`
  std::size_t line = 0;                 // the number of the first of them
  std::size_t numSet = 0;               // variables that a `start` sets
  std::string error;  // what is wrong with a `broken` or `missing` one
};

// Reads a report from any text. The result refers to the text.
Report readReport(Model const& model, std::string_view text);

// The same for a start file. The solver accepts a report as a start file, too.
Report readStart(Model const& model, std::string_view text);

// What a report of this or of an earlier model states. Each word comes with its
// number in this model, which is the number of all if the model lacks it.
struct Earlier {
  struct Value {
    std::string variable;
    std::string value;
    Label label;
  };
  struct Violation {
    std::string name;
    std::string amount;
    std::size_t constraint;
  };

  std::vector<Value> assignment;
  std::string hard;
  std::string soft;
  std::vector<Violation> violated;
};

// Reads the last report in the text without judging it; nothing if there is no
// complete one.
std::optional<Earlier> readEarlier(Model const& model, std::string_view text);

// The two penalties as a report prints them, capped: "0/7".
std::string penaltyText(Evaluation const& evaluation);

// What a report prints after the assignment: penalties, violated constraints.
std::vector<std::string> linesAfterAssignment(Model const& model,
                                              Evaluation const& evaluation);

// The differences between the lines after the assignment and the evaluation,
// one text each; for the list of violated constraints, only the first.
std::vector<std::string> findDifferences(Model const& model,
                                         Evaluation const& evaluation,
                                         Report const& report);

}  // namespace check
