// Constraint kinds of a library user, by the definition of a violation: with
// and without an update, and one that fails.

#pragma once

#include <new>
#include <span>
#include <utility>
#include <vector>

#include "solver/wcsp.h"
#include "tests/plain/naive.h"

/// A constraint by its definition, with the minimal operations of a kind and
/// without an update.
class NaiveKind : public WcspConstraint {
 public:
  unsigned numInvolved = 1;  ///< how often each label is registered

  NaiveKind(Wcsp& solver, naive::Constraint constraint)
      : WcspConstraint(&solver, constraint.weight), c(std::move(constraint)) {}

  void preprocess() override {
    for (unsigned i = 0; i < numInvolved; ++i) {
      for (auto const& [coefficient, first, second] : c.terms) {
        wcsp->involve(id, first.variable, first.value);
        wcsp->involve(id, second.variable, second.value);
      }
      for (unsigned const v : c.variables) {
        wcsp->involve(id, v);
      }
    }
  }

  int calculate(naive::Assignment const& assignment) override {
    forEachDiff(assignment, [&](unsigned v, unsigned a, int diff) {
      wcsp->setDiffPenalty(id, v, a, diff);
    });
    return naive::violation(c, assignment);
  }

 protected:
  template <class Act>
  void forEachDiff(naive::Assignment const& assignment, Act act) const {
    int const now = naive::violation(c, assignment);
    for (unsigned v = 0; v < assignment.size(); ++v) {
      naive::Assignment moved = assignment;
      for (moved[v] = 0; moved[v] < wcsp->getNumValues(v); ++moved[v]) {
        act(v, moved[v], naive::violation(c, moved) - now);
      }
    }
  }

  naive::Constraint c;
};

/// The same with an update, which keeps the diffs.
class NaiveUpdated : public NaiveKind {
 public:
  using NaiveKind::NaiveKind;

  int calculate(naive::Assignment const& assignment) override {
    diffs.clear();
    forEachDiff(assignment,
                [&](unsigned, unsigned, int diff) { diffs.push_back(diff); });
    return NaiveKind::calculate(assignment);
  }

  int update(naive::Assignment const&, naive::Assignment const& now,
             std::span<unsigned const>, WcspChanges& changes) override {
    std::size_t i = 0;
    forEachDiff(now, [&](unsigned v, unsigned a, int diff) {
      changes.add(changes.label(v) + a, {diffs[i], diff});
      diffs[i++] = diff;
    });
    return naive::violation(c, now);
  }

 private:
  std::vector<int> diffs;  ///< by label
};

/// Runs out of memory at one of its calls, half way through its reports.
class Throwing : public NaiveUpdated {
 public:
  int numCallsLeft = -1;

  using NaiveUpdated::NaiveUpdated;

  int calculate(naive::Assignment const& assignment) override {
    if (numCallsLeft-- == 0) {
      wcsp->setDiffPenalty(id, 0, 0, -1);
      throw std::bad_alloc();
    }
    return NaiveUpdated::calculate(assignment);
  }

  int update(naive::Assignment const& before, naive::Assignment const& now,
             std::span<unsigned const> moved, WcspChanges& changes) override {
    if (numCallsLeft-- == 0) {
      changes.add(0, {0, -1});
      throw std::bad_alloc();
    }
    return id % 2 == 0 ? NaiveUpdated::update(before, now, moved, changes)
                       : changes.compare(*this);
  }
};
