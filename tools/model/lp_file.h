// Linear programs as files in the LP format, and solutions of such files.
//
// Columns are x1, x2, ...; each stands in the objective, in this order, so that
// they have these numbers in programs that drop the names.

#pragma once

#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tools/check/evaluate.h"
#include "tools/check/model.h"
#include "tools/model/program.h"

namespace lp {

// Without comments.
void writeProgram(std::ostream& out, Program const& program);

// The same with the constant, and the names of the model in comments.
void writeProgram(std::ostream& out, Program const& program,
                  check::Model const& model);

// A text that is no solution; the message says why.
struct NoSolution : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The values of the first columns in a solution file of cbc or GLPK, or in any
// list of lines with a name and a value; 0 for columns that are not listed.
std::vector<double> readSolution(std::string_view text, std::size_t numColumns);

// The assignment of these values of the labels. Throws NoSolution if one is not
// near 0 or 1, or a variable has not exactly one value.
check::Assignment assignmentOf(check::Model const& model,
                               std::vector<double> const& labels);

}  // namespace lp
