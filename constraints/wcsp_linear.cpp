// The linear constraint. An update keeps the sum and looks at the variables
// that have not moved only near a bound. In most constraints all coefficients
// are the same and each variable has one term: then all terms that are on have
// the same diffs, and so have all that are off.

#include "constraints/wcsp_linear.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "constraints/bounds.h"

namespace {

/// Up to this many terms counting all is faster than finding the one that
/// moved.
constexpr std::size_t fewTerms = 8;

/// In a word of `areOn`.
constexpr std::size_t numBits = 64;
constexpr std::uint64_t allBits = ~std::uint64_t{0};

/// The coefficient of the term with this value, or 0.
[[gnu::always_inline]] inline std::int64_t gainOf(
    std::span<WcspLinear::Term const> group, unsigned value) {
  if (group.size() == 1) {  // in most groups
    return group.front().value == value ? group.front().coefficient : 0;
  }
  auto const term =
      std::ranges::lower_bound(group, value, {}, &WcspLinear::Term::value);
  return term != group.end() && term->value == value ? term->coefficient : 0;
}

/// Adds a label and the other values of its variable.
void addValues(WcspChanges& changes, WcspLinear::Term const& term,
               WcspChanges::Diffs self, WcspChanges::Diffs others) {
  unsigned const first = changes.label(term.variable);
  unsigned const own = first + term.value;
  if (!others.differ()) {
    changes.add(own, self);
    return;
  }
  unsigned const end = changes.label(term.variable + 1);
  for (unsigned label = first; label < end; ++label) {
    changes.add(label, label == own ? self : others);
  }
}

}  // namespace

struct WcspLinear::Move {
  Assignment const& before;
  Assignment const& now;
  std::span<unsigned const> moved;
};

/// A step of the sum where all coefficients are the same.
struct WcspLinear::CountStep {
  Diffs taking;
  Diffs leaving;

  CountStep(CountState const& before, CountState const& after)
      : taking{before.taking, after.taking},
        leaving{before.leaving, after.leaving} {}

  /// Of a term: of its label, where it is off, or of the other values.
  Diffs diffs(bool wasOn, bool isOn) const {
    return {wasOn ? leaving.before : taking.before,
            isOn ? leaving.after : taking.after};
  }

  /// Whether all diffs are 0, before and after.
  bool isFlat() const {
    return (taking.before | taking.after | leaving.before | leaving.after) == 0;
  }

  /// Adds the labels of a term.
  void add(WcspChanges& changes, Term const& term, bool wasOn,
           bool isOn) const {
    Diffs const own = diffs(wasOn, isOn);
    addValues(changes, term, {wasOn ? 0 : own.before, isOn ? 0 : own.after},
              {wasOn ? own.before : 0, isOn ? own.after : 0});
  }
};

void WcspLinear::preprocess() {
  if (terms.empty()) {
    return;
  }
  terms.quicksort(0, static_cast<unsigned>(terms.size() - 1));
  terms.mergeEqual([](Term& first, Term const& other) {
    first.coefficient += other.coefficient;
  });
  terms.shrink_to_fit();
  for (Term const& term : terms) {
    wcsp->involve(id, term.variable, term.value);
  }
  chooseForm();
}

void WcspLinear::chooseForm() {
  // A value without a term counts with 0.
  bool isCount = true;
  maxChange = 0;
  forEachGroup([&](Terms group) {
    const auto [least, greatest] =
        std::ranges::minmax(group, {}, &Term::coefficient);
    maxChange =
        std::max(maxChange, std::max<std::int64_t>(greatest.coefficient, 0) -
                                std::min<std::int64_t>(least.coefficient, 0));
    isCount = isCount && group.size() == 1 &&
              greatest.coefficient == terms.front().coefficient;
  });
  if (!isCount) {
    return;
  }
  if (terms.size() > fewTerms) {
    auto many = std::make_unique<Many>();
    many->areOn.resize((terms.size() - 1) / numBits + 1);
    form = std::move(many);
  } else if (std::ranges::all_of(terms, [this](Term const& term) {
               return wcsp->getNumValues(term.variable) == 2;
             })) {
    form = Clause{};
  } else {
    form = Few{};
  }
}

void WcspLinear::prepare(WcspChanges& changes) {
  if (auto* const many = std::get_if<std::unique_ptr<Many>>(&form)) {
    (*many)->labels.clear();
    (*many)->labels.reserve(terms.size());
    for (Term const& term : terms) {
      (*many)->labels.push_back(changes.label(term.variable) + term.value);
    }
  }
}

WcspLinear::Terms WcspLinear::groupOf(unsigned variable) const {
  return {std::ranges::lower_bound(terms, variable, {}, &Term::variable),
          std::ranges::upper_bound(terms, variable, {}, &Term::variable)};
}

std::size_t WcspLinear::indexOf(unsigned variable) const {
  return static_cast<std::size_t>(
      std::ranges::lower_bound(terms, variable, {}, &Term::variable) -
      terms.begin());
}

template <class Act>
void WcspLinear::forEachGroup(Act act) const {
  for (auto first = terms.begin(); first != terms.end();) {
    auto last = first;
    while (last != terms.end() && last->variable == first->variable) {
      ++last;
    }
    act(Terms(first, last));
    first = last;
  }
}

int WcspLinear::calculate(Assignment const& assignment) {
  sum = sumOf(assignment);
  if (!std::holds_alternative<Mixed>(form)) {
    state = stateOf(sum);
  }
  if (auto* const many = std::get_if<std::unique_ptr<Many>>(&form)) {
    auto& areOn = (*many)->areOn;
    std::ranges::fill(areOn, 0);
    for (std::size_t k = 0; k < terms.size(); ++k) {
      auto const isOn =
          std::uint64_t{assignment[terms[k].variable] == terms[k].value};
      areOn[k / numBits] |= isOn << (k % numBits);
    }
  }
  Bounds const bounds(lower, upper);
  int const violation = bounds.violation(sum);
  if (bounds.slope(sum - maxChange, sum + maxChange) == 0) {
    return violation;
  }
  forEachGroup([&](Terms group) {
    unsigned const variable = group.front().variable;
    std::int64_t const loss = gainOf(group, assignment[variable]);
    auto const diff = [&](std::int64_t gain) {
      return bounds.violation(sum + gain - loss) - violation;
    };
    int const leaving = diff(0);
    forEachValue(
        group.begin(), group.end(), wcsp->getNumValues(variable), leaving != 0,
        [](auto term) { return term->value; },
        [&](unsigned value, auto term) {
          wcsp->setDiffPenalty(
              id, variable, value,
              term == group.end() ? leaving : diff(term->coefficient));
        });
  });
  return violation;
}

std::int64_t WcspLinear::sumOf(Assignment const& assignment) const {
  std::int64_t result = 0;
  for (Term const& term : terms) {
    // A mask and not a choice, which would be a branch and hard to predict.
    auto const isOn = std::int64_t{assignment[term.variable] == term.value};
    result += term.coefficient & -isOn;
  }
  return result;
}

inline WcspLinear::CountState WcspLinear::stateOf(std::int64_t count) const {
  Bounds const bounds(lower, upper);
  std::int64_t const coefficient = terms.front().coefficient;
  int const violation = bounds.violation(count);
  return {violation, bounds.violation(count + coefficient) - violation,
          bounds.violation(count - coefficient) - violation};
}

int WcspLinear::update(Assignment const& before, Assignment const& now,
                       std::span<unsigned const> moved, WcspChanges& changes) {
  const Move move{before, now, moved};
  if (std::holds_alternative<Clause>(form)) {
    return updateCount(sumOf(now), [&](CountStep const& step) {
      listClause(step, move, changes);
    });
  }
  if (std::holds_alternative<Few>(form)) {
    return updateCount(sumOf(now), [&](CountStep const& step) {
      listFew(step, move, changes);
    });
  }
  if (auto const* const many = std::get_if<std::unique_ptr<Many>>(&form)) {
    return updateMany(**many, move, changes);
  }
  return updateMixed(move, changes);
}

int WcspLinear::updateMixed(Move const& move, WcspChanges& changes) {
  std::int64_t const sumBefore = sum;
  for (unsigned const variable : move.moved) {
    Terms const group = groupOf(variable);
    sum += gainOf(group, move.now[variable]) -
           gainOf(group, move.before[variable]);
  }
  SumStep const step(Bounds(lower, upper), sumBefore, sum);
  int const slope = step.slope(maxChange);
  if (slope == 0) {
    return 0;
  }
  auto const listMoved = [&](unsigned variable) {
    Terms const group = groupOf(variable);
    listGroup(step, group, gainOf(group, move.before[variable]),
              gainOf(group, move.now[variable]), changes);
  };
  if (!step.reachesAll(slope)) {
    std::ranges::for_each(move.moved, listMoved);
    return step.violation();
  }
  auto next = move.moved.begin();
  forEachGroup([&](Terms group) {
    unsigned const variable = group.front().variable;
    if (next != move.moved.end() && *next == variable) {
      listMoved(*next++);
      return;
    }
    std::int64_t const loss = gainOf(group, move.now[variable]);
    listGroup(step, group, loss, loss, changes);
  });
  return step.violation();
}

// Most groups are one term that is off.
[[gnu::always_inline]] inline void WcspLinear::listGroup(
    SumStep const& step, Terms group, std::int64_t lossBefore,
    std::int64_t lossAfter, WcspChanges& changes) {
  if (group.size() > 1) {
    listTerms(step, group, lossBefore, lossAfter, changes);
    return;
  }
  Term const& term = group.front();
  Diffs const self =
      step.diffs(term.coefficient - lossBefore, term.coefficient - lossAfter);
  if (lossBefore == 0 && lossAfter == 0) {
    changes.add(changes.label(term.variable) + term.value, self);
  } else {
    addValues(changes, term, self, step.diffs(-lossBefore, -lossAfter));
  }
}

void WcspLinear::listTerms(SumStep const& step, Terms group,
                           std::int64_t lossBefore, std::int64_t lossAfter,
                           WcspChanges& changes) {
  unsigned const variable = group.front().variable;
  unsigned const first = changes.label(variable);
  Diffs const leaving = step.diffs(-lossBefore, -lossAfter);
  forEachValue(
      group.begin(), group.end(), changes.label(variable + 1) - first,
      leaving.differ(), [](auto term) { return term->value; },
      [&](unsigned value, auto term) {
        changes.add(first + value,
                    term == group.end()
                        ? leaving
                        : step.diffs(term->coefficient - lossBefore,
                                     term->coefficient - lossAfter));
      });
}

template <class List>
int WcspLinear::updateCount(std::int64_t after, List list) {
  CountState const before = std::exchange(state, stateOf(after));
  sum = after;
  if (CountStep const step(before, state); !step.isFlat()) {
    list(step);
  }
  return state.violation;
}

// Without a branch that depends on the assignment. Values are 0 and 1, and so
// serve as masks: the diff of a label that is on is 0.
inline void WcspLinear::listClause(CountStep const& step, Move const& move,
                                   WcspChanges& changes) const {
  changes.addUpTo(2 * fewTerms, [&](auto append) {
    for (Term const& term : terms) {
      unsigned const before = move.before[term.variable];
      unsigned const after = move.now[term.variable];
      Diffs const diffs = step.diffs(before == term.value, after == term.value);
      int const was = static_cast<int>(before);
      int const is = static_cast<int>(after);
      unsigned const first = changes.label(term.variable);
      append(first, {diffs.before & -was, diffs.after & -is});
      append(first + 1, {diffs.before & (was - 1), diffs.after & (is - 1)});
    }
  });
}

void WcspLinear::listFew(CountStep const& step, Move const& move,
                         WcspChanges& changes) const {
  for (Term const& term : terms) {
    step.add(changes, term, move.before[term.variable] == term.value,
             move.now[term.variable] == term.value);
  }
}

int WcspLinear::updateMany(Many& many, Move const& move, WcspChanges& changes) {
  std::int64_t numTaken = 0;
  for (unsigned const variable : move.moved) {
    std::size_t const k = indexOf(variable);
    bool const wasOn = move.before[variable] == terms[k].value;
    bool const isOn = move.now[variable] == terms[k].value;
    many.areOn[k / numBits] ^= std::uint64_t{wasOn != isOn} << (k % numBits);
    numTaken += (isOn ? 1 : 0) - (wasOn ? 1 : 0);
  }
  const std::int64_t after = sum + terms.front().coefficient * numTaken;
  return updateCount(after, [&](CountStep const& step) {
    listMany(step, many, move, changes);
  });
}

// The diffs of all labels that are off are the same, and so are those of the
// values beside labels that are on: mostly one of the two does not change.
void WcspLinear::listMany(CountStep const& step, Many const& many,
                          Move const& move, WcspChanges& changes) const {
  std::size_t next = 0;
  for (unsigned const variable : move.moved) {
    std::size_t const k = indexOf(variable);
    listOthers(step, many, next, k, changes);
    step.add(changes, terms[k], move.before[variable] == terms[k].value,
             move.now[variable] == terms[k].value);
    next = k + 1;
  }
  listOthers(step, many, next, terms.size(), changes);
}

void WcspLinear::listOthers(CountStep const& step, Many const& many,
                            std::size_t first, std::size_t last,
                            WcspChanges& changes) const {
  while (first < last) {
    std::size_t const begin = first / numBits * numBits;
    std::size_t const end = std::min(begin + numBits, last);
    std::uint64_t const others =
        allBits << (first - begin) & allBits >> (begin + numBits - end);
    first = end;
    std::uint64_t const on = others & many.areOn[begin / numBits];
    std::uint64_t const off = step.taking.differ() ? others & ~on : 0;
    if (!step.leaving.differ()) {
      changes.addEach(many.labels.data() + begin, off, step.taking);
      continue;
    }
    for (std::uint64_t bits = on | off; bits != 0; bits &= bits - 1) {
      auto const bit = static_cast<std::size_t>(std::countr_zero(bits));
      if ((on >> bit & 1U) != 0) {
        addValues(changes, terms[begin + bit], {0, 0}, step.leaving);
      } else {
        changes.add(many.labels[begin + bit], step.taking);
      }
    }
  }
}
