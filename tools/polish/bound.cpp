#include "tools/polish/bound.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <tuple>

#include "tools/check/report.h"
#include "tools/check/text.h"
#include "tools/engines/child.h"
#include "tools/model/encode.h"

namespace polish {

namespace {

using check::Int128;
using engines::Answer;
using engines::Engine;
using lp::Goal;

// What an engine says about one goal.
struct Claim {
  bool isInfeasible = false;
  bool isOptimal = false;
  std::optional<Int128> least;
  std::string error;
};

// Penalties are whole numbers, so a bound is rounded up, after a little that
// the engine's tolerance may have added.
Int128 roundedUp(double bound) {
  constexpr double tolerance = 1e-6;
  return static_cast<Int128>(
      std::ceil(bound - tolerance * std::max(1.0, std::abs(bound))));
}

double secondsUntil(engines::Time deadline) {
  return std::chrono::duration<double>(deadline -
                                       std::chrono::steady_clock::now())
      .count();
}

Claim claimOf(check::Model const& model, Goal goal,
              std::optional<Solution> const& start, Engine& engine,
              engines::Time deadline) {
  const lp::Program program = encode(lp::sourceOf(model), goal);
  engines::Request request;
  request.seconds = secondsUntil(deadline);
  if (request.seconds <= 0.0) {
    return {};
  }
  if (start) {
    request.start = columnsOf(program, start->assignment);
  }
  const Answer answer = engine.solve(program, request);
  Claim claim;
  claim.isInfeasible = answer.kind == Answer::infeasible;
  claim.isOptimal = answer.kind == Answer::optimal;
  claim.error = answer.error;
  constexpr double range = 1e30;
  if (!claim.isInfeasible && answer.bound && std::abs(*answer.bound) < range) {
    claim.least =
        std::max<Int128>(roundedUp(*answer.bound) + program.constant, 0);
  }
  return claim;
}

[[noreturn]] void refuse(std::string const& claim) {
  throw std::runtime_error(claim +
                           ": the report refutes this, so its numbers are "
                           "beyond the accuracy of the engine");
}

std::string penaltyText(Int128 hard, Int128 soft) {
  check::Evaluation evaluation;
  evaluation.hard = hard;
  evaluation.soft = soft;
  return check::penaltyText(evaluation);
}

// "at most 0.8 % above", rounded up; without a per cent of 0.
std::string distanceText(Int128 soft, Int128 bound) {
  if (bound == 0) {
    return "at most " + check::decimal(soft) + " above";
  }
  const Int128 permille = ((soft - bound) * 1000 + bound - 1) / bound;
  return "at most " + check::decimal(permille / 10) + "." +
         check::decimal(permille % 10) + " % above";
}

// Whether it is a bound of both penalties that the solution has.
bool isProof(Bound const& bound, std::optional<Solution> const& solution) {
  return solution && bound.soft && bound.hard == solution->evaluation.hard &&
         bound.soft == solution->evaluation.soft;
}

}  // namespace

Bound boundOf(check::Model const& model,
              std::optional<Solution> const& solution, Engine& engine,
              double seconds) {
  const engines::Time deadline = engines::after(seconds);
  bool const isFeasible = solution && solution->evaluation.hard == 0;
  Bound bound{engine.name(), std::nullopt, std::nullopt, ""};
  Int128 leastHard = 0;
  if (!solution || isFeasible) {
    const Claim claim = claimOf(model, {}, solution, engine, deadline);
    if (claim.isInfeasible && isFeasible) {
      refuse(engine.name() + " finds no assignment without hard violations");
    }
    if (!claim.isInfeasible) {
      bound.hard = claim.least ? std::optional<Int128>(0) : std::nullopt;
      bound.soft = claim.least;
      bound.error = claim.error;
      return bound;
    }
    leastHard = 1;
  }
  const Claim hard =
      claimOf(model, {Goal::hard, 0}, solution, engine, deadline);
  bound.error = hard.error;
  if (hard.least || leastHard > 0) {
    bound.hard = std::max(hard.least.value_or(0), leastHard);
  }
  bool const isLeast =
      hard.least &&
      (solution ? solution->evaluation.hard == bound.hard : hard.isOptimal);
  if (isLeast && bound.hard <= std::numeric_limits<std::int64_t>::max()) {
    const Goal goal{Goal::softWithin, static_cast<std::int64_t>(*bound.hard)};
    bound.soft = claimOf(model, goal, solution, engine, deadline).least;
  }
  return bound;
}

Bound boundOf(check::Model const& model,
              std::optional<Solution> const& solution,
              std::vector<std::unique_ptr<Engine>> const& engines,
              double seconds) {
  const engines::Time deadline = engines::after(seconds);
  Bound best;
  for (std::size_t i = 0; i < engines.size() && !isProof(best, solution); ++i) {
    double const share =
        secondsUntil(deadline) / static_cast<double>(engines.size() - i);
    const Bound next = boundOf(model, solution, *engines[i], share);
    if (i == 0 ||
        std::tie(best.hard, best.soft) < std::tie(next.hard, next.soft)) {
      best = next;
    }
  }
  return best;
}

std::string describe(Bound const& bound,
                     std::optional<Solution> const& solution) {
  if (!bound.hard) {
    return "no bound from " + bound.engine +
           (bound.error.empty() ? "" : ": " + bound.error);
  }
  std::string claim =
      "hard: at least " + check::decimal(*bound.hard) + "; soft: no bound";
  if (bound.soft) {
    claim = bound.engine + " reports a lower bound of " +
            penaltyText(*bound.hard, *bound.soft);
  }
  if (!solution) {
    return claim;
  }
  Int128 const hard = solution->evaluation.hard;
  Int128 const soft = solution->evaluation.soft;
  if (std::tie(hard, soft) < std::tuple(*bound.hard, bound.soft.value_or(0))) {
    refuse(claim);
  }
  if (!bound.soft) {
    return claim;
  }
  if (isProof(bound, solution)) {
    return "optimal, says " + bound.engine;
  }
  return claim + "; this report has " + penaltyText(hard, soft) + ", " +
         distanceText(soft, *bound.soft);
}

}  // namespace polish
