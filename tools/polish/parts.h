// Which variables a step frees: the neighbourhoods of an assignment.

#pragma once

#include <string>
#include <vector>

#include "tools/check/evaluate.h"
#include "tools/check/grids.h"
#include "tools/check/model.h"
#include "tools/polish/draw.h"
#include "tools/polish/reduce.h"

namespace polish {

enum class PartKind { rows, columns, values, violated, random };

// "rows" and so on.
char const* nameOf(PartKind kind);

// Free variables, ascending, each once.
using Part = std::vector<unsigned>;

class Parts {
 public:
  using Kind = PartKind;

  // All outlive this.
  Parts(check::Model const& itsModel, Reducer const& itsReducer,
        check::Grids const& itsGrids);

  // The kinds that this model has.
  std::vector<Kind> const& kinds() const { return available; }

  // How many variables can be free: those with several values.
  std::size_t numVariables() const { return movable.size(); }

  // About `size` variables: whole rows drawn from a grid; a window of columns;
  // the variables that take values drawn; those around violated constraints
  // drawn by cost, grown along constraints; any. Empty if there are none.
  Part choose(Kind kind, std::size_t size, Assignment const& assignment,
              check::Evaluation const& evaluation, Draw& draw) const;

 private:
  check::Model const& model;
  Reducer const& reducer;
  check::Grids const& grids;
  std::vector<Kind> available;
  std::vector<unsigned> movable;
  std::vector<bool> isMovable;

  Part linesOf(bool areRows, std::size_t size, Draw& draw) const;
  Part takersOf(std::size_t size, Assignment const& assignment,
                Draw& draw) const;
  Part aroundViolated(std::size_t size, check::Evaluation const& evaluation,
                      Draw& draw) const;
};

}  // namespace polish
