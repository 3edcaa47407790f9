// Hard constraints that no assignment satisfies together.
//
// Values that a constraint excludes are removed from the lists of its variables
// until nothing changes, and constraints on the same two variables are checked
// together. So some conflicts are missed, but every reported one is real.

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

// Some conflicts that share no constraint, each minimal under deletion. The
// work is limited in proportion to the size of the model.
std::vector<Conflict> findConflicts(Model const& model);

}  // namespace check
