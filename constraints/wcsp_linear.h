// The linear constraint: the summed coefficients of the labels that are on lie
// between two bounds.

#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <variant>
#include <vector>

#include "constraints/array.h"
#include "constraints/label_index.h"
#include "solver/wcsp.h"

class Changes;
struct CountState;
struct CountStep;
struct Diffs;

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
  Array<Term, Lt> terms;

  using WcspConstraint::WcspConstraint;

  void preprocess() override;
  int calculate(std::vector<unsigned> const& assignment) override;
  bool isUpdatable() const override { return true; }
  void track(std::vector<unsigned> const& assignment) override;
  int update(std::vector<unsigned> const& before,
             std::vector<unsigned> const& assignment,
             unsigned variable) override;

 private:
  /// Few terms with one coefficient.
  struct Few {
    CountState const* states;
  };

  /// The same, of variables with two values each.
  struct Clause {
    CountState const* states;
  };

  /// Many terms with one coefficient.
  struct Many {
    CountState const* states;
    std::vector<std::uint64_t> areOn;  ///< a bit for each term, as tracked
    std::vector<unsigned> labels;      ///< their numbers, see labelNumber()
  };

  /// Where a variable has several terms: the terms by variable.
  struct Blocks {
    LabelIndex index;
    std::vector<std::int64_t> coefficients;  ///< by label
  };

  using Assignment = std::vector<unsigned>;
  using Terms = std::span<Term const>;

  /// Of the assignment tracked: the sum or, where all coefficients are the
  /// same, the number of terms that are on.
  std::int64_t tracked = 0;
  std::int64_t maxChange = 0;  ///< by which one move can change the sum
  /// Single terms with different coefficients need nothing more. What is large
  /// stands elsewhere, so that most constraints stay small.
  std::variant<std::monostate, Few, Clause, std::unique_ptr<Many>,
               std::unique_ptr<Blocks>>
      form;

  Blocks const* blocks() const;
  /// Returns whether a variable has several terms.
  bool findMaxChange();
  void makeBlocks();
  void chooseForm();
  std::int64_t countOn(Assignment const& assignment) const;
  std::int64_t sumOf(Assignment const& assignment) const;
  /// The terms of `variable`, or all of them.
  Terms termsOf(unsigned variable) const;
  /// Reports a term's label and the other values of its variable.
  void reportValues(Changes& changes, Term const& term, Diffs self,
                    Diffs others) const;
  /// The same from the diffs of the term's label, where it is off, or of the
  /// other values, where it is on.
  void reportTerm(Changes& changes, Term const& term, bool wasOn, bool isOn,
                  Diffs diffs) const;
  void reportAll(CountStep const& step, Assignment const& before,
                 Assignment const& assignment) const;
  void reportClause(CountStep const& step, Assignment const& before,
                    Assignment const& assignment) const;
  void reportMany(CountStep const& step, Many const& many, Term const& moved,
                  Assignment const& before, Assignment const& assignment) const;
  /// Reports the 64 terms from `begin` on that have not moved and whose bit is
  /// set in `others`.
  void reportOthers(Changes& changes, CountStep const& step, Many const& many,
                    std::size_t begin, std::uint64_t others) const;
  template <class Report>
  int updateFew(CountState const* states, Assignment const& assignment,
                Report report);
  int updateMany(Many& many, Assignment const& before,
                 Assignment const& assignment, unsigned variable);
  int updateTerms(Assignment const& before, Assignment const& assignment,
                  unsigned variable);
  int updateBlocks(Assignment const& before, Assignment const& assignment,
                   unsigned variable);
  int calculateSingle(Assignment const& assignment) const;
  int calculateBlocks(Assignment const& assignment) const;
};
