// The formats of other programs, one source file each.

#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tools/check/evaluate.h"
#include "tools/check/model.h"

namespace convert {

// The status if a text is no solution of the model.
inline constexpr int noSolution = 3;

struct Format {
  std::string name;  // as an argument
  // Throws std::runtime_error if the model does not fit the format.
  void (*write)(std::ostream& out, check::Model const& model);
  // The assignment in a solution that another program has found. Throws
  // check::Failure with noSolution if there is none.
  check::Assignment (*readBack)(check::Model const& model,
                                std::string_view solution);
};

// Linear programs.
Format lpFormat();

}  // namespace convert
