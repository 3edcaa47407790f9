#include "solver/tabulist.h"

#include <algorithm>
#include <ostream>

namespace {

/// By how much a tabu move must fall below the penalty recorded at the
/// attribute's last move: more than rounding can account for.
constexpr double aspirationMargin = 0.0001;

}  // namespace

Tabulist::Tabulist(int numAttributes_, std::ostream* stream)
    : clock(0),
      numAttributes(numAttributes_),
      tenure(1),
      resetClock(0),
      numTouched(0),
      attributes(static_cast<std::size_t>(numAttributes_)),
      diversify(false),
      log(stream) {
  marked.reserve(attributes.size());
  resetAll();
}

void Tabulist::resetAll() {
  tenure = 1;
  startEpoch(2);
}

void Tabulist::reset() {
  startEpoch(2 * tenure);
}

void Tabulist::startEpoch(std::int64_t ticks) {
  numTouched = 0;
  clock += ticks;
  resetClock = clock;
  for (int const attribute : marked) {
    attributes[static_cast<std::size_t>(attribute)].position = notMarked;
  }
  marked.clear();
  diversify = false;
}

bool Tabulist::isTabu(Attribute const& attribute) const {
  return clock <= attribute.stamp + tenure;
}

bool Tabulist::isTouched(Attribute const& attribute) const {
  return attribute.stamp > resetClock;
}

// Written with the admitting condition, so that a NaN counts as tabu.
bool Tabulist::operator()(int attribute, double penaltyAfter,
                          double delta) const {
  Attribute const& a = attributes[static_cast<std::size_t>(attribute)];
  if (!isTabu(a)) {
    return false;
  }
  bool const isAspired = a.value > penaltyAfter + aspirationMargin &&
                         a.delta <= 0 && delta <= 0 && delta + a.delta < 0;
  return !isAspired;
}

void Tabulist::update(int attribute, double penaltyAfter, double delta,
                      int noise, bool verbose) {
  Attribute& a = attributes[static_cast<std::size_t>(attribute)];
  int step = 0;
  if (!isTouched(a)) {
    ++numTouched;
  }
  if (verbose) {
    noteState(attribute);
  }
  if (numTouched >= numAttributes) {
    resetAll();
    note("[reset all]", verbose);
  }
  if (isTabu(a)) {
    note("[aspiration]", verbose);
    step = -1;
    if (a.position != notMarked) {
      unmark(attribute);
    }
  }
  if (!endsByReview(attribute, delta, verbose) && isTouched(a) &&
      a.numTouched == numTouched) {
    ++step;
    note("[increase]", verbose);
    diversify = true;
  }
  tenure = std::max<std::int64_t>(tenure + step, 1);
  a.value = penaltyAfter;
  a.delta = delta;
  a.numTouched = numTouched;
  a.stamp = clock + noise;
  ++clock;
}

void Tabulist::noteState(int attribute) const {
  *log << ", t= " << tenure << ", <" << attribute << ">(" << numTouched << "/"
       << numAttributes << ") ";
  note("[div]", diversify);
}

void Tabulist::note(char const* text, bool verbose) const {
  if (verbose) {
    *log << text;
  }
}

// The part of an update that the diversify state adds. Returns true when it has
// reset the list, which leaves no cycling to look for.
bool Tabulist::endsByReview(int attribute, double delta, bool verbose) {
  if (!diversify) {
    return false;
  }
  const Review review = reviewMarked(attribute, verbose);
  if (review == Review::selected) {
    ++tenure;
  } else if (review == Review::notSelected) {
    reset();
    note("[Reset]", verbose);
    return true;
  }
  if (!isTouched(attributes[static_cast<std::size_t>(attribute)]) &&
      delta > 0) {
    mark(attribute, verbose);
  }
  return false;
}

Tabulist::Review Tabulist::reviewMarked(int attribute, bool verbose) {
  Review review = Review::none;
  std::size_t i = 0;
  while (i < marked.size()) {
    int const candidate = marked[i];
    if (isTabu(attributes[static_cast<std::size_t>(candidate)])) {
      ++i;
      continue;
    }
    unmark(candidate);  // the last one moves to index i and is looked at next
    bool const isSelected = candidate == attribute;
    if (verbose) {
      *log << "[attribute " << candidate
           << (isSelected ? " selected]" : " not selected]");
    }
    if (isSelected) {
      review = Review::selected;
    } else if (review == Review::none) {
      review = Review::notSelected;
    }
  }
  return review;
}

void Tabulist::mark(int attribute, bool verbose) {
  attributes[static_cast<std::size_t>(attribute)].position =
      static_cast<int>(marked.size());
  marked.push_back(attribute);
  if (verbose) {
    *log << "[attribute " << attribute << " marked]";
  }
}

void Tabulist::unmark(int attribute) {
  Attribute& a = attributes[static_cast<std::size_t>(attribute)];
  int const last = marked.back();
  marked[static_cast<std::size_t>(a.position)] = last;
  attributes[static_cast<std::size_t>(last)].position = a.position;
  a.position = notMarked;
  marked.pop_back();
}
