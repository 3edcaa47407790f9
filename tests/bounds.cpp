// Solves random small models and parts of them by the exact engines, and
// compares optima and bounds with all assignments: wcsp_bounds COUNT [SEED].

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "tests/random_models.h"
#include "tools/check/evaluate.h"
#include "tools/check/model.h"
#include "tools/engines/engine.h"
#include "tools/model/encode.h"
#include "tools/model/lp_file.h"
#include "tools/polish/bound.h"
#include "tools/polish/reduce.h"

namespace {

using check::Assignment;
using check::Model;
using engines::Answer;
using engines::Engine;
using polish::Bound;
using polish::Solution;

constexpr double seconds = 60.0;

void hold(bool condition, unsigned seed, Engine const& engine,
          std::string const& what) {
  if (!condition) {
    std::printf("seed %u, %s: %s\n", seed, engine.name().c_str(), what.c_str());
    std::exit(EXIT_FAILURE);
  }
}

// The best over all values of the free variables.
Solution least(Model const& model, std::vector<unsigned> const& free,
               Assignment assignment) {
  for (unsigned const v : free) {
    assignment[v] = 0;
  }
  Solution best{assignment, evaluate(model, assignment)};
  for (;;) {
    auto v = free.begin();
    while (v != free.end() && ++assignment[*v] == model.values[*v].size()) {
      assignment[*v++] = 0;
    }
    if (v == free.end()) {
      return best;
    }
    Solution next{assignment, evaluate(model, assignment)};
    if (next.isBetterThan(best)) {
      best = std::move(next);
    }
  }
}

// The engine's solution is a best one, from a start that it takes.
void solve(Model const& model, Solution const& best, Solution const& start,
           unsigned seed, Engine& engine) {
  bool const isFeasible = best.evaluation.hard == 0;
  const lp::Program program = encode(lp::sourceOf(model), {});
  engines::Request request{seconds, {}};
  if (start.evaluation.hard == 0) {
    request.start = columnsOf(program, start.assignment);
  }
  const Answer answer = engine.solve(program, request);
  hold(answer.kind == (isFeasible ? Answer::optimal : Answer::infeasible), seed,
       engine, "the kind of answer");
  if (isFeasible) {
    const Assignment found = lp::assignmentOf(model, answer.values);
    hold(evaluate(model, found) == best.evaluation, seed, engine,
         "the penalty of the solution");
  }
}

void bound(Model const& model, Solution const& best,
           std::optional<Solution> const& report, unsigned seed,
           Engine& engine) {
  const Bound found = boundOf(model, report, engine, seconds);
  bool const isWhole =
      !report || report->evaluation.hard == best.evaluation.hard;
  const std::string shown = describe(found, std::nullopt);
  hold(found.hard == best.evaluation.hard, seed, engine,
       "the hard bound: " + shown);
  hold(found.soft ==
           (isWhole ? std::optional(best.evaluation.soft) : std::nullopt),
       seed, engine, "the soft bound: " + shown);
  const std::string text = describe(found, report);
  hold((text == "optimal, says " + engine.name()) ==
           (report && isWhole &&
            report->evaluation.soft == best.evaluation.soft),
       seed, engine, "optimal");
}

lp::Source sourceOf(polish::ReducedModel const& reduced) {
  lp::Source source;
  source.numValues = reduced.numValues;
  source.forEach = [&reduced](auto const& act) {
    for (auto const& part : reduced.constraints) {
      lp::Constraint constraint;
      constraint.weight = part.weight;
      if (part.lower != -check::inf) {
        constraint.lower = part.lower;
      }
      if (part.upper != check::inf) {
        constraint.upper = part.upper;
      }
      for (auto const& [coefficient, label1, label2] : part.terms) {
        constraint.terms.push_back({label1, label2, coefficient});
      }
      constraint.isAlldiff = !part.different.empty();
      constraint.variables = part.different;
      act(std::move(constraint));
    }
  };
  return source;
}

// The least hard penalty of a reduced model and then the least soft one lead to
// the best assignment that leaves the other variables as they are.
void reduce(Model const& model, Assignment assignment,
            random_models::Chance& chance, unsigned seed, Engine& engine) {
  std::vector<unsigned> free;
  for (unsigned v = 0; v < assignment.size(); ++v) {
    if (chance.below(3) > 0) {
      free.push_back(v);
    }
  }
  auto const reduced = polish::Reducer(model).reduce(assignment, free);
  if (!reduced || free.empty()) {
    return;
  }
  const lp::Source source = sourceOf(*reduced);
  const lp::Program hard = encode(source, {lp::Goal::hard, 0});
  const Answer first = engine.solve(hard, {seconds, {}});
  hold(first.kind == Answer::optimal && first.bound, seed, engine,
       "the hard penalty of a part");
  const lp::Goal goal{
      lp::Goal::softWithin,
      std::llround(*first.bound) + static_cast<std::int64_t>(hard.constant)};
  const Answer second = engine.solve(encode(source, goal), {seconds, {}});
  hold(second.kind == Answer::optimal, seed, engine, "a part");
  std::size_t column = 0;
  for (unsigned const v : free) {
    unsigned const size = model.values[v].size();
    for (unsigned a = 0; a < size; ++a, ++column) {
      assignment[v] = second.values[column] > 0.5 ? a : assignment[v];
    }
  }
  hold(evaluate(model, assignment) == least(model, free, assignment).evaluation,
       seed, engine, "the solution of a part");
}

}  // namespace

int main(int argc, char** argv) {
  unsigned const count =
      argc > 1 ? static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10)) : 30;
  unsigned const first =
      argc > 2 ? static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)) : 1;
  std::vector<std::unique_ptr<Engine>> engines;
  engines.push_back(engines::makeCbc());
  engines.push_back(engines::makeHighs());
  unsigned numFeasible = 0;
  for (unsigned seed = first; seed < first + count; ++seed) {
    random_models::Chance chance(seed);
    chance.most = 100;  // bounds of large penalties are rounded down
    const Model model = random_models::randomModel(chance);
    std::vector<unsigned> all(model.variables.size());
    std::iota(all.begin(), all.end(), 0U);
    const Solution best = least(model, all, Assignment(model.variables.size()));
    const Assignment assignment =
        random_models::randomAssignment(model, chance);
    const Solution other{assignment, evaluate(model, assignment)};
    numFeasible += best.evaluation.hard == 0 ? 1U : 0U;
    for (auto const& engine : engines) {
      solve(model, best, other, seed, *engine);
      reduce(model, assignment, chance, seed, *engine);
      for (auto const& report : {std::optional<Solution>(), std::optional(best),
                                 std::optional(other)}) {
        bound(model, best, report, seed, *engine);
      }
    }
  }
  std::printf("%u models, %u feasible\n", count, numFeasible);
  return numFeasible > 0 && numFeasible < count ? EXIT_SUCCESS : EXIT_FAILURE;
}
