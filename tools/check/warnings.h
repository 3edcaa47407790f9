// What is legal in a model but rarely meant.
//
// Each warning states what is certain; none rests on a guess about the search.

#pragma once

#include <cstddef>
#include <map>
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

// Warnings in the order in which they come, of each kind the first ones.
class Warnings {
 public:
  void add(char const* kind, std::size_t line, std::string message);
  void append(Warnings const& more);
  // All of them by their lines, those that were not kept counted.
  std::vector<Warning> take(std::vector<std::string> const& unwanted);

 private:
  std::vector<Warning> list;
  std::map<std::string, std::size_t> counts;  // of all kinds
};

// The words that `Warning::kind` can be.
std::vector<std::string> const& warningKinds();

// What the bytes of a text tell before it is read as a model.
Warnings textWarnings(std::string_view text);

// What the model tells. Takes n log n steps in the size of the model.
Warnings modelWarnings(Model const& model);

}  // namespace check
