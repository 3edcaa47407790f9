// The two interfaces on which everything meets: `Wcsp`, the solver as its
// callers and its constraints see it, and `WcspConstraint`, a constraint as the
// solver sees it.
//
// Variables are numbered from 0 in the order of their declaration, the values
// of each variable from 0, and constraints from 0 in the order in which they
// are constructed. An assignment holds one value number per variable. A label
// is a pair (variable, value); it is on when the assignment gives the variable
// that value.

#pragma once

#include <map>
#include <memory>
#include <span>
#include <string>
#include <typeindex>
#include <vector>

#include "solver/export.h"

class WcspConstraint;

/// From update(): the diff of one label, before and after.
struct WcspChange {
  unsigned label;  ///< its number, see Wcsp::labelNumber()
  int before;
  int after;
};

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
  /// no variables are declared. Never to be called from inside a calculate().
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
    for (const unsigned value : values) {
      setDiffPenalty(constraint, variable, value, diff);
    }
  }

  /// The number of the label (`variable`, 0); the numbers of the variable's
  /// other values follow it, and those of the next variable follow them. Needs
  /// declared variables.
  unsigned labelNumber(unsigned variable) const {
    return labelNumbers[variable];
  }

  /// From update(): the diffs of these labels change. They ascend by label over
  /// all calls of one update(), and no label comes twice.
  virtual void changeDiffPenalties(unsigned constraint,
                                   std::span<WcspChange const> changes) = 0;

  /// The one `T` that all constraints of this solver share, made when it is
  /// first asked for and deleted after the constraints: scratch that is not to
  /// be held once per constraint, or data that several of them have in common.
  template <class T>
  T& shared() {
    std::shared_ptr<void>& object = sharedObjects[typeid(T)];
    if (object == nullptr) {
      object = std::make_shared<T>();
    }
    return *static_cast<T*>(object.get());
  }

 protected:
  unsigned const* labelNumbers = nullptr;  ///< by variable; not owned

 private:
  std::map<std::type_index, std::shared_ptr<void>> sharedObjects;
};

/// A constraint. It knows how to measure its violation and, each time it is
/// measured, reports how every single move would change it.
class WCSP_EXPORT WcspConstraint {
 public:
  Wcsp* wcsp;       ///< the solver it belongs to and reports to; not owned
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
  /// every label whose taking or leaving can change the violation or a report.
  virtual void preprocess() = 0;

  /// Returns the violation of `assignment`: 0 when satisfied, else positive.
  /// Reports with `setDiffPenalty` the violation after each single move minus
  /// the violation now, strictly ascending by variable and then value, each
  /// label at most once; a label that is not reported has diff 0. The result
  /// depends on nothing but `assignment`. Allocates nothing.
  virtual int calculate(std::vector<unsigned> const& assignment) = 0;

  /// As the number of a variable: more than one.
  static constexpr unsigned several = 4294967295U;

  /// Whether track() and update() are offered; asked after preprocess(). They
  /// spare the solver a list of all diffs and the comparison of two of them.
  virtual bool isUpdatable() const { return false; }

  /// Keeps what update() needs to know of `assignment`, whatever was kept
  /// before, also when an update() was left by an exception. Reports nothing.
  virtual void track(std::vector<unsigned> const&) {}

  /// Returns the violation of `assignment` and reports with
  /// changeDiffPenalties() each label whose diff is another than in `before`,
  /// the assignment of the last track() or update(). They differ in `variable`
  /// alone or, if that is `several`, in any number of variables; some label of
  /// the constraint has been taken or left. Allocates nothing.
  virtual int update(std::vector<unsigned> const& /*before*/,
                     std::vector<unsigned> const& assignment,
                     unsigned /*variable*/) {
    return calculate(assignment);
  }
};
