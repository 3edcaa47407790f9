// The errors of a model in the style of compilers, and a one-line summary of
// the model.

#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tools/check/model.h"
#include "tools/check/reader.h"

namespace check {

// An error with the data to show it when the text no longer exists.
struct LocatedError {
  std::size_t line = 0;
  std::size_t column = 0;  // in bytes, from 1
  std::size_t length = 0;  // in bytes, on this line
  std::string message;
  std::string excerpt;     // the line around the error, printable
  std::size_t indent = 0;  // of the error in the excerpt
  std::size_t width = 1;   // of its mark
};

std::vector<LocatedError> locate(std::string_view text,
                                 std::vector<Error> const& errors);

struct Manner {
  bool hasExcerpts = false;
  bool isColoured = false;
};

// "model:3:7: error: ...", optionally with the line and a caret.
void writeErrors(std::ostream& out, std::string const& fileName,
                 std::vector<LocatedError> const& errors, Manner const& manner);

// "3 variables, 6 values, 2 constraints (1 linear, 1 alldiff; ...), ..."
std::string summary(Model const& model);

}  // namespace check
