// A constraint kind of its own: the variables of a list stay close together.

#pragma once

#include <algorithm>
#include <limits>
#include <vector>

#include "solver/wcsp.h"

/// The greatest value number that the variables take minus the least is at most
/// `limit`; the violation is the excess.
class Spread : public WcspConstraint {
 public:
  std::vector<unsigned> variables;  ///< in any order, filled before the search
  unsigned limit = 0;

  using WcspConstraint::WcspConstraint;

  void preprocess() override {
    // Reports must ascend by variable, each variable once.
    std::sort(variables.begin(), variables.end());
    variables.erase(std::unique(variables.begin(), variables.end()),
                    variables.end());
    for (unsigned const v : variables) {
      wcsp->involve(id, v);
    }
  }

  int calculate(std::vector<unsigned> const& assignment) override {
    if (variables.size() < 2) {
      return 0;
    }
    // Without any one variable, the extremes of the rest are still among the
    // two least and the two greatest values.
    unsigned least = assignment[variables[0]];
    unsigned greatest = least;
    unsigned secondLeast = std::numeric_limits<unsigned>::max();
    unsigned secondGreatest = 0;
    for (std::size_t i = 1; i < variables.size(); ++i) {
      unsigned const value = assignment[variables[i]];
      secondLeast = std::min(secondLeast, std::max(least, value));
      least = std::min(least, value);
      secondGreatest = std::max(secondGreatest, std::min(greatest, value));
      greatest = std::max(greatest, value);
    }
    int const violation = excess(least, greatest);
    for (unsigned const v : variables) {
      unsigned const now = assignment[v];
      unsigned const otherLeast = now == least ? secondLeast : least;
      unsigned const otherGreatest =
          now == greatest ? secondGreatest : greatest;
      unsigned const numValues = wcsp->getNumValues(v);
      for (unsigned value = 0; value < numValues; ++value) {
        // Staying has the difference 0, which the solver ignores.
        wcsp->setDiffPenalty(id, v, value,
                             excess(std::min(otherLeast, value),
                                    std::max(otherGreatest, value)) -
                                 violation);
      }
    }
    return violation;
  }

 private:
  int excess(unsigned least, unsigned greatest) const {
    unsigned const spread = greatest - least;
    return spread > limit ? static_cast<int>(spread - limit) : 0;
  }
};
