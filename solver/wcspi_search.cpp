// The search: the start, the greedy pass, and the main loop of the tabu search
// with the choice of its moves, dead ends and kicks.

#include <algorithm>
#include <cassert>
#include <stdexcept>
#include <utility>

#include "solver/interrupt_scope.h"
#include "solver/wcspi.h"

RealWcsp::Search::Search(RealWcsp const& solver)
    : tabulist(static_cast<int>(solver.numVariables), solver.log),
      cpuLimit(SystemClocks(solver.cpuTime)) {
  run.best.value.resize(solver.numVariables);
  run.moved.reset(solver.numVariables);
  run.best.weightedPenalty = dinf;
  solver.startPhase(run);
}

void RealWcsp::solve() {
  markSearched();
  std::vector<unsigned> initial(numVariables);
  for (unsigned v = 0; v < numVariables; ++v) {
    initial[v] = randomInt(numValues[v]);
  }
  keepInitial = false;
  solve(initial);
}

void RealWcsp::solve(std::vector<unsigned> const& initial) {
  bool const isKept = keepInitial;
  keepInitial = true;
  checkInitial(initial);
  markSearched();
  const LogFormat logFormat(*log);
  prepare(initial);
  recordBest();
  logBest(0);
  if (!isKept) {
    logGreedy();
    improveGreedily();
    recordBest();
    logBest(0);
  }
  InterruptScope interruptScope;
  logStart();
  tabuSearch(interruptScope);
}

void RealWcsp::checkInitial(std::vector<unsigned> const& initial) const {
  if (initial.size() != numVariables) {
    throw std::runtime_error(
        "Error in RealWcsp::solve(...): wrong number of values.");
  }
  for (unsigned v = 0; v < numVariables; ++v) {
    if (initial[v] >= numValues[v]) {
      throw std::runtime_error(
          "Error in RealWcsp::solve(...): value out of range.");
    }
  }
}

// Whoever asks before the first recorded assignment must not read penalties of
// 0, which would pass for a perfect one.
void RealWcsp::markSearched() {
  if (!isSearched) {
    isSearched = true;
    best.hardPenalty = inf;
    best.softPenalty = inf;
  }
}

void RealWcsp::prepare(std::vector<unsigned> const& initial) {
  while (numPreprocessed < constraints.size()) {
    WcspConstraint& next = *constraints[numPreprocessed].constraint;
    next.preprocess();
    next.prepare(*this);
    ++numPreprocessed;
  }
  constraintIds.merge();
  for (Constraint& record : constraints) {
    record.weight = record.constraint->weight;
  }
  bestConstraintPenalty.resize(constraints.size(), inf);
  moved.reset(numVariables);
  remeasured.reset(constraints.size());
  current.value = initial;
  initialize();
  current.iteration = 0;
}

void RealWcsp::recordBest() {
  copyCurrent(best, moved);
  best.time = cpuTime();
  isRecorded = true;
  remeasured.forEach([this](unsigned c) {
    bestConstraintPenalty[c] = constraints[c].penalty;
  });
  remeasured.clear();
}

void RealWcsp::copyCurrent(Solution& copy, Journal& journal) const {
  static_cast<Totals&>(copy) = current;
  journal.forEach([&](unsigned v) { copy.value[v] = current.value[v]; });
  journal.clear();
}

// Visits the variables in a random order, by a forward Fisher-Yates shuffle,
// and gives each its best value if that is a strict gain.
void RealWcsp::improveGreedily() {
  std::vector<unsigned> order(numVariables);
  for (unsigned k = 0; k < numVariables; ++k) {
    order[k] = k;
  }
  std::vector<unsigned> ties;
  for (unsigned k = 0; k < numVariables; ++k) {
    unsigned const j = k + randomInt(numVariables - k);
    unsigned const variable = order[j];
    order[j] = order[k];
    double const leastScore = scanValues(variable, ties);
    if (ties.empty()) {
      throw std::runtime_error("Error: in improving the initial solution");
    }
    if (leastScore < 0.0) {
      applyMove(pick(ties));
    }
  }
}

double RealWcsp::scanValues(unsigned variable, std::vector<unsigned>& ties) {
  double leastScore = dinf;
  ties.clear();
  unsigned const first = labels.number(variable, 0);
  for (unsigned label = first; label < first + numValues[variable]; ++label) {
    double const score = labels.scores[label];
    if (score < leastScore) {
      leastScore = score;
      ties.clear();
    }
    if (score == leastScore && leastScore != dinf) {
      ties.push_back(label);
    }
  }
  return leastScore;
}

unsigned RealWcsp::pick(std::vector<unsigned> const& ties) {
  return ties[randomInt(static_cast<unsigned>(ties.size()))];
}

void RealWcsp::tabuSearch(InterruptScope& interruptScope) {
  Search search(*this);
  interruptScope.install();
  while (!mustStop(search)) {
    if (InterruptScope::isInterrupted()) {
      throw std::runtime_error("Interrupted.");
    }
    scan(search);
    if (!search.ties.empty() || answersByKick(search)) {
      moveOnce(search);
      if (adjustment && adjustWeights(search)) {
        break;
      }
    }
    ++search.iteration;
  }
  interruptScope.release();
  logSummary();
}

bool RealWcsp::mustStop(Search& search) const {
  return isTargetReached() || search.iteration > maxIteration ||
         search.iteration - best.iteration > maxIterationUnimproved ||
         search.cpuLimit.isReached(maxCpuTime);
}

bool RealWcsp::isTargetReached() const {
  return best.hardPenalty < targetHard ||
         (best.hardPenalty == targetHard && best.softPenalty <= targetSoft);
}

// Among many candidates only blocks are looked at that may hold a score as good
// as the best so far. A move changes the scores of few blocks.
void RealWcsp::scan(Search& search) {
  search.bestScore = dinf;
  search.ties.clear();
  const std::size_t size = candidates.size();
  bool const hadBlocks = std::exchange(hasBlocks, size >= minNumBlocked);
  if (!hasBlocks) {
    scanCandidates(search, 0, size,
                   [scores = labels.scores.data(), numbers = candidates.data()](
                       std::size_t i) { return scores[numbers[i]]; });
    return;
  }
  if (!hadBlocks) {
    std::fill(leastScores.begin(), leastScores.end(), unknownScore);
  }
  for (std::size_t first = 0; first < size; first += blockSize) {
    double& least = leastScores[first / blockSize];
    if (least > search.bestScore) {
      continue;
    }
    const std::size_t last = std::min<std::size_t>(first + blockSize, size);
    if (least == unknownScore) {
      least = findLeastScore(first, last);
    }
    if (least <= search.bestScore) {
      scanCandidates(
          search, first, last,
          [scores = blockScores.data()](std::size_t i) { return scores[i]; });
    }
  }
}

// Copies the scores side by side: they lie scattered, and a block whose least
// is that of many others is looked at in every scan.
double RealWcsp::findLeastScore(std::size_t first, std::size_t last) {
  double least = dinf;
  for (std::size_t i = first; i < last; ++i) {
    blockScores[i] = labels.scores[candidates[i]];
    least = std::min(least, blockScores[i]);
  }
  return least;
}

template <class ScoreOf>
void RealWcsp::scanCandidates(Search& search, std::size_t first,
                              std::size_t last, ScoreOf scoreOf) const {
  // Mostly no score of a group is as good as the best so far, and one test
  // rejects all of them.
  constexpr std::size_t groupSize = 8;
  for (; first + groupSize <= last; first += groupSize) {
    double least = scoreOf(first);
    for (std::size_t i = 1; i < groupSize; ++i) {
      least = std::min(least, scoreOf(first + i));
    }
    if (least <= search.bestScore) {
      for (std::size_t i = 0; i < groupSize; ++i) {
        consider(search, candidates[first + i], scoreOf(first + i));
      }
    }
  }
  for (; first < last; ++first) {
    consider(search, candidates[first], scoreOf(first));
  }
}

inline void RealWcsp::consider(Search& search, unsigned label,
                               double score) const {
  // The cheap test first: the order of the tests decides nothing.
  if (score > search.bestScore) {
    return;
  }
  unsigned const variable = labels.variable(label);
  if (labels.number(variable, current.value[variable]) == label ||
      search.tabulist(static_cast<int>(variable),
                      current.weightedPenalty + score, score)) {
    return;
  }
  if (score < search.bestScore) {
    search.bestScore = score;
    search.ties.clear();
  }
  if (score == search.bestScore) {
    search.ties.push_back(label);
  }
}

// A dead end resets the tabu list, and the iteration passes without a move.
// When dead ends come close together it kicks: it draws labels to move to
// without asking the tabu list.
bool RealWcsp::answersByKick(Search& search) {
  if (display > 0) {
    logNoNeighbor(search.iteration);
  }
  // A tenth of the variables is how close is close.
  if (search.iteration < numVariables / 10 + search.lastNoNeighbor) {
    drawKick(search);
    return true;
  }
  search.tabulist.resetAll();
  search.lastNoNeighbor = search.iteration;
  return false;
}

// The move step applies one of the labels drawn.
void RealWcsp::drawKick(Search& search) {
  unsigned const numExtra = std::min(search.numKicks, numVariables / 2);
  if (display > 0) {
    logKick(numExtra);
  }
  for (unsigned i = 0; i <= numExtra; ++i) {
    unsigned const variable = randomInt(numVariables);
    unsigned const value = randomInt(numValues[variable]);
    search.ties.push_back(labels.number(variable, value));
  }
  ++search.numKicks;
}

void RealWcsp::moveOnce(Search& search) {
  unsigned const label = pick(search.ties);
  unsigned const variable = labels.variable(label);
  unsigned const from = current.value[variable];
  current.iteration = search.iteration;
  applyMove(label);
  search.run.moved.note(variable);
  if (current.isBetterThan(best)) {
    recordBest();
    logBest(search.iteration);
  }
  bool const isShown = showsProgress(search.iteration);
  if (isShown) {
    logProgress(search.iteration, label, from);
  }
  int const noise = static_cast<int>(randomInt(3)) - 1;
  search.tabulist.update(static_cast<int>(variable), current.weightedPenalty,
                         search.bestScore, noise,
                         isShown && (display & displayMoves) != 0);
  if (isShown) {
    logEndOfLine();
  }
}
