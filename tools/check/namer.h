// Names of variables, values and constraints for output.

#pragma once

#include <string>

#include "tools/check/model.h"
#include "tools/check/text.h"

namespace check {

inline constexpr char const* kindNames[] = {"linear", "quadratic", "alldiff"};

// The text of one label of a model, its value named.
struct Namer {
  Model const& model;

  std::string variable(unsigned v) const {
    return printable(model.variables[v]);
  }
  std::string value(Label const& label) const {
    return printable(model.values[label.variable][label.value]);
  }
  std::string label(Label const& label) const {
    return "(" + variable(label.variable) + ", " + value(label) + ")";
  }
};

}  // namespace check
