// Which kind of neighbourhood comes next, and how large it is.
//
// Each kind stands twice, begun small and begun large. A part that comes back
// equal is easy for the search and grows; one that comes back worse is too hard
// and shrinks. A score is halved at each use and raised by what the step has
// gained per 100,000 iterations; the draw is in proportion to the score plus a
// floor. All in integers, so that every processor draws the same.

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tools/polish/draw.h"
#include "tools/polish/parts.h"

namespace polish {

// Variables in a part to begin with, few and many.
struct Sizes {
  std::size_t least;
  std::size_t most;
};

class Choice {
 public:
  // A kind of part and its size now.
  struct Arm {
    PartKind kind;
    std::size_t size;
    std::uint64_t score;
  };

  // No size is ever above `numVariables`.
  Choice(std::vector<PartKind> const& kinds, Sizes first,
         std::size_t numVariables);

  // The index of the arm to use.
  std::size_t next(Draw& draw) const;

  Arm const& operator[](std::size_t arm) const { return arms[arm]; }

  enum Outcome { better, equal, worse };

  // Takes note of a step: `gain` in millionths of the penalty there was.
  void note(std::size_t arm, Outcome outcome, std::uint64_t gain,
            std::uint64_t numIterations);

 private:
  std::size_t largest;
  std::vector<Arm> arms;
};

}  // namespace polish
