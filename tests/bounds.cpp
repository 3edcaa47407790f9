// Solves random small models by the exact engines and compares optima and
// bounds with all assignments: wcsp_bounds COUNT [SEED].

#include <cstdio>
#include <cstdlib>
#include <memory>
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

Solution least(Model const& model) {
  Assignment assignment(model.variables.size());
  Solution best{assignment, evaluate(model, assignment)};
  for (;;) {
    unsigned v = 0;
    while (v < assignment.size() && ++assignment[v] == model.values[v].size()) {
      assignment[v++] = 0;
    }
    if (v == assignment.size()) {
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
    const Solution best = least(model);
    const Assignment assignment =
        random_models::randomAssignment(model, chance);
    const Solution other{assignment, evaluate(model, assignment)};
    numFeasible += best.evaluation.hard == 0 ? 1U : 0U;
    for (auto const& engine : engines) {
      solve(model, best, other, seed, *engine);
      for (auto const& report : {std::optional<Solution>(), std::optional(best),
                                 std::optional(other)}) {
        bound(model, best, report, seed, *engine);
      }
    }
  }
  std::printf("%u models, %u feasible\n", count, numFeasible);
  return numFeasible > 0 && numFeasible < count ? EXIT_SUCCESS : EXIT_FAILURE;
}
