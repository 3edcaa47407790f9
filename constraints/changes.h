// Collects what an update() reports, so that the solver is called once for many
// changes.

#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "solver/wcsp.h"

class Changes {
 public:
  explicit Changes(WcspConstraint const& updatedConstraint)
      : constraint(updatedConstraint) {}

  /// Adds a label, which ascends, if its diff has changed. A label that is not
  /// kept is written too, since a branch would be hard to foresee.
  void add(unsigned label, int before, int after) {
    if (size == changes.size()) {
      flush();
    }
    changes[size] = {label, before, after};
    size += before != after ? 1 : 0;
  }

  /// Reports what has been added; needed at the end.
  void flush() {
    if (size > 0) {
      constraint.wcsp->changeDiffPenalties(constraint.id,
                                           std::span(changes).first(size));
      size = 0;
    }
  }

 private:
  WcspConstraint const& constraint;
  std::size_t size = 0;
  // Written before it is read.
  std::array<WcspChange, 256> changes;  // NOLINT(*-member-init)
};
