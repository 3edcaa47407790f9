// The linear constraint: the summed coefficients of the labels that are on lie
// between two bounds.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <variant>
#include <vector>

#include "constraints/array.h"
#include "solver/wcsp.h"

class SumStep;

/// lower <= sum of the coefficients of the terms that are on <= upper. The
/// violation is the distance of the sum from that interval, at most Wcsp::inf.
class WCSP_EXPORT WcspLinear : public WcspConstraint {
 public:
  struct Term {
    std::int64_t coefficient;  ///< any sign; magnitudes sum below 2^61
    unsigned variable;
    unsigned value;
  };

  /// Orders terms by (variable, value); the coefficient takes no part.
  struct Lt {
    bool operator()(Term const& a, Term const& b) const {
      return a.variable < b.variable ||
             (a.variable == b.variable && a.value <= b.value);
    }
  };

  int lower = -Wcsp::inf;  ///< -Wcsp::inf: no bound
  int upper = Wcsp::inf;   ///< Wcsp::inf: no bound

  /// Filled by the caller in any order before the search starts; sorted and
  /// freed of repeats by preprocess().
  detail::Array<Term, Lt> terms;

  using WcspConstraint::WcspConstraint;

  void preprocess() override;
  void prepare(WcspChanges& changes) override;
  int calculate(std::vector<unsigned> const& assignment) override;
  int update(std::vector<unsigned> const& before,
             std::vector<unsigned> const& now, std::span<unsigned const> moved,
             WcspChanges& changes) override;

 private:
  /// Any terms.
  struct Mixed {};

  /// Few terms with one coefficient, of different variables.
  struct Few {};

  /// The same, of variables with two values each.
  struct Clause {};

  /// Many terms with one coefficient, of different variables.
  struct Many {
    std::vector<std::uint64_t> areOn;  ///< a bit for each term
    std::vector<unsigned> labels;      ///< their numbers, see WcspChanges
  };

  using Assignment = std::vector<unsigned>;
  using Terms = std::span<Term const>;
  using Diffs = WcspChanges::Diffs;
  struct CountStep;
  struct Move;

  /// What follows from the sum where all coefficients are the same.
  struct CountState {
    int violation = 0;
    int taking = 0;   ///< the diff of a term that is off: of its label
    int leaving = 0;  ///< of one that is on: of its variable's other values
  };

  std::int64_t sum = 0;        ///< at the last calculate() or update()
  CountState state;            ///< there, unless terms are mixed
  std::int64_t maxChange = 0;  ///< by which one move can change the sum
  /// What is large stands elsewhere, so that most constraints stay small.
  std::variant<Mixed, Few, Clause, std::unique_ptr<Many>> form;

  Terms groupOf(unsigned variable) const;
  std::size_t indexOf(unsigned variable) const;
  template <class Act>
  void forEachGroup(Act act) const;
  void chooseForm();
  std::int64_t sumOf(Assignment const& assignment) const;
  CountState stateOf(std::int64_t count) const;
  int updateMixed(Move const& move, WcspChanges& changes);
  static void listGroup(SumStep const& step, Terms group,
                        std::int64_t lossBefore, std::int64_t lossAfter,
                        WcspChanges& changes);
  static void listTerms(SumStep const& step, Terms group,
                        std::int64_t lossBefore, std::int64_t lossAfter,
                        WcspChanges& changes);
  template <class List>
  int updateCount(std::int64_t after, List list);
  void listClause(CountStep const& step, Move const& move,
                  WcspChanges& changes) const;
  void listFew(CountStep const& step, Move const& move,
               WcspChanges& changes) const;
  int updateMany(Many& many, Move const& move, WcspChanges& changes);
  void listMany(CountStep const& step, Many const& many, Move const& move,
                WcspChanges& changes) const;
  /// Lists the terms from `first` to `last` - 1, which have not moved.
  void listOthers(CountStep const& step, Many const& many, std::size_t first,
                  std::size_t last, WcspChanges& changes) const;
};
