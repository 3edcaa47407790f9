// How the cost of an iteration grows with the number of terms, of values and of
// constraints: random models of one kind of constraint each, with more
// constraints than can be satisfied at once.
//
// `steps` counts what an iteration goes over: the candidates and, of each
// constraint concerned, the diffs before and after and the labels in its terms,
// or the variables and the values of an all-different constraint.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <iterator>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "bench/bench.h"
#include "bench/stepped_search.h"
#include "tests/shared/cases.h"

namespace {

constexpr unsigned numVariables = 200;

struct Shape {
  unsigned terms = 12;  ///< of a constraint; all-different: variables
  unsigned values = 12;
  unsigned constraints = 1200;
};

using Random = std::mt19937;
using AddConstraint = void (*)(Wcsp&, Shape const&, int weight, Random&);

/// A little more than a random assignment has on.
template <class Constraint>
void demand(Constraint& constraint, unsigned sumAtRandom) {
  constraint.lower = constraint.upper = static_cast<int>(1 + sumAtRandom);
}

void addLinear(Wcsp& wcsp, Shape const& shape, int weight, Random& random) {
  auto* c = new WcspLinear(&wcsp, weight);
  for (unsigned i = 0; i < shape.terms; ++i) {
    c->terms.push_back(
        {1, draw(random, numVariables), draw(random, shape.values)});
  }
  demand(*c, shape.terms / shape.values);
}

void addQuadratic(Wcsp& wcsp, Shape const& shape, int weight, Random& random) {
  auto* c = new WcspQuadratic(&wcsp, weight);
  for (unsigned i = 0; i < shape.terms; ++i) {
    unsigned const v = draw(random, numVariables);
    unsigned const a = draw(random, shape.values);
    unsigned const distance = 1 + draw(random, numVariables - 1);
    unsigned const b = draw(random, shape.values);
    addTerm(*c, 1, v, a, (v + distance) % numVariables, b);
  }
  demand(*c, shape.terms / (shape.values * shape.values));
}

void addAlldiff(Wcsp& wcsp, Shape const& shape, int weight, Random& random) {
  auto* c = new WcspAlldiff(&wcsp, weight);
  std::vector<unsigned> variables(numVariables);
  std::iota(variables.begin(), variables.end(), 0U);
  std::sample(variables.begin(), variables.end(),
              std::back_inserter(c->variables), shape.terms, random);
  c->maxValue = shape.values - 1;
}

unsigned stepsPerConstraint(AddConstraint add, Shape const& shape) {
  if (add == addAlldiff) {
    return shape.terms + shape.values;
  }
  return add == addQuadratic ? 2 * shape.terms : shape.terms;
}

void iterate(benchmark::State& state, AddConstraint add, Shape const& shape) {
  Random random(6);
  SteppedSearch search(
      std::vector<unsigned>(numVariables, shape.values), [&](Wcsp& wcsp) {
        for (unsigned i = 0; i < shape.constraints; ++i) {
          add(wcsp, shape, static_cast<int>(1 + i % 9), random);
        }
      });
  search.start(std::vector<unsigned>(numVariables));
  for (auto _ : state) {
    search.step();
  }
  const SteppedSearch::Steps steps = search.countSteps();
  state.counters["steps"] = steps.candidates + steps.changes +
                            steps.concerned * stepsPerConstraint(add, shape);
}

void addBenchmarks(std::string const& kind, AddConstraint add) {
  auto const addShape = [&](std::string const& varied, unsigned size,
                            Shape const& shape) {
    const std::string name =
        "growth/" + kind + "/" + varied + ":" + std::to_string(size);
    benchmark::RegisterBenchmark(name.c_str(), iterate, add, shape)
        ->Unit(benchmark::kMicrosecond);
  };
  for (unsigned const size : {4U, 12U, 36U, 108U}) {
    addShape("terms", size, {.terms = size});
    addShape("values", size, {.values = size});
    addShape("constraints", 100 * size, {.constraints = 100 * size});
  }
}

}  // namespace

void addGrowthBenchmarks() {
  addBenchmarks("linear", addLinear);
  addBenchmarks("quadratic", addQuadratic);
  addBenchmarks("alldiff", addAlldiff);
}
