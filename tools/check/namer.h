// How the outputs name what stands in a model.

#ifndef TOOLS_CHECK_NAMER_H_
#define TOOLS_CHECK_NAMER_H_

#include <string>

#include "tools/check/model.h"
#include "tools/check/text.h"

namespace check {

inline constexpr const char* kindNames[] = {"linear", "quadratic", "alldiff"};

// The text of one label of a model, its value named.
struct Namer {
  const Model& model;

  std::string variable(unsigned v) const {
    return printable(model.variables[v]);
  }
  std::string value(const Label& label) const {
    return printable(model.values[label.variable][label.value]);
  }
  std::string label(const Label& label) const {
    return "(" + variable(label.variable) + ", " + value(label) + ")";
  }
};

}  // namespace check

#endif  // TOOLS_CHECK_NAMER_H_
