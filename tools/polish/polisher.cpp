#include "tools/polish/polisher.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <utility>

namespace polish {

namespace {

// An iteration over products costs much more than one over single labels. A
// part that is nearly the whole model is only another search from a random
// start.
Sizes firstSizes(check::Model const& model, std::size_t numVariables) {
  std::size_t numSingle = 0;
  std::size_t numProducts = 0;
  for (check::Constraint const& constraint : model.constraints) {
    (constraint.kind == check::Constraint::quadratic ? numProducts
                                                     : numSingle) +=
        constraint.terms.size() + constraint.variables.size();
  }
  Sizes sizes = numProducts > numSingle ? Sizes{7, 30} : Sizes{50, 200};
  sizes.least = std::min(sizes.least, numVariables / 4 + 1);
  sizes.most = std::min(sizes.most, numVariables / 2 + 1);
  return sizes;
}

// 30,000 for 100 variables.
unsigned iterationsFor(std::size_t numVariables, unsigned most) {
  constexpr std::size_t least = 20000;
  return static_cast<unsigned>(
      std::min<std::size_t>(std::max(numVariables * 300, least), most));
}

std::vector<PartKind> without(std::vector<PartKind> kinds,
                              std::string const& unusedKind) {
  std::erase_if(kinds,
                [&](PartKind kind) { return nameOf(kind) == unusedKind; });
  return kinds;
}

// In millionths of the penalty that was there.
std::uint64_t gainOf(check::Evaluation const& before,
                     check::Evaluation const& after) {
  bool const isHard = after.hard < before.hard;
  const check::Int128 was = isHard ? before.hard : before.soft;
  const check::Int128 is = isHard ? after.hard : after.soft;
  return static_cast<std::uint64_t>((was - is) * 1000000 / was);
}

}  // namespace

Polisher::Polisher(check::Model const& itsModel, check::Grids const& grids,
                   std::uint64_t seed, std::string const& unusedKind)
    : model(itsModel),
      reducer(itsModel),
      parts(itsModel, reducer, grids),
      choice(without(parts.kinds(), unusedKind),
             firstSizes(itsModel, parts.numVariables()), parts.numVariables()),
      draw(seed) {}

std::vector<unsigned> Polisher::solve(ReducedModel const& reduced,
                                      unsigned numIterations,
                                      unsigned maxUnimproved) {
  const std::unique_ptr<Wcsp> solver = reduced.makeSolver();
  solver->setRandomSeed(static_cast<int>(1 + draw.below(2147483646)));
  solver->setMaxIteration(numIterations);
  solver->setMaxIterationUnimproved(maxUnimproved);
  // No clock may end a step: it would not repeat.
  solver->setMaxCpuTime(std::numeric_limits<double>::infinity());
  try {
    solver->solve();
  } catch (std::runtime_error const& error) {
    // Otherwise weights overflow. What has been found by then is there.
    interrupted = std::strcmp(error.what(), "Interrupted.") == 0;
  }
  std::vector<unsigned> values;
  for (unsigned v = 0; v < reduced.numValues.size(); ++v) {
    values.push_back(solver->getValue(v));
  }
  return values;
}

Solution Polisher::searchWhole(unsigned numIterations, unsigned maxUnimproved) {
  Assignment zeros(model.variables.size(), 0);
  Part all(model.variables.size());
  std::iota(all.begin(), all.end(), 0U);
  // Nothing is fixed, so every bound fits as it did in the model.
  Assignment found =
      solve(reducer.reduce(zeros, all).value(), numIterations, maxUnimproved);
  check::Evaluation evaluation = evaluate(model, found);
  return {std::move(found), std::move(evaluation)};
}

Solution Polisher::begin() {
  constexpr unsigned numIterations = 100000;
  return searchWhole(numIterations, numIterations);
}

bool Polisher::search() {
  constexpr unsigned stuckAfter = 250000;  // iterations
  Solution found = searchWhole(5 * stuckAfter, stuckAfter);
  bool const isBetter = found.isBetterThan(current);
  if (isBetter) {
    current = std::move(found);
  }
  return isBetter;
}

bool Polisher::step() {
  const std::size_t arm = choice.next(draw);
  lastKind = choice[arm].kind;
  const Part part = parts.choose(lastKind, choice[arm].size, current.assignment,
                                 current.evaluation, draw);
  lastSize = part.size();
  auto const reduced = reducer.reduce(current.assignment, part);
  if (part.empty() || !reduced) {
    skipped += part.empty() ? 0U : 1U;
    choice.note(arm, Choice::worse, 0, 1);
    return false;
  }
  unsigned const numIterations = iterationsFor(part.size(), mostIterations);
  const std::vector<unsigned> values =
      solve(*reduced, numIterations, std::max(numIterations / 3, 10000U));
  if (interrupted) {
    return false;
  }
  Solution next{current.assignment, {}};
  for (std::size_t i = 0; i < part.size(); ++i) {
    next.assignment[part[i]] = values[i];
  }
  next.evaluation = evaluate(model, next.assignment);
  bool const isBetter = next.isBetterThan(current);
  bool const isWorse = current.isBetterThan(next);
  choice.note(arm,
              isBetter  ? Choice::better
              : isWorse ? Choice::worse
                        : Choice::equal,
              isBetter ? gainOf(current.evaluation, next.evaluation) : 0,
              numIterations);
  if (!isWorse) {
    current = std::move(next);
  }
  return isBetter;
}

}  // namespace polish
