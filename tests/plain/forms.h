// The straightforward forms of the inner loops: each constraint kind's
// calculate(), and the merge of diff lists that keeps the score of every label.
// They follow the definitions with simple containers, terms as separate
// objects, and 64-bit sums throughout. They are the yardstick by which
// benchmarks on different machines are compared, and a second opinion on the
// fast forms: for equal models both list the same diffs.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "solver/wcsp.h"
#include "tests/shared/stand_in.h"

/// The distance of `sum` from [lower, upper], at most Wcsp::inf. A bound of
/// -Wcsp::inf below or Wcsp::inf above is no bound.
int plainViolation(std::int64_t sum, int lower, int upper);

/// lower <= summed coefficients of the labels that are on <= upper.
class PlainLinear : public WcspConstraint {
 public:
  struct Term {
    std::int64_t coefficient;
    unsigned variable;
    unsigned value;
  };

  int lower = -Wcsp::inf;
  int upper = Wcsp::inf;
  std::vector<Term> terms;

  using WcspConstraint::WcspConstraint;

  void preprocess() override;
  int calculate(std::vector<unsigned> const& assignment) override;

 private:
  /// Lists the moves of the variable of the terms `begin` to `end`, given the
  /// sum and the violation now.
  void listBlock(std::size_t begin, std::size_t end, std::int64_t sum, int now,
                 std::vector<unsigned> const& assignment);
};

/// lower <= summed coefficients of the pairs of labels both on <= upper.
class PlainQuadratic : public WcspConstraint {
 public:
  struct Label;

  struct Term {
    std::int64_t coefficient = 0;
    unsigned variable1 = 0;
    unsigned value1 = 0;
    unsigned variable2 = 0;
    unsigned value2 = 0;
    Label* label = nullptr;  ///< the record of (variable1, value1)
    Term* pair = nullptr;    ///< the same term from the partner's side
  };

  /// One label of the constraint; its terms are `begin` to `end` in `terms`.
  struct Label {
    unsigned variable = 0;
    unsigned value = 0;
    std::int64_t sum = 0;  ///< of the terms that join it with an on label
    std::size_t begin = 0;
    std::size_t end = 0;
    std::size_t selfTerm = 0;          ///< first partner not before the label
    std::size_t sameVariableTerm = 0;  ///< first partner variable not before it
    std::int64_t selfCoefficient = 0;  ///< of the term that is its own pair
  };

  int lower = -Wcsp::inf;
  int upper = Wcsp::inf;
  std::vector<std::unique_ptr<Term>> terms;
  std::vector<std::unique_ptr<Label>> labels;

  using WcspConstraint::WcspConstraint;

  /// Appends a term and, when its labels differ, its mirror.
  void addTerm(std::int64_t coefficient, unsigned variable1, unsigned value1, unsigned variable2,
               unsigned value2);

  void preprocess() override;
  int calculate(std::vector<unsigned> const& assignment) override;

 private:
  void mergeRepeats();
  void makeLabels();
  std::int64_t accumulate(std::vector<unsigned> const& assignment);

  /// Lists the moves of the variable of the labels `begin` to `end`.
  void listBlock(std::size_t begin, std::size_t end, std::int64_t sum, int now,
                 std::vector<unsigned> const& assignment);

  /// The same while `current`, one of these labels, is on.
  void listBlockFrom(Label const& current, std::size_t begin, std::size_t end, std::int64_t sum,
                     int now);
};

/// Pairwise different value numbers; the violation counts the repeats.
class PlainAlldiff : public WcspConstraint {
 public:
  std::vector<unsigned> variables;
  unsigned maxValue = 0;  ///< the largest value number of any variable

  using WcspConstraint::WcspConstraint;

  void preprocess() override;
  int calculate(std::vector<unsigned> const& assignment) override;
};

/// A stand-in that also keeps the score of every label, in the plain way: one
/// object per label, two diff lists of pointers per constraint, and a merge
/// that touches every label in either list.
class PlainStore : public StandInWcsp {
 public:
  struct Label {
    unsigned variable = 0;
    unsigned value = 0;
    double score = 0.0;                   ///< weighted sum of its diffs
    unsigned improvingCount = 0;          ///< constraints with a negative diff for it
    std::size_t position = 0;             ///< in `candidates` if improvingCount > 0
    std::vector<unsigned> constraintIds;  ///< ascending
  };

  struct DiffPenalty {
    Label* label;
    int diff;
  };

  struct Record {
    double weight = 0.0;
    int penalty = 0;
    std::vector<DiffPenalty> previous;
    std::vector<DiffPenalty> next;
  };

  std::vector<std::vector<Label>> labels;
  std::vector<Record> records;
  std::vector<Label*> candidates;
  std::vector<unsigned> assignment;
  double weightedPenalty = 0.0;

  explicit PlainStore(std::vector<unsigned> domainSizes);

  unsigned addConstraint(WcspConstraint* c) override;
  void involve(unsigned constraint, unsigned variable, unsigned value) override;
  void involve(unsigned constraint, unsigned variable) override;
  void setDiffPenalty(unsigned constraint, unsigned variable, unsigned value, int diff) override;

  /// Prepares every constraint and evaluates `start` from scratch.
  void start(std::vector<unsigned> const& initial);

  /// Evaluates one constraint anew and merges its diffs.
  void calculate(unsigned constraint);

  /// Changes one value and evaluates every constraint that it concerns.
  void move(unsigned variable, unsigned value);

 private:
  void merge(Record const& record);
  void update(Label& label, int before, int after, double weight);
  void removeCandidate(Label& label);
};
