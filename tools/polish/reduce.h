// Small models out of a large one: some variables are free, the values of all
// others are put into the constraints.
//
// For every assignment of the free variables the penalties (hard, soft) of the
// reduced model are those of the whole assignment less a constant pair, in
// exact arithmetic.

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "solver/wcsp.h"
#include "tools/check/evaluate.h"
#include "tools/check/model.h"

namespace polish {

using check::Assignment;

// Counts when its labels are on; a single label is named twice. The variables
// are positions among the free ones.
struct Term {
  std::int64_t coefficient;
  check::Label label1;
  check::Label label2;

  bool isSingle() const {
    return label1.variable == label2.variable && label1.value == label2.value;
  }
};

struct Constraint {
  int weight = 0;
  int lower = -check::inf;  // -inf: no bound
  int upper = check::inf;   // inf: no bound
  // Sorted by their labels, no two with the same ones, no coefficient 0.
  std::vector<Term> terms;
  // Of an all-different, ascending; it has no terms and no bounds.
  std::vector<unsigned> different;
};

struct ReducedModel {
  std::vector<unsigned> numValues;  // of the free variables
  std::vector<Constraint> constraints;

  // A solver of this model, its log switched off.
  std::unique_ptr<Wcsp> makeSolver() const;
};

class Reducer {
 public:
  // The model outlives the reducer.
  explicit Reducer(check::Model const& itsModel);

  // The constraints that depend on a variable, ascending.
  std::vector<std::size_t> const& constraintsOf(unsigned variable) const {
    return constraintIds[variable];
  }

  // `free` ascends. What no assignment of the free variables changes is left
  // out; equal soft constraints are one with their summed weight while that is
  // no mark of a hard one. Nothing if a bound leaves the range of the solver's.
  std::optional<ReducedModel> reduce(Assignment const& assignment,
                                     std::vector<unsigned> const& free) const;

 private:
  check::Model const& model;
  std::vector<std::vector<std::size_t>> constraintIds;  // by variable
};

}  // namespace polish
