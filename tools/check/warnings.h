// What is legal in a model but rarely meant.
//
// Each warning states what is certain; none rests on a guess about the search.

#ifndef TOOLS_CHECK_WARNINGS_H_
#define TOOLS_CHECK_WARNINGS_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tools/check/model.h"

namespace check {

struct Warning {
  std::string kind;      // one of a few fixed words
  std::size_t line = 0;  // in the model; 0 for the model as a whole
  std::string message;
};

// The words that `Warning::kind` can be.
const std::vector<std::string>& warningKinds();

// What the bytes of a text tell before it is read as a model.
std::vector<Warning> textWarnings(std::string_view text);

// What the model tells. Takes n log n steps in the size of the model.
std::vector<Warning> modelWarnings(const Model& model);

}  // namespace check

#endif  // TOOLS_CHECK_WARNINGS_H_
