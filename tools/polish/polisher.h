// Improves an assignment step by step: frees a part of the variables, solves
// the reduced model by the search from a random start, and keeps what is equal
// or better. A large neighbourhood search whose engine is the tabu search.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/check/evaluate.h"
#include "tools/check/grids.h"
#include "tools/check/model.h"
#include "tools/polish/choice.h"
#include "tools/polish/draw.h"
#include "tools/polish/parts.h"
#include "tools/polish/reduce.h"

namespace polish {

// An assignment and what it is worth.
struct Solution {
  Assignment assignment;
  check::Evaluation evaluation;

  bool isBetterThan(Solution const& other) const {
    return evaluation < other.evaluation;
  }
};

class Polisher {
 public:
  // The model and the grids of its variables outlive this. No choice but by
  // the seed: equal seeds take equal steps from equal solutions. Measurements
  // leave out a kind of neighbourhood.
  Polisher(check::Model const& itsModel, check::Grids const& grids,
           std::uint64_t seed, std::string const& unusedKind = "");

  // A solution to start from, by a short search of the whole model.
  Solution begin();

  // Searches the whole model from a random start until it is stuck, and keeps
  // the better solution. True if that is the new one. SIGINT ends it early.
  bool search();

  // The most iterations of a step.
  void limitIterations(unsigned most) { mostIterations = most; }

  // Where the next step starts from; of this model.
  void setSolution(Solution solution) { current = std::move(solution); }
  Solution const& solution() const { return current; }

  // Whether there is anything to free.
  bool canStep() const { return parts.numVariables() > 0; }

  // One step. The solution is never worse afterwards. True if it is better.
  // A step that SIGINT ends changes nothing.
  bool step();

  // Whether SIGINT has ended a search: then it ends every later one, too.
  bool isInterrupted() const { return interrupted; }

  // Of the last step: its kind of part and the number of free variables.
  PartKind kind() const { return lastKind; }
  std::size_t size() const { return lastSize; }

  // Steps whose reduced model no solver can hold.
  std::uint64_t numSkipped() const { return skipped; }

 private:
  check::Model const& model;
  Reducer reducer;
  Parts parts;
  Choice choice;
  Draw draw;
  Solution current;
  PartKind lastKind = PartKind::random;
  std::size_t lastSize = 0;
  std::uint64_t skipped = 0;
  bool interrupted = false;
  unsigned mostIterations = 400000;

  std::vector<unsigned> solve(ReducedModel const& reduced,
                              unsigned numIterations, unsigned maxUnimproved);
  Solution searchWhole(unsigned numIterations, unsigned maxUnimproved);
};

}  // namespace polish
