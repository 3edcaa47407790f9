// The store: construction, settings, the declaration of variables and
// constraints, the diffs of the constraints, and the getters.

#include "solver/wcspi.h"

#include <algorithm>
#include <cassert>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <utility>

Wcsp* Wcsp::makeWcsp() {
  return new RealWcsp;
}

int saturated(Int128 penalty) {
  return static_cast<int>(std::min<Int128>(penalty, Wcsp::inf));
}

RealWcsp::RealWcsp() : log(&std::cout) {}

RealWcsp::~RealWcsp() {
  for (Constraint const& record : constraints) {
    delete record.constraint;
  }
}

void RealWcsp::setMaxIteration(unsigned maxIteration_) {
  maxIteration = maxIteration_;
}

void RealWcsp::setMaxIterationUnimproved(unsigned maxIteration_) {
  maxIterationUnimproved = maxIteration_;
}

void RealWcsp::setMaxCpuTime(double seconds) {
  maxCpuTime = seconds;
}

void RealWcsp::setTarget(int soft) {
  setTarget(0, soft);
}

void RealWcsp::setTarget(int hard, int soft) {
  targetHard = hard;
  targetSoft = soft;
}

void RealWcsp::setRandomSeed(int seed_) {
  seed = seed_ % 2147483647 == 0 ? defaultRandomSeed : seed_;
}

void RealWcsp::setDisplay(int display_) {
  display = display_;
}

void RealWcsp::setInterval(unsigned interval_) {
  interval = interval_;
}

void RealWcsp::setAdjustment(bool adjustment_) {
  adjustment = adjustment_;
}

bool RealWcsp::setLogFileName(std::string name, bool append) {
  if (logFile.is_open()) {
    return true;
  }
  logFile.open(name, append ? std::ios_base::out | std::ios_base::app
                            : std::ios_base::out);
  if (logFile.fail()) {
    return true;
  }
  log = &logFile;
  return false;
}

void RealWcsp::initialize(unsigned numVariables_,
                          std::vector<unsigned>& numValues_) {
  if (isDeclared) {
    throw std::runtime_error(
        "Error in RealWcsp::initialize(...): called a second time.");
  }
  if (numValues_.size() != numVariables_ ||
      std::find(numValues_.begin(), numValues_.end(), 0U) != numValues_.end()) {
    throw std::runtime_error(
        "Error in RealWcsp::initialize(...): wrong number of domain sizes or "
        "empty domain.");
  }
  LabelTable table(numValues_);
  constraintIds.initialize(table.size());
  Solution start;
  start.value.resize(numVariables_);
  Solution bestStart = start;
  numValues = numValues_;
  numVariables = numVariables_;
  labels = std::move(table);
  firstLabels = labels.firstNumbers();
  current = std::move(start);
  best = std::move(bestStart);
  isDeclared = true;
}

unsigned RealWcsp::getNumVariables() const {
  return numVariables;
}

unsigned RealWcsp::getNumValues(unsigned variable) const {
  return numValues[variable];
}

unsigned RealWcsp::getNumConstraints() const {
  return static_cast<unsigned>(constraints.size());
}

unsigned RealWcsp::getValue(unsigned variable) const {
  return best.value.empty() ? inf : best.value[variable];
}

int RealWcsp::getHardPenalty() const {
  return saturated(best.hardPenalty);
}

int RealWcsp::getSoftPenalty() const {
  return saturated(best.softPenalty);
}

int RealWcsp::getPenalty(unsigned constraint) const {
  if (!isSearched) {
    return inf;
  }
  // A search that has run out of memory early has no list to answer from.
  if (!isRecorded) {
    return 0;
  }
  return constraint < bestConstraintPenalty.size()
             ? bestConstraintPenalty[constraint]
             : inf;
}

unsigned RealWcsp::addConstraint(WcspConstraint* c) {
  assert(!isCalculating);
  if (numVariables == 0) {
    throw std::runtime_error(
        "Error in RealWcsp::addConstraint(...): wcsp has no variable.\n");
  }
  constraints.emplace_back(c);
  return static_cast<unsigned>(constraints.size() - 1);
}

void RealWcsp::involve(unsigned constraint, unsigned variable, unsigned value) {
  constraintIds.note(labels.number(variable, value), constraint);
}

void RealWcsp::involve(unsigned constraint, unsigned variable) {
  for (unsigned a = 0; a < numValues[variable]; ++a) {
    involve(constraint, variable, a);
  }
}

void RealWcsp::setDiffPenalty(unsigned, unsigned variable, unsigned value,
                              int diff) {
  if (diff != 0) {
    listed.push_back({labels.number(variable, value), diff});
  }
}

void RealWcsp::setDiffPenalties(unsigned, unsigned variable,
                                std::span<unsigned const> values, int diff) {
  if (diff == 0) {
    return;
  }
  unsigned const first = labels.number(variable, 0);
  const std::size_t numListed = listed.size();
  listed.resize(numListed + values.size());  // one test of the room for all
  std::ranges::transform(values, listed.data() + numListed,
                         [&](unsigned value) -> DiffPenalty {
                           return {first + value, diff};
                         });
}
