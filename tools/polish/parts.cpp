#include "tools/polish/parts.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <numeric>

#include "tools/check/groups.h"

namespace polish {

namespace {

// Gathers variables until there are enough.
class Gathering {
 public:
  Gathering(std::vector<bool> const& areMovable, std::size_t size)
      : isMovable(areMovable), isTaken(areMovable.size(), false), goal(size) {}

  bool isFull() const { return part.size() >= goal; }

  void add(unsigned variable) {
    if (isMovable[variable] && !isTaken[variable]) {
      isTaken[variable] = true;
      part.push_back(variable);
    }
  }

  // In the order in which they came.
  Part part;

  Part sorted() {
    std::sort(part.begin(), part.end());
    return std::move(part);
  }

 private:
  std::vector<bool> const& isMovable;
  std::vector<bool> isTaken;
  std::size_t goal;
};

}  // namespace

char const* nameOf(PartKind kind) {
  constexpr char const* names[] = {"rows", "columns", "values", "violated",
                                   "random"};
  return names[static_cast<std::size_t>(kind)];
}

Parts::Parts(check::Model const& itsModel, Reducer const& itsReducer,
             check::Grids const& itsGrids)
    : model(itsModel),
      reducer(itsReducer),
      grids(itsGrids),
      isMovable(itsModel.variables.size()) {
  for (unsigned v = 0; v < model.variables.size(); ++v) {
    isMovable[v] = model.values[v].size() > 1;
    if (isMovable[v]) {
      movable.push_back(v);
    }
  }
  if (!grids.grids.empty()) {
    available = {Kind::rows, Kind::columns};
  }
  available.insert(available.end(),
                   {Kind::values, Kind::violated, Kind::random});
}

Part Parts::choose(Kind kind, std::size_t size, Assignment const& assignment,
                   check::Evaluation const& evaluation, Draw& draw) const {
  switch (kind) {
    case Kind::rows:
    case Kind::columns:
      return linesOf(kind == Kind::rows, size, draw);
    case Kind::values:
      return takersOf(size, assignment, draw);
    case Kind::violated:
      return aroundViolated(size, evaluation, draw);
    default: {
      Part part = movable;
      draw.shuffle(part);
      part.resize(std::min(size, part.size()));
      std::sort(part.begin(), part.end());
      return part;
    }
  }
}

Part Parts::linesOf(bool areRows, std::size_t size, Draw& draw) const {
  std::vector<std::uint64_t> weights;
  for (check::Grid const& grid : grids.grids) {
    weights.push_back(grid.rows.size() * grid.columns.size());
  }
  check::Grid const& grid = grids.grids[draw.weighted(weights)];
  const std::size_t numLines = areRows ? grid.rows.size() : grid.columns.size();
  std::vector<std::size_t> lines(numLines);
  std::iota(lines.begin(), lines.end(), std::size_t{0});
  if (areRows) {
    draw.shuffle(lines);
  } else {
    // Neighbours in time or place: a window that may begin anywhere.
    const std::size_t longest =
        std::max<std::size_t>(1, std::min(numLines, size / grid.rows.size()));
    auto const begin = draw.below(numLines - longest + 1);
    std::rotate(lines.begin(),
                lines.begin() + static_cast<std::ptrdiff_t>(begin),
                lines.end());
    lines.resize(longest);
  }
  Gathering gathering(isMovable, size);
  for (const std::size_t line : lines) {
    const std::size_t numCells =
        areRows ? grid.columns.size() : grid.rows.size();
    for (std::size_t i = 0; i < numCells; ++i) {
      const std::size_t cell =
          areRows ? grid.cells[line][i] : grid.cells[i][line];
      if (cell != check::Grid::none) {
        gathering.add(static_cast<unsigned>(cell));
      }
    }
    if (areRows && gathering.isFull()) {
      break;
    }
  }
  return gathering.sorted();
}

Part Parts::takersOf(std::size_t size, Assignment const& assignment,
                     Draw& draw) const {
  std::map<unsigned, Part> takers;  // by value number
  for (unsigned const v : movable) {
    takers[assignment[v]].push_back(v);
  }
  std::vector<unsigned> numbers;
  numbers.reserve(takers.size());
  for (auto const& [number, variables] : takers) {
    numbers.push_back(number);
  }
  // A window of them: close numbers are close in time or place, too.
  const std::size_t begin = draw.below(numbers.size());
  std::rotate(numbers.begin(),
              numbers.begin() + static_cast<std::ptrdiff_t>(begin),
              numbers.end());
  Gathering gathering(isMovable, size);
  for (unsigned const number : numbers) {
    Part variables = takers[number];
    draw.shuffle(variables);
    for (unsigned const v : variables) {
      if (gathering.isFull()) {
        return gathering.sorted();
      }
      gathering.add(v);
    }
  }
  return gathering.sorted();
}

Part Parts::aroundViolated(std::size_t size,
                           check::Evaluation const& evaluation,
                           Draw& draw) const {
  std::vector<std::size_t> violated;
  std::vector<std::uint64_t> costs;
  bool const isHard = evaluation.hard > 0;
  for (std::size_t c = 0; c < model.constraints.size(); ++c) {
    check::Constraint const& constraint = model.constraints[c];
    if (evaluation.violations[c] > 0 &&
        (constraint.weight == check::inf) == isHard && constraint.weight > 0) {
      violated.push_back(c);
      costs.push_back(static_cast<std::uint64_t>(std::min<check::Int128>(
          costOf(constraint, evaluation.violations[c]), check::inf)));
    }
  }
  if (violated.empty()) {
    return {};
  }
  Gathering gathering(isMovable, size);
  for (unsigned const v :
       namedVariables(model.constraints[violated[draw.weighted(costs)]])) {
    gathering.add(v);
  }
  if (gathering.part.size() > size) {
    draw.shuffle(gathering.part);
    gathering.part.resize(size);
  }
  // Grows along constraints of variables drawn; gives up where it is stuck.
  for (std::size_t numTries = 0;
       !gathering.isFull() && !gathering.part.empty() && numTries < 4 * size;
       ++numTries) {
    unsigned const v = gathering.part[draw.below(gathering.part.size())];
    auto const& ids = reducer.constraintsOf(v);
    std::vector<unsigned> scope =
        namedVariables(model.constraints[ids[draw.below(ids.size())]]);
    draw.shuffle(scope);
    constexpr std::size_t maxTaken = 8;  // from one constraint
    for (std::size_t i = 0; i < std::min(scope.size(), maxTaken); ++i) {
      if (!gathering.isFull()) {
        gathering.add(scope[i]);
      }
    }
  }
  return gathering.sorted();
}

}  // namespace polish
