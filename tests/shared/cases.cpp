#include "tests/shared/cases.h"

#include <memory>

namespace {

constexpr std::size_t numMoves = 256;

/// `n` variables of `size` values of which `percent` per cent stand on value 0,
/// before and after each move.
Setting settingOn(unsigned n, unsigned size, unsigned percent) {
  std::mt19937 random(1);
  auto const drawValue = [&] {
    return draw(random, 100) < percent ? 0 : 1 + draw(random, size - 1);
  };
  Setting setting{std::vector<unsigned>(n, size), {}, {}};
  for (unsigned v = 0; v < n; ++v) {
    setting.start.push_back(drawValue());
  }
  for (std::size_t i = 0; i < numMoves; ++i) {
    setting.moves.push_back({draw(random, n), drawValue()});
  }
  return setting;
}

/// Moves of one variable to a random value, each followed by its undoing: the
/// assignment stays as close to `start` as a search stays to a good one.
void addMovesAndBack(Setting& setting) {
  std::mt19937 random(1);
  auto const n = static_cast<unsigned>(setting.start.size());
  while (setting.moves.size() < numMoves) {
    unsigned const v = draw(random, n);
    setting.moves.push_back({v, draw(random, setting.numValues[v])});
    setting.moves.push_back({v, setting.start[v]});
  }
}

/// `n` variables over `n` values, variable v on value v modulo `distinct`.
Setting permutation(unsigned n, unsigned distinct) {
  Setting setting{std::vector<unsigned>(n, n), {}, {}};
  for (unsigned v = 0; v < n; ++v) {
    setting.start.push_back(v % distinct);
  }
  addMovesAndBack(setting);
  return setting;
}

Setting anyValues(unsigned n, unsigned size) {
  std::mt19937 random(2);
  Setting setting{std::vector<unsigned>(n, size), {}, {}};
  for (unsigned v = 0; v < n; ++v) {
    setting.start.push_back(draw(random, size));
  }
  addMovesAndBack(setting);
  return setting;
}

/// A quarter of `n` variables stands on value 0.
template <class Kinds>
void buildCount(Wcsp& wcsp, unsigned n) {
  auto* c = new typename Kinds::Linear(&wcsp, 1);
  for (unsigned v = 0; v < n; ++v) {
    c->terms.push_back({1, v, 0});
  }
  c->lower = c->upper = static_cast<int>(n / 4);
}

/// A term for every value of every variable.
template <class Kinds>
void buildWorkload(Wcsp& wcsp, unsigned n, unsigned size) {
  auto* c = new typename Kinds::Linear(&wcsp, 1);
  for (unsigned v = 0; v < n; ++v) {
    for (unsigned a = 0; a < size; ++a) {
      c->terms.push_back({a % 5, v, a});
    }
  }
  c->upper = static_cast<int>(n);
}

template <class Kinds>
void buildClauses(Wcsp& wcsp, unsigned n, unsigned numClauses) {
  std::mt19937 random(3);
  for (unsigned i = 0; i < numClauses; ++i) {
    auto* c = new typename Kinds::Linear(&wcsp, static_cast<int>(1 + i % 9));
    for (unsigned k = 0; k < 3; ++k) {
      c->terms.push_back(
          {1, k * (n / 3) + draw(random, n / 3), draw(random, 2)});
    }
    c->lower = 1;
  }
}

template <class Kinds>
void buildEdge(Wcsp& wcsp, unsigned u, unsigned v, unsigned numColours) {
  auto* c = new typename Kinds::Quadratic(&wcsp, 1);
  for (unsigned a = 0; a < numColours; ++a) {
    addTerm(*c, 1, u, a, v, a);
  }
  c->upper = 0;
}

template <class Kinds>
void buildColouring(Wcsp& wcsp, unsigned n, unsigned numColours) {
  std::mt19937 random(4);
  for (unsigned u = 0; u < n; ++u) {
    for (unsigned v = u + 1; v < n; ++v) {
      if (draw(random, 10) == 0) {
        buildEdge<Kinds>(wcsp, u, v, numColours);
      }
    }
  }
}

template <class Kinds>
void buildAlldiff(Wcsp& wcsp, unsigned first, unsigned step, unsigned n) {
  auto* c = new typename Kinds::Alldiff(&wcsp, 10);
  for (unsigned i = 0; i < n; ++i) {
    c->variables.push_back(first + i * step);
  }
  c->maxValue = n - 1;
}

/// Flow times distance over every pair of `n` facilities and `n` places.
template <class Kinds>
void buildAssignment(Wcsp& wcsp, unsigned n) {
  std::mt19937 random(5);
  std::vector<int> distances;
  for (unsigned i = 0; i < n * n; ++i) {
    distances.push_back(static_cast<int>(1 + draw(random, 9)));
  }
  auto* c = new typename Kinds::Quadratic(&wcsp, 1);
  for (unsigned x = 0; x < n; ++x) {
    for (unsigned y = x + 1; y < n; ++y) {
      int const flow = static_cast<int>(1 + draw(random, 9));
      for (unsigned a = 0; a < n; ++a) {
        for (unsigned b = 0; b < n; ++b) {
          if (a != b) {
            addTerm(*c, flow * distances[a * n + b], x, a, y, b);
          }
        }
      }
    }
  }
  c->upper = 0;
}

/// Of `labels`, `lower` to `upper` are on.
template <class Kinds>
void buildBound(Wcsp& wcsp, int weight, int lower, int upper,
                std::vector<Move> const& labels) {
  auto* c = new typename Kinds::Linear(&wcsp, weight);
  for (Move const& label : labels) {
    c->terms.push_back({1, label.variable, label.value});
  }
  c->lower = lower;
  c->upper = upper;
}

/// A cyclic latin square: cell (i, k) has the value i + k modulo n.
Setting latinSetting(unsigned n) {
  Setting setting{std::vector<unsigned>(std::size_t{n} * n, n), {}, {}};
  for (unsigned cell = 0; cell < n * n; ++cell) {
    setting.start.push_back((cell / n + cell % n) % n);
  }
  addMovesAndBack(setting);
  return setting;
}

/// Rows and columns, and a wish for each cell.
template <class Kinds>
void buildLatin(Wcsp& wcsp, unsigned n) {
  for (unsigned i = 0; i < n; ++i) {
    buildAlldiff<Kinds>(wcsp, i * n, 1, n);
    buildAlldiff<Kinds>(wcsp, i, n, n);
  }
  std::mt19937 random(9);
  for (unsigned cell = 0; cell < n * n; ++cell) {
    buildBound<Kinds>(wcsp, 1, 1, Wcsp::inf, {{cell, draw(random, n)}});
  }
}

/// The labels (first + i * step, value) for i below `count`.
std::vector<Move> labelsOf(unsigned first, unsigned step, unsigned count,
                           unsigned value) {
  std::vector<Move> labels;
  for (unsigned i = 0; i < count; ++i) {
    labels.push_back({first + i * step, value});
  }
  return labels;
}

/// Shifts of `n` nurses on 28 days: off, early, late or night.
template <class Kinds>
void buildRoster(Wcsp& wcsp, unsigned n) {
  constexpr unsigned days = 28;
  constexpr unsigned off = 0;
  constexpr unsigned early = 1;
  constexpr unsigned late = 2;
  constexpr unsigned night = 3;
  auto const build = buildBound<Kinds>;
  for (unsigned day = 0; day < days; ++day) {
    for (unsigned const shift : {early, late, night}) {
      auto const least = static_cast<int>(n * (6 - shift) / 20);
      build(wcsp, Wcsp::inf, least, Wcsp::inf, labelsOf(day, days, n, shift));
    }
  }
  std::mt19937 random(8);
  for (unsigned first = 0; first < n * days; first += days) {
    for (unsigned v = first; v + 1 < first + days; ++v) {
      build(wcsp, Wcsp::inf, -Wcsp::inf, 1,
            {{v, night}, {v + 1, early}, {v + 1, late}});
      build(wcsp, Wcsp::inf, -Wcsp::inf, 1, {{v, late}, {v + 1, early}});
    }
    for (unsigned week = 0; week < days; week += 7) {
      build(wcsp, Wcsp::inf, 2, Wcsp::inf, labelsOf(first + week, 1, 7, off));
    }
    build(wcsp, 5, -Wcsp::inf, 14, labelsOf(first, 1, days, off));
    build(wcsp, 10, 10, Wcsp::inf, labelsOf(first, 1, days, off));
    build(wcsp, 3, -Wcsp::inf, 4, labelsOf(first, 1, days, night));
    for (unsigned i = 0; i < 5; ++i) {
      build(wcsp, static_cast<int>(1 + draw(random, 4)), 1, Wcsp::inf,
            {{first + draw(random, days), draw(random, 4)}});
    }
  }
}

/// `build(kinds, wcsp)` builds the model from the classes of `kinds`.
template <class Build>
Case makeCase(std::string const& name, Setting const& setting, Build build) {
  return {name, setting, [=](Wcsp& wcsp) { build(SolverKinds{}, wcsp); },
          [=](Wcsp& wcsp) { build(PlainKinds{}, wcsp); }};
}

std::string sized(std::string const& name, unsigned size) {
  return name + ":" + std::to_string(size);
}

void addLinearCases(std::vector<Case>& cases) {
  for (unsigned n : {8U, 64U, 512U, 4096U}) {
    for (unsigned percent : {10U, 90U}) {
      cases.push_back(makeCase(
          sized(sized("linear/count", n) + "/on", percent),
          settingOn(n, 5, percent),
          [=](auto kinds, Wcsp& w) { buildCount<decltype(kinds)>(w, n); }));
    }
  }
  cases.push_back(makeCase(
      "linear/clause", settingOn(3, 2, 50),
      [](auto kinds, Wcsp& w) { buildClauses<decltype(kinds)>(w, 3, 1); }));
  for (unsigned n : {8U, 64U, 512U}) {
    cases.push_back(makeCase(sized("linear/workload", n), anyValues(n, 16),
                             [=](auto kinds, Wcsp& w) {
                               buildWorkload<decltype(kinds)>(w, n, 16);
                             }));
  }
}

void addQuadraticCases(std::vector<Case>& cases) {
  for (unsigned size : {3U, 13U, 50U}) {
    for (unsigned percent : {5U, 90U}) {
      cases.push_back(
          makeCase(sized(sized("quadratic/edge", size) + "/on", percent),
                   settingOn(2, size, percent), [=](auto kinds, Wcsp& w) {
                     buildEdge<decltype(kinds)>(w, 0, 1, size);
                   }));
    }
  }
  for (unsigned n : {5U, 10U, 20U, 30U}) {
    cases.push_back(makeCase(
        sized("quadratic/assignment", n), permutation(n, n),
        [=](auto kinds, Wcsp& w) { buildAssignment<decltype(kinds)>(w, n); }));
  }
}

void addAlldiffCases(std::vector<Case>& cases) {
  for (unsigned n : {9U, 40U, 160U}) {
    for (unsigned distinct : {n, n / 4}) {
      cases.push_back(
          makeCase(sized(sized("alldiff", n) + "/distinct", distinct),
                   permutation(n, distinct), [=](auto kinds, Wcsp& w) {
                     buildAlldiff<decltype(kinds)>(w, 0, 1, n);
                   }));
    }
  }
}

}  // namespace

unsigned draw(std::mt19937& random, unsigned bound) {
  return std::uniform_int_distribution<unsigned>(0, bound - 1)(random);
}

void addTerm(WcspQuadratic& constraint, int coefficient, unsigned variable1,
             unsigned value1, unsigned variable2, unsigned value2) {
  constraint.terms.push_back(
      {coefficient, variable1, value1, variable2, value2});
}

void addTerm(PlainQuadratic& constraint, int coefficient, unsigned variable1,
             unsigned value1, unsigned variable2, unsigned value2) {
  constraint.addTerm(coefficient, variable1, value1, variable2, value2);
}

std::vector<Case> calculateCases() {
  std::vector<Case> cases;
  addLinearCases(cases);
  addQuadraticCases(cases);
  addAlldiffCases(cases);
  return cases;
}

std::vector<Case> quadraticModels() {
  std::vector<Case> cases;
  for (unsigned n : {20U, 30U}) {
    cases.push_back(makeCase(sized("assignment", n), permutation(n, n),
                             [=](auto kinds, Wcsp& w) {
                               buildAssignment<decltype(kinds)>(w, n);
                               buildAlldiff<decltype(kinds)>(w, 0, 1, n);
                             }));
  }
  cases.push_back(
      makeCase("colouring:500", anyValues(500, 13), [](auto kinds, Wcsp& w) {
        buildColouring<decltype(kinds)>(w, 500, 13);
      }));
  return cases;
}

std::vector<Case> linearModels() {
  std::vector<Case> cases;
  cases.push_back(makeCase(
      "latin:40", latinSetting(40),
      [](auto kinds, Wcsp& w) { buildLatin<decltype(kinds)>(w, 40); }));
  cases.push_back(makeCase(
      "roster:60", anyValues(60 * 28, 4),
      [](auto kinds, Wcsp& w) { buildRoster<decltype(kinds)>(w, 60); }));
  cases.push_back(
      makeCase("clauses:4600", anyValues(1000, 2), [](auto kinds, Wcsp& w) {
        buildClauses<decltype(kinds)>(w, 1000, 4600);
      }));
  return cases;
}
