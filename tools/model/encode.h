// A model as a linear program.
//
// There is a 0/1 column for each label, and a row per variable puts one of its
// labels on. A product is a column y(x,a,z,b) between 0 and 1; for each label
// (x,a) and variable z, over the values b of these products:
//   sum of y <= (x,a), the same from the side of z, and
//   sum of y >= (x,a) + sum of (z,b) - 1,
// or an equality if every value of z is among them. A violation is a column
// above or below its bound, at most as large as it can get. An all-different
// has a column for each value number in use: its violation is the number of
// its variables less the sum of these.
//
// For every assignment, the least objective with its labels on, plus the
// constant, is what the goal says.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "tools/check/evaluate.h"
#include "tools/check/model.h"
#include "tools/model/program.h"

namespace lp {

// The objective is the soft penalty, and what breaks a hard constraint is
// infeasible; or the objective is the hard penalty; or the soft penalty of what
// has at most this hard penalty.
struct Goal {
  enum Kind { soft, hard, softWithin };

  Kind kind = soft;
  std::int64_t mostHard = 0;
};

struct Constraint {
  std::size_t number = 0;
  std::string_view name;  // for messages
  int weight = 0;
  bool isAlldiff = false;
  std::optional<std::int64_t> lower;  // at most the upper one
  std::optional<std::int64_t> upper;
  std::vector<check::LabelSum> terms;  // no two with the same labels
  std::vector<unsigned> variables;     // of an all-different, each once
};

// What is encoded: the sizes of the domains, and a way to go through the
// constraints, which is used several times.
struct Source {
  std::vector<unsigned> numValues;
  std::function<void(std::function<void(Constraint)> const&)> forEach;
};

// All of a model, which outlives the result.
Source sourceOf(check::Model const& model);

// The most entries of rows that are built.
inline constexpr std::size_t maxEntries = 5000000;

// A model that cannot be encoded; the message says why.
struct Unsuitable : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Throws Unsuitable without variables, above maxEntries, and where a violation
// can exceed the ceiling at which penalties are capped.
Program encode(Source const& source, Goal goal);

// The values of all columns if the labels of an assignment are on, which the
// goal allows: each violation as small as can be.
std::vector<std::int64_t> columnsOf(Program const& program,
                                    check::Assignment const& assignment);

}  // namespace lp
