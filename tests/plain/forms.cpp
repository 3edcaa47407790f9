// The straightforward forms of calculate() and of the diff-list merge. They are
// written for clarity. Do not optimise them: they are the baseline of
// benchmarks.

#include "tests/plain/forms.h"

#include <algorithm>
#include <stdexcept>
#include <tuple>
#include <utility>

int plainViolation(std::int64_t sum, int lower, int upper) {
  std::int64_t violation = 0;
  if (upper != Wcsp::inf && sum > upper) { violation = sum - upper; }
  if (lower != -Wcsp::inf && sum < lower) { violation = lower - sum; }
  return static_cast<int>(std::min<std::int64_t>(violation, Wcsp::inf));
}

void PlainLinear::preprocess() {
  std::sort(terms.begin(), terms.end(), [](Term const& a, Term const& b) {
    return std::tie(a.variable, a.value) < std::tie(b.variable, b.value);
  });
  std::vector<Term> merged;
  for (Term const& t : terms) {
    if (!merged.empty() && merged.back().variable == t.variable && merged.back().value == t.value) {
      merged.back().coefficient += t.coefficient;
    } else {
      merged.push_back(t);
    }
  }
  terms = std::move(merged);
  for (Term const& t : terms) { wcsp->involve(id, t.variable, t.value); }
}

int PlainLinear::calculate(std::vector<unsigned> const& assignment) {
  std::int64_t sum = 0;
  for (Term const& t : terms) {
    if (assignment[t.variable] == t.value) { sum += t.coefficient; }
  }
  int const now = plainViolation(sum, lower, upper);
  for (std::size_t begin = 0; begin < terms.size();) {
    std::size_t end = begin;
    while (end < terms.size() && terms[end].variable == terms[begin].variable) { ++end; }
    listBlock(begin, end, sum, now, assignment);
    begin = end;
  }
  return now;
}

void PlainLinear::listBlock(std::size_t begin, std::size_t end, std::int64_t sum, int now,
                            std::vector<unsigned> const& assignment) {
  unsigned const x = terms[begin].variable;
  std::size_t current = begin;
  while (current < end && terms[current].value != assignment[x]) { ++current; }
  if (current == end) {
    for (std::size_t i = begin; i < end; ++i) {
      wcsp->setDiffPenalty(id, x, terms[i].value,
                           plainViolation(sum + terms[i].coefficient, lower, upper) - now);
    }
    return;
  }
  std::size_t cursor = begin;
  for (unsigned a = 0; a < wcsp->getNumValues(x); ++a) {
    std::int64_t change = -terms[current].coefficient;
    if (cursor < end && terms[cursor].value == a) {
      change += terms[cursor].coefficient;
      ++cursor;
    }
    wcsp->setDiffPenalty(id, x, a, plainViolation(sum + change, lower, upper) - now);
  }
}

namespace {

auto keyOf(PlainQuadratic::Term const& t) {
  return std::tie(t.variable1, t.value1, t.variable2, t.value2);
}

auto mirroredKeyOf(PlainQuadratic::Term const& t) {
  return std::tie(t.variable2, t.value2, t.variable1, t.value1);
}

}  // namespace

void PlainQuadratic::addTerm(std::int64_t coefficient, unsigned variable1, unsigned value1,
                             unsigned variable2, unsigned value2) {
  terms.push_back(std::make_unique<Term>(
      Term{coefficient, variable1, value1, variable2, value2, nullptr, nullptr}));
  Term* const own = terms.back().get();
  own->pair = own;
  if (variable1 != variable2 || value1 != value2) {
    terms.push_back(std::make_unique<Term>(
        Term{coefficient, variable2, value2, variable1, value1, nullptr, own}));
    own->pair = terms.back().get();
  }
}

void PlainQuadratic::preprocess() {
  std::sort(terms.begin(), terms.end(),
            [](auto const& a, auto const& b) { return keyOf(*a) < keyOf(*b); });
  mergeRepeats();
  makeLabels();
  for (auto const& label : labels) { wcsp->involve(id, label->variable, label->value); }
}

void PlainQuadratic::mergeRepeats() {
  std::vector<std::unique_ptr<Term>> merged;
  for (auto& t : terms) {
    if (!merged.empty() && keyOf(*merged.back()) == keyOf(*t)) {
      merged.back()->coefficient += t->coefficient;
    } else {
      merged.push_back(std::move(t));
    }
  }
  if (merged.size() < terms.size()) {
    // Which of several equal terms survived depends on the sort, so pairs are
    // found anew.
    for (auto& t : merged) {
      t->pair = std::lower_bound(merged.begin(), merged.end(), t, [](auto const& a, auto const& b) {
                  return keyOf(*a) < mirroredKeyOf(*b);
                })->get();
    }
  }
  terms = std::move(merged);
}

void PlainQuadratic::makeLabels() {
  for (std::size_t i = 0; i < terms.size(); ++i) {
    Term& t = *terms[i];
    if (labels.empty() || labels.back()->variable != t.variable1 ||
        labels.back()->value != t.value1) {
      labels.push_back(std::make_unique<Label>());
      labels.back()->variable = t.variable1;
      labels.back()->value = t.value1;
      labels.back()->begin = i;
    }
    t.label = labels.back().get();
    t.label->end = i + 1;
  }
  for (auto& label : labels) {
    std::size_t i = label->begin;
    while (i < label->end && terms[i]->variable2 < label->variable) { ++i; }
    label->sameVariableTerm = i;
    while (i < label->end && terms[i]->variable2 == label->variable &&
           terms[i]->value2 < label->value) {
      ++i;
    }
    label->selfTerm = i;
    if (i < label->end && terms[i]->pair == terms[i].get()) {
      label->selfCoefficient = terms[i]->coefficient;
    }
  }
}

std::int64_t PlainQuadratic::accumulate(std::vector<unsigned> const& assignment) {
  for (auto& label : labels) { label->sum = 0; }
  std::int64_t sum = 0;
  for (auto const& label : labels) {
    if (assignment[label->variable] != label->value) { continue; }
    for (std::size_t i = label->begin; i < label->selfTerm; ++i) {
      terms[i]->pair->label->sum += terms[i]->coefficient;
    }
    for (std::size_t i = label->selfTerm; i < label->end; ++i) {
      Term const& t = *terms[i];
      t.pair->label->sum += t.coefficient;
      if (assignment[t.variable2] == t.value2) { sum += t.coefficient; }
    }
  }
  return sum;
}

int PlainQuadratic::calculate(std::vector<unsigned> const& assignment) {
  std::int64_t const sum = accumulate(assignment);
  int const now = plainViolation(sum, lower, upper);
  for (std::size_t begin = 0; begin < labels.size();) {
    std::size_t end = begin;
    while (end < labels.size() && labels[end]->variable == labels[begin]->variable) { ++end; }
    listBlock(begin, end, sum, now, assignment);
    begin = end;
  }
  return now;
}

void PlainQuadratic::listBlock(std::size_t begin, std::size_t end, std::int64_t sum, int now,
                               std::vector<unsigned> const& assignment) {
  unsigned const x = labels[begin]->variable;
  for (std::size_t i = begin; i < end; ++i) {
    if (labels[i]->value == assignment[x]) {
      listBlockFrom(*labels[i], begin, end, sum, now);
      return;
    }
  }
  for (std::size_t i = begin; i < end; ++i) {
    Label const& label = *labels[i];
    wcsp->setDiffPenalty(
        id, x, label.value,
        plainViolation(sum + label.sum + label.selfCoefficient, lower, upper) - now);
  }
}

void PlainQuadratic::listBlockFrom(Label const& current, std::size_t begin, std::size_t end,
                                   std::int64_t sum, int now) {
  unsigned const x = current.variable;
  std::size_t cursor = begin;
  std::size_t joint = current.sameVariableTerm;
  for (unsigned a = 0; a < wcsp->getNumValues(x); ++a) {
    std::int64_t change = -current.sum;
    if (cursor < end && labels[cursor]->value == a) {
      Label const& label = *labels[cursor];
      change += label.sum + label.selfCoefficient;
      if (joint < current.end && terms[joint]->variable2 == x && terms[joint]->value2 == a) {
        if (terms[joint]->pair->label != &label) { throw std::runtime_error("!"); }
        change -= terms[joint]->coefficient;
        ++joint;
      }
      ++cursor;
    }
    wcsp->setDiffPenalty(id, x, a, plainViolation(sum + change, lower, upper) - now);
  }
}

void PlainAlldiff::preprocess() {
  std::sort(variables.begin(), variables.end());
  variables.erase(std::unique(variables.begin(), variables.end()), variables.end());
  for (unsigned x : variables) { wcsp->involve(id, x); }
}

int PlainAlldiff::calculate(std::vector<unsigned> const& assignment) {
  std::vector<unsigned> counters(std::size_t{maxValue} + 1, 0);
  int violation = 0;
  for (unsigned x : variables) {
    if (++counters[assignment[x]] >= 2) { ++violation; }
  }
  std::vector<unsigned> used;
  std::vector<unsigned> free;
  for (unsigned a = 0; a < counters.size(); ++a) { (counters[a] > 0 ? used : free).push_back(a); }
  for (unsigned x : variables) {
    bool const alone = counters[assignment[x]] <= 1;
    unsigned const size = wcsp->getNumValues(x);
    for (unsigned a : alone ? used : free) {
      if (a != assignment[x] && a < size) { wcsp->setDiffPenalty(id, x, a, alone ? 1 : -1); }
    }
  }
  return violation;
}

PlainStore::PlainStore(std::vector<unsigned> domainSizes)
    : StandInWcsp(std::move(domainSizes)), labels(numValues.size()) {
  for (unsigned v = 0; v < labels.size(); ++v) {
    labels[v].resize(numValues[v]);
    for (unsigned a = 0; a < labels[v].size(); ++a) {
      labels[v][a].variable = v;
      labels[v][a].value = a;
    }
  }
}

unsigned PlainStore::addConstraint(WcspConstraint* c) {
  records.emplace_back();
  return StandInWcsp::addConstraint(c);
}

void PlainStore::involve(unsigned constraint, unsigned variable, unsigned value) {
  labels[variable][value].constraintIds.push_back(constraint);
}

void PlainStore::involve(unsigned constraint, unsigned variable) {
  for (Label& label : labels[variable]) { label.constraintIds.push_back(constraint); }
}

void PlainStore::setDiffPenalty(unsigned constraint, unsigned variable, unsigned value, int diff) {
  if (diff != 0) { records[constraint].next.push_back({&labels[variable][value], diff}); }
}

void PlainStore::start(std::vector<unsigned> const& initial) {
  assignment = initial;
  for (unsigned c = 0; c < records.size(); ++c) {
    constraints[c]->preprocess();
    records[c].weight = constraints[c]->weight;
  }
  for (unsigned c = 0; c < records.size(); ++c) { calculate(c); }
}

void PlainStore::calculate(unsigned constraint) {
  Record& record = records[constraint];
  record.previous.swap(record.next);
  record.next.clear();
  int const penalty = constraints[constraint]->calculate(assignment);
  weightedPenalty += (penalty - record.penalty) * record.weight;
  merge(record);
  record.penalty = penalty;
}

void PlainStore::merge(Record const& record) {
  auto const isBefore = [](Label const& a, Label const& b) {
    return std::tie(a.variable, a.value) < std::tie(b.variable, b.value);
  };
  auto before = record.previous.begin();
  auto after = record.next.begin();
  while (before != record.previous.end() || after != record.next.end()) {
    if (after == record.next.end() ||
        (before != record.previous.end() && isBefore(*before->label, *after->label))) {
      update(*before->label, before->diff, 0, record.weight);
      ++before;
    } else if (before == record.previous.end() || isBefore(*after->label, *before->label)) {
      update(*after->label, 0, after->diff, record.weight);
      ++after;
    } else {
      update(*after->label, before->diff, after->diff, record.weight);
      ++before;
      ++after;
    }
  }
}

void PlainStore::update(Label& label, int before, int after, double weight) {
  if (before < 0 && after >= 0) {
    if (--label.improvingCount == 0) { removeCandidate(label); }
  } else if (before >= 0 && after < 0) {
    if (++label.improvingCount == 1) {
      label.position = candidates.size();
      candidates.push_back(&label);
    }
  }
  label.score += static_cast<double>(std::int64_t{after} - std::int64_t{before}) * weight;
}

void PlainStore::removeCandidate(Label& label) {
  candidates[label.position] = candidates.back();
  candidates[label.position]->position = label.position;
  candidates.pop_back();
}

void PlainStore::move(unsigned variable, unsigned value) {
  std::vector<unsigned> const& left = labels[variable][assignment[variable]].constraintIds;
  std::vector<unsigned> const& taken = labels[variable][value].constraintIds;
  assignment[variable] = value;
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < left.size() || j < taken.size()) {
    unsigned const next =
        j == taken.size() || (i < left.size() && left[i] <= taken[j]) ? left[i] : taken[j];
    calculate(next);
    while (i < left.size() && left[i] == next) { ++i; }
    while (j < taken.size() && taken[j] == next) { ++j; }
  }
}
