// Hard constraints that no assignment satisfies together.
//
// Values that a constraint bars are struck out of the lists of its variables
// until nothing moves, and constraints over the same two variables are held
// against each other. So not every conflict is found, but what is found is one.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/check/model.h"

namespace check {

struct Conflict {
  std::vector<std::size_t> constraints;  // ascending; without any it is none
  std::size_t last = 0;                  // the one that cannot be met
  std::string chain;                     // how one leads to the next
};

// Some conflicts that share no constraint, each as small as deleting shows.
// The work grows with the size of the model and is cut off beyond that.
std::vector<Conflict> findConflicts(Model const& model);

}  // namespace check
