// The interfaces on which everything meets: `Wcsp`, the solver as its callers
// and its constraints see it, `WcspConstraint`, a constraint as the solver sees
// it, and `WcspChanges`, which takes the diffs that a move has changed.
//
// Variables are numbered from 0 in the order of their declaration, the values
// of each variable from 0, and constraints from 0 in the order in which they
// are constructed. An assignment holds one value number per variable. A label
// is a pair (variable, value); it is on when the assignment gives the variable
// that value.

#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <typeindex>
#include <vector>

#include "solver/export.h"

class WcspChanges;
class WcspConstraint;

/// A solver for weighted constraint satisfaction. No operation checks a
/// variable, value or constraint number: callers keep them in range.
class WCSP_EXPORT Wcsp {
 public:
  /// As a weight: hard. As an answer: nothing to return.
  static constexpr int inf = 2147483647;

  /// A new solver without variables or constraints; the caller deletes it.
  /// Every CPU time that it measures counts from this call.
  static Wcsp* makeWcsp();

  Wcsp() = default;
  Wcsp(Wcsp const&) = delete;
  Wcsp& operator=(Wcsp const&) = delete;

  /// Deletes every added constraint too.
  virtual ~Wcsp() = default;

  /// The number of the last tabu iteration (default 2147483647).
  virtual void setMaxIteration(unsigned maxIteration) = 0;

  /// How many iterations may follow the last improvement (default 2147483647).
  virtual void setMaxIterationUnimproved(unsigned maxIteration) = 0;

  /// The limit in user CPU seconds since makeWcsp() (default 600.0).
  virtual void setMaxCpuTime(double seconds) = 0;

  /// Stop at hard penalty 0 and a soft penalty of at most `soft` (default 0).
  virtual void setTarget(int soft) = 0;

  /// Stop at a penalty that is not worse than (`hard`, `soft`).
  virtual void setTarget(int hard, int soft) = 0;

  /// Seeds the random generator (default 1). 0 and every other multiple of
  /// 2147483647 are fixed points of the generator and are replaced by 1.
  virtual void setRandomSeed(int seed) = 0;

  /// What the search log shows: bit 1 the details of moves, bit 2 the runs; a
  /// positive level also shows dead ends (default 0).
  virtual void setDisplay(int display) = 0;

  /// A progress line every `interval` iterations; 0 (the default) for none.
  virtual void setInterval(unsigned interval) = 0;

  /// Switches the adjustment of constraint weights (default on).
  virtual void setAdjustment(bool adjustment) = 0;

  /// Sends the search log to a file, truncated or appended to, in place of
  /// standard output. Returns true, leaving the log where it was, when the file
  /// cannot be opened or a log file is already open.
  virtual bool setLogFileName(std::string name, bool append) = 0;

  /// Declares the variables, once and before the first constraint.
  /// `numValues` holds `numVariables` domain sizes. Throws std::runtime_error,
  /// changing nothing, when called a second time or with an empty domain.
  virtual void initialize(unsigned numVariables,
                          std::vector<unsigned>& numValues) = 0;

  virtual unsigned getNumVariables() const = 0;

  /// The domain size of `variable`.
  virtual unsigned getNumValues(unsigned variable) const = 0;

  virtual unsigned getNumConstraints() const = 0;

  /// Searches from a random assignment, first improved greedily.
  virtual void solve() = 0;

  /// Searches from `initial`, one value number per variable, until a limit or
  /// the target is reached; the getters then answer for the best assignment
  /// met. Throws std::runtime_error: "Interrupted." after SIGINT, "Negative
  /// weight; Overflow" and "Error: in improving the initial solution" when the
  /// search cannot go on, and another message, changing nothing, when `initial`
  /// has the wrong size or a value out of range. std::bad_alloc passes through.
  /// After an exception the getters answer for the best assignment so far.
  virtual void solve(std::vector<unsigned> const& initial) = 0;

  /// The value of `variable` in the best assignment, 0 before any search;
  /// `inf` while no variables are declared.
  virtual unsigned getValue(unsigned variable) const = 0;

  /// The summed violation of the hard constraints in the best assignment, at
  /// most `inf`; 0 before any search, `inf` from the start of the first search
  /// until it has recorded an assignment.
  virtual int getHardPenalty() const = 0;

  /// The sum of weight times violation over the soft constraints, otherwise as
  /// getHardPenalty().
  virtual int getSoftPenalty() const = 0;

  /// The violation of one constraint in the best assignment; `inf` before the
  /// first search has started and for a constraint added since the last one,
  /// 0 while the first search has recorded no assignment.
  virtual int getPenalty(unsigned constraint) const = 0;

  /// Takes ownership of `c` and returns its id; calls nothing on `c`, which is
  /// still under construction. Throws std::runtime_error, storing nothing, when
  /// no variables are declared. Never to be called from inside a calculate() or
  /// an update().
  virtual unsigned addConstraint(WcspConstraint* c) = 0;

  /// From preprocess(): `constraint` must be evaluated again whenever
  /// `variable` takes or leaves `value`.
  virtual void involve(unsigned constraint, unsigned variable,
                       unsigned value) = 0;

  /// The same for every value of `variable`.
  virtual void involve(unsigned constraint, unsigned variable) = 0;

  /// From calculate(): moving `variable` to `value` would change the violation
  /// of `constraint` by `diff`. A diff of 0 is ignored.
  virtual void setDiffPenalty(unsigned constraint, unsigned variable,
                              unsigned value, int diff) = 0;

  /// The same for each of `values`, which ascend: one call in place of many.
  virtual void setDiffPenalties(unsigned constraint, unsigned variable,
                                std::span<unsigned const> values, int diff) {
    for (unsigned const value : values) {
      setDiffPenalty(constraint, variable, value, diff);
    }
  }
};

/// A constraint. It knows how to measure its violation and, each time it is
/// measured, lists how every single move would change it.
class WCSP_EXPORT WcspConstraint {
 public:
  Wcsp* wcsp;       ///< the solver it belongs to; not owned
  unsigned id = 0;  ///< its number in the solver
  int weight;       ///< declared weight, 0 to Wcsp::inf; Wcsp::inf: hard

  /// Registers the constraint with `solver`, which owns it from here on. If the
  /// solver refuses by throwing, the caller still owns the memory. A derived
  /// constructor must not throw after this one.
  WcspConstraint(Wcsp* solver, int declaredWeight)
      : wcsp(solver), weight(declaredWeight) {
    id = wcsp->addConstraint(this);
  }

  WcspConstraint(WcspConstraint const&) = delete;
  WcspConstraint& operator=(WcspConstraint const&) = delete;
  virtual ~WcspConstraint() = default;

  /// Called once, before the first calculate() and in the order of ids: brings
  /// the data into the order that calculate() needs and calls `involve` for
  /// every label whose taking or leaving can change the violation or a diff.
  virtual void preprocess() = 0;

  /// Returns the violation of `assignment`: 0 when satisfied, else positive.
  /// Lists with `setDiffPenalty` the violation after each single move minus
  /// the violation now, strictly ascending by variable and then value, each
  /// label at most once; a label that is not listed has diff 0. The result
  /// depends on nothing but `assignment`. Sets up anew whatever update() goes
  /// by, also after an exception. Allocates nothing.
  virtual int calculate(std::vector<unsigned> const& assignment) = 0;

  /// Called once, right after preprocess(): the place to note label numbers and
  /// to exchange data for what the constraints of the solver share.
  virtual void prepare(WcspChanges&) {}

  /// Returns the violation of `now` and adds to `changes` each label whose diff
  /// has changed since the last calculate() or update(), ascending. That was
  /// for `before`; as far as the labels of the constraint go, `now` differs
  /// from it in the variables `moved`, which ascend: mostly it is one.
  /// Allocates nothing. By default calculate() is called for both assignments.
  virtual int update(std::vector<unsigned> const& before,
                     std::vector<unsigned> const& now,
                     std::span<unsigned const> moved, WcspChanges& changes);
};

/// What a solver hands to its constraints for their updates.
class WCSP_EXPORT WcspChanges {
 public:
  /// The diff of a label before and after a move.
  struct Diffs {
    int before;
    int after;

    bool differ() const { return before != after; }
  };

  WcspChanges(WcspChanges const&) = delete;
  WcspChanges& operator=(WcspChanges const&) = delete;

  /// The number of the label (`variable`, 0). Those of the variable's other
  /// values follow it, and then those of the next variable.
  unsigned label(unsigned variable) const { return firstLabels[variable]; }

  /// The one `T` that all constraints of this solver share, made when it is
  /// first asked for and deleted after the constraints. From prepare() only.
  template <class T>
  T& shared() {
    std::shared_ptr<void>& object = sharedObjects[typeid(T)];
    if (object == nullptr) {
      object = std::make_shared<T>();
    }
    return *static_cast<T*>(object.get());
  }

  /// Adds a label if its diff has changed. Labels ascend over all calls of one
  /// update(), and none comes twice.
  [[gnu::always_inline]] void add(unsigned label, Diffs diffs) {
    if (numAdded == added.size()) {
      flush();
    }
    // Written in any case: a branch would be hard to predict.
    added[numAdded] = {label, diffs};
    numAdded += diffs.differ() ? 1U : 0U;
  }

  /// The same for up to `count` labels, 128 at most: write(append) calls
  /// append(label, diffs) for each. One test of the room for all of them.
  template <class Write>
  [[gnu::always_inline]] void addUpTo(std::size_t count, Write write) {
    if (added.size() - numAdded < count) {
      flush();
    }
    Change* end = added.data() + numAdded;
    write([&end](unsigned label, Diffs diffs) {
      *end = {label, diffs};
      end += diffs.differ() ? 1 : 0;
    });
    numAdded = static_cast<std::size_t>(end - added.data());
  }

  /// Adds those of the labels from `first` to `last` - 1 whose diffs, which are
  /// diffsOf(label), have changed.
  template <class DiffsOf>
  void addRange(unsigned first, unsigned last, DiffsOf diffsOf) {
    while (first < last) {
      unsigned const end = first + std::min(last - first, 128U);
      addUpTo(128, [&](auto append) {
        for (; first < end; ++first) {
          append(first, diffsOf(first));
        }
      });
    }
  }

  /// Adds those of 64 ascending labels whose bit is set, all of them with the
  /// same diffs, which differ.
  void addEach(unsigned const* labels, std::uint64_t bits, Diffs diffs) {
    addUpTo(64, [&](auto append) {
      for (; bits != 0; bits &= bits - 1) {
        append(labels[std::countr_zero(bits)], diffs);
      }
    });
  }

  /// Calls calculate() for the assignments before and now, enters all
  /// differences of their diffs, and returns the violation now. In place of
  /// adding labels.
  virtual int compare(WcspConstraint& constraint) = 0;

 protected:
  struct Change {
    unsigned label;
    Diffs diffs;
  };

  unsigned const* firstLabels = nullptr;  ///< by variable; not owned

  WcspChanges() = default;
  virtual ~WcspChanges() = default;

  /// Enters what has been added.
  void flush() {
    if (numAdded > 0) {
      enter(std::span(added).first(numAdded));
      numAdded = 0;
    }
  }

  /// Forgets what has been added.
  void drop() { numAdded = 0; }

 private:
  std::map<std::type_index, std::shared_ptr<void>> sharedObjects;
  std::size_t numAdded = 0;
  std::array<Change, 256> added = {};

  virtual void enter(std::span<Change const> changes) = 0;
};

inline int WcspConstraint::update(std::vector<unsigned> const&,
                                  std::vector<unsigned> const&,
                                  std::span<unsigned const>,
                                  WcspChanges& changes) {
  return changes.compare(*this);
}
