#include "tools/polish/reduce.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

#include "constraints/wcsp_alldiff.h"
#include "constraints/wcsp_linear.h"
#include "constraints/wcsp_quadratic.h"

namespace polish {

namespace {

using check::Int128;
using check::Label;
using Terms = std::vector<Term>;

constexpr unsigned notFree = static_cast<unsigned>(-1);

auto key(Label const& label) {
  return std::tie(label.variable, label.value);
}

bool isBefore(Term const& a, Term const& b) {
  return std::tuple(key(a.label1), key(a.label2)) <
         std::tuple(key(b.label1), key(b.label2));
}

// A constraint with bounds that may still leave the solver's range.
struct Draft {
  int weight;
  std::optional<Int128> lower;
  std::optional<Int128> upper;
  Terms terms;
};

// Sorts the terms and adds repeats into one.
void normalise(Terms& terms) {
  for (Term& term : terms) {
    if (key(term.label2) < key(term.label1)) {
      std::swap(term.label1, term.label2);
    }
  }
  std::sort(terms.begin(), terms.end(), isBefore);
  Terms merged;
  for (Term const& term : terms) {
    if (!merged.empty() && !isBefore(merged.back(), term)) {
      merged.back().coefficient += term.coefficient;
    } else {
      merged.push_back(term);
    }
  }
  std::erase_if(merged, [](Term const& term) { return term.coefficient == 0; });
  terms = std::move(merged);
}

// Bounds on the sum over all assignments. One value of a variable is on, so
// that of its single terms the least and the greatest count; every product is
// taken to be on or off by itself.
check::Range rangeOf(Terms const& terms,
                     std::vector<unsigned> const& numValues) {
  check::Range range;
  std::map<unsigned, std::pair<check::Range, unsigned>> singles;
  for (Term const& term : terms) {
    if (!term.isSingle()) {
      range.least += std::min<std::int64_t>(term.coefficient, 0);
      range.greatest += std::max<std::int64_t>(term.coefficient, 0);
      continue;
    }
    auto& [single, count] = singles[term.label1.variable];
    single.least = count == 0
                       ? term.coefficient
                       : std::min<Int128>(single.least, term.coefficient);
    single.greatest = count == 0
                          ? term.coefficient
                          : std::max<Int128>(single.greatest, term.coefficient);
    ++count;
  }
  for (auto const& [variable, entry] : singles) {
    auto const& [single, count] = entry;
    bool const canBeOff = count < numValues[variable];
    range.least += canBeOff ? std::min<Int128>(single.least, 0) : single.least;
    range.greatest +=
        canBeOff ? std::max<Int128>(single.greatest, 0) : single.greatest;
  }
  return range;
}

// Whether the solver takes the bounds for what they are: in its range, and not
// its mark of no bound.
bool areBounds(std::optional<Int128> const& lower,
               std::optional<Int128> const& upper) {
  constexpr Int128 inf = check::inf;
  return (!lower || (*lower > -inf && *lower <= inf)) &&
         (!upper || (*upper >= -inf && *upper < inf));
}

// Collects the constraints of one reduced model.
class Collector {
 public:
  explicit Collector(ReducedModel& itsModel) : model(itsModel) {}

  // Whether every bound has fitted so far.
  bool isExact = true;

  void add(Draft draft) {
    normalise(draft.terms);
    const check::Range range = rangeOf(draft.terms, model.numValues);
    if (draft.lower && range.least >= *draft.lower) {
      draft.lower.reset();
    }
    if (draft.upper && range.greatest <= *draft.upper) {
      draft.upper.reset();
    }
    if (draft.terms.empty() || (!draft.lower && !draft.upper)) {
      return;
    }
    isExact = isExact && areBounds(draft.lower, draft.upper);
    Constraint constraint;
    constraint.weight = draft.weight;
    constraint.lower = static_cast<int>(draft.lower.value_or(-check::inf));
    constraint.upper = static_cast<int>(draft.upper.value_or(check::inf));
    constraint.terms = std::move(draft.terms);
    add(std::move(constraint));
  }

  void add(Constraint constraint) {
    if (constraint.weight == check::inf || !mergeInto(constraint)) {
      model.constraints.push_back(std::move(constraint));
    }
  }

 private:
  ReducedModel& model;
  std::map<std::vector<std::int64_t>, std::size_t> numbers;  // by content

  // Adds the weight to that of an equal constraint, if there is one.
  bool mergeInto(Constraint const& constraint) {
    std::vector<std::int64_t> content = {constraint.lower, constraint.upper};
    for (Term const& term : constraint.terms) {
      content.insert(content.end(),
                     {term.coefficient, term.label1.variable, term.label1.value,
                      term.label2.variable, term.label2.value});
    }
    content.insert(content.end(), constraint.different.begin(),
                   constraint.different.end());
    auto const [entry, isNew] =
        numbers.try_emplace(std::move(content), model.constraints.size());
    if (isNew) {
      return false;
    }
    int& weight = model.constraints[entry->second].weight;
    if (weight >= check::inf - constraint.weight) {
      entry->second = model.constraints.size();
      return false;
    }
    weight += constraint.weight;
    return true;
  }
};

// Puts the fixed values into a linear or quadratic constraint.
Draft substitute(check::Constraint const& constraint,
                 Assignment const& assignment,
                 std::vector<unsigned> const& positions) {
  Draft draft{constraint.weight, std::nullopt, std::nullopt, {}};
  Int128 fixedSum = 0;
  for (check::Term const& term : constraint.terms) {
    Label free[2];
    unsigned numFree = 0;
    bool canBeOn = true;
    for (Label const& label : {term.label1, term.label2}) {
      unsigned const position = positions[label.variable];
      if (position != notFree) {
        free[numFree++] = {position, label.value};
      } else {
        canBeOn = canBeOn && assignment[label.variable] == label.value;
      }
    }
    if (!canBeOn) {
      continue;
    }
    if (numFree == 0) {
      fixedSum += term.coefficient;
    } else if (numFree == 1 || free[0].variable != free[1].variable ||
               free[0].value == free[1].value) {
      draft.terms.push_back(
          {term.coefficient, free[0], numFree == 1 ? free[0] : free[1]});
    }
  }
  if (hasLower(constraint)) {
    draft.lower = constraint.lower - fixedSum;
  }
  if (hasUpper(constraint)) {
    draft.upper = constraint.upper - fixedSum;
  }
  return draft;
}

// With a fixed variable, one constraint for each value number: at most one
// variable takes it, and no free one if a fixed one does.
void addAlldiff(Collector& collector, check::Model const& model,
                check::Constraint const& constraint,
                Assignment const& assignment,
                std::vector<unsigned> const& positions) {
  const std::vector<unsigned> variables = scopeOf(constraint);
  Constraint whole;
  for (unsigned const v : variables) {
    if (positions[v] != notFree) {
      whole.different.push_back(positions[v]);
    }
  }
  if (whole.different.size() == variables.size()) {
    whole.weight = constraint.weight;
    if (variables.size() > 1) {
      collector.add(std::move(whole));
    }
    return;
  }
  std::map<unsigned, Draft> drafts;  // by value number
  for (unsigned const v : variables) {
    for (unsigned a = 0; positions[v] != notFree && a < model.values[v].size();
         ++a) {
      const Label label{positions[v], a};
      auto& draft = drafts.try_emplace(a, Draft{constraint.weight, {}, 1, {}})
                        .first->second;
      draft.terms.push_back({1, label, label});
    }
  }
  for (unsigned const v : variables) {
    auto const draft = drafts.find(assignment[v]);
    if (positions[v] == notFree && draft != drafts.end()) {
      draft->second.upper = 0;
    }
  }
  for (auto& [value, draft] : drafts) {
    collector.add(std::move(draft));
  }
}

template <class Kind>
Kind* makeConstraint(Wcsp& solver, Constraint const& constraint) {
  // The solver owns it from its construction on.
  auto* made = new Kind(&solver, constraint.weight);
  made->lower = constraint.lower;
  made->upper = constraint.upper;
  return made;
}

}  // namespace

std::unique_ptr<Wcsp> ReducedModel::makeSolver() const {
  std::unique_ptr<Wcsp> solver(Wcsp::makeWcsp());
  std::vector<unsigned> sizes = numValues;
  solver->initialize(static_cast<unsigned>(sizes.size()), sizes);
  for (Constraint const& constraint : constraints) {
    if (!constraint.different.empty()) {
      auto* alldiff = new WcspAlldiff(solver.get(), constraint.weight);
      for (unsigned const variable : constraint.different) {
        alldiff->variables.push_back(variable);
      }
    } else if (std::all_of(constraint.terms.begin(), constraint.terms.end(),
                           [](Term const& term) { return term.isSingle(); })) {
      auto* linear = makeConstraint<WcspLinear>(*solver, constraint);
      for (auto const& [coefficient, label, same] : constraint.terms) {
        linear->terms.push_back({coefficient, label.variable, label.value});
      }
    } else {
      auto* quadratic = makeConstraint<WcspQuadratic>(*solver, constraint);
      for (auto const& [coefficient, label1, label2] : constraint.terms) {
        quadratic->terms.push_back({coefficient, label1.variable, label1.value,
                                    label2.variable, label2.value});
      }
    }
  }
  solver->setLogFileName("/dev/null", false);
  return solver;
}

Reducer::Reducer(check::Model const& itsModel)
    : model(itsModel), constraintIds(itsModel.variables.size()) {
  for (std::size_t c = 0; c < model.constraints.size(); ++c) {
    for (unsigned const variable : scopeOf(model.constraints[c])) {
      constraintIds[variable].push_back(c);
    }
  }
}

std::optional<ReducedModel> Reducer::reduce(
    Assignment const& assignment, std::vector<unsigned> const& free) const {
  ReducedModel reduced;
  std::vector<unsigned> positions(assignment.size(), notFree);
  std::vector<std::size_t> ids;
  for (unsigned const v : free) {
    positions[v] = static_cast<unsigned>(reduced.numValues.size());
    reduced.numValues.push_back(model.values[v].size());
    ids.insert(ids.end(), constraintIds[v].begin(), constraintIds[v].end());
  }
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  Collector collector(reduced);
  for (const std::size_t c : ids) {
    check::Constraint const& constraint = model.constraints[c];
    if (constraint.weight == 0) {
      continue;
    }
    if (constraint.kind == check::Constraint::alldiff) {
      addAlldiff(collector, model, constraint, assignment, positions);
    } else {
      collector.add(substitute(constraint, assignment, positions));
    }
  }
  if (!collector.isExact) {
    return std::nullopt;
  }
  return reduced;
}

}  // namespace polish
