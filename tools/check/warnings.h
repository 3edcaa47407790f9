// Warnings about what is legal in a model but rarely meant.
//
// Each warning states a certain fact; none is a guess about the search.

#pragma once

#include <cstddef>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tools/check/model.h"

namespace check {

enum class WarningKind {
  carriageReturn,
  conflict,
  hardNumber,
  noConstraint,
  noVariable,
  secondTarget,
  negativeTarget,
  weightZero,
  closingSign,
  differentValues,
  duplicateName,
  neverSatisfied,
  neverViolated,
  repeatedTerm,
  repeatedVariable,
  softTotal,
  startLost,
  startOverwritten,
  penaltyOverwritten,
  symbolValue,
  unusedVariable,
  utf8
};

struct Warning {
  std::string_view name;  // of its kind
  std::size_t line = 0;   // in the model; 0 for the model as a whole
  std::string message;
};

// Warnings in the order of their detection; only the first ones of each name
// are kept.
class Warnings {
 public:
  // The arguments replace %0, %1 and so on in the text of the kind.
  void add(WarningKind kind, std::size_t line,
           std::initializer_list<std::string_view> details = {});
  void append(Warnings const& more);
  // All kept warnings by line, and the number of others.
  std::vector<Warning> take(std::vector<std::string> const& unwanted);

 private:
  std::vector<Warning> list;
  std::map<std::string_view, std::size_t> counts;  // of all, by name
};

// The names of all kinds, each once.
std::vector<std::string> warningNames();

// Warnings from the bytes of a text, before it is read as a model.
Warnings textWarnings(std::string_view text);

// Warnings from the model. Takes n log n steps in the size of the model.
Warnings modelWarnings(Model const& model);

}  // namespace check
