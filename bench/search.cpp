// Whole moves and whole iterations of the search on models as large as the
// generated workloads.
//
// The limit of an iteration is one test of the CPU limit and the loads and
// additions of the very iterations that a search has made, without its
// decisions: the score of every candidate, the terms of every constraint
// concerned, as many entries of diffs read and written as were reported, and
// every addition to a score.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/bench.h"
#include "bench/cases.h"
#include "bench/plain.h"
#include "bench/stepped_search.h"
#include "solver/wcspi.h"

namespace {

using DiffPenalty = RealWcsp::DiffPenalty;

/// How many iterations the limit repeats: as its trace is read along with the
/// data, it must not take much of the cache.
constexpr std::size_t traceLength = 256;

/// Terms of all constraints in one array.
struct FlatTerms {
  std::vector<WcspLinear::Term> terms;
  std::vector<std::size_t> begins{0};  ///< by constraint, and the end

  /// Before the constraints are prepared. An all-different constraint has a
  /// term for each variable.
  explicit FlatTerms(RealWcsp const& solver) {
    for (RealWcsp::Constraint const& record : solver.constraints) {
      if (auto* linear = dynamic_cast<WcspLinear*>(record.constraint)) {
        terms.insert(terms.end(), linear->terms.begin(), linear->terms.end());
      } else if (auto* all = dynamic_cast<WcspAlldiff*>(record.constraint)) {
        for (const unsigned variable : all->variables) {
          terms.push_back({1, variable, 0});
        }
      }
      begins.push_back(terms.size());
    }
  }
};

/// What iterations of a search have loaded and added.
struct Trace {
  struct Evaluation {
    unsigned constraint;
    std::size_t endOfChanges;  ///< in `changes`
  };
  struct Iteration {
    unsigned variable;
    unsigned value;
    std::size_t endOfEvaluations;  ///< in `evaluations`
  };

  std::vector<Iteration> iterations;
  std::vector<Evaluation> evaluations;
  std::vector<DiffPenalty> changes;  ///< of a label's diff
};

/// Appends what separates two lists of diffs.
void appendChanges(std::vector<DiffPenalty> const& before,
                   std::vector<DiffPenalty> const& after,
                   std::vector<DiffPenalty>& changes) {
  auto old = before.begin();
  for (DiffPenalty const& entry : after) {
    for (; old->label < entry.label; ++old) {
      changes.push_back({old->label, -old->diff});
    }
    const int oldDiff = old->label == entry.label ? old->diff : 0;
    if (entry.diff != oldDiff) {
      changes.push_back({entry.label, entry.diff - oldDiff});
    }
    old += old->label == entry.label ? 1 : 0;
  }
}

Trace record(SteppedSearch& search) {
  RealWcsp& solver = search.solver;
  Trace trace;
  while (trace.iterations.size() < traceLength) {
    const std::vector<unsigned> assignment = solver.current.value;
    std::vector<std::vector<DiffPenalty>> before;
    for (RealWcsp::Constraint const& constraint : solver.constraints) {
      before.push_back(constraint.diffs);
    }
    search.step();
    const auto moved = std::mismatch(assignment.begin(), assignment.end(),
                                     solver.current.value.begin());
    if (moved.first == assignment.end()) {
      continue;
    }
    for (const unsigned c : solver.concerned) {
      appendChanges(before[c], solver.constraints[c].diffs, trace.changes);
      trace.evaluations.push_back({c, trace.changes.size()});
    }
    trace.iterations.push_back(
        {static_cast<unsigned>(moved.first - assignment.begin()), *moved.second,
         trace.evaluations.size()});
  }
  return trace;
}

/// Repeats a trace over the arrays of the solver that made it.
class Repetition {
 public:
  Repetition(RealWcsp& repeated, Trace const& made, FlatTerms const& flat)
      : solver(repeated), trace(made), terms(flat) {}

  void step() {
    if (next == trace.iterations.size()) {
      next = evaluation = change = 0;
    }
    Trace::Iteration const& iteration = trace.iterations[next++];
    benchmark::DoNotOptimize(cpuLimit.isReached(solver.maxCpuTime));
    double least = RealWcsp::dinf;
    for (RealWcsp::Label const* label : solver.candidates) {
      least = std::min(least, label->score);
    }
    benchmark::DoNotOptimize(least);
    solver.current.value[iteration.variable] = iteration.value;
    for (; evaluation < iteration.endOfEvaluations; ++evaluation) {
      evaluate(trace.evaluations[evaluation]);
    }
  }

 private:
  RealWcsp& solver;
  Trace const& trace;
  FlatTerms const& terms;
  CpuLimit<SystemClocks> cpuLimit{SystemClocks(solver.cpuTime)};
  std::vector<DiffPenalty> reports;
  std::size_t next = 0;
  std::size_t evaluation = 0;
  std::size_t change = 0;

  void evaluate(Trace::Evaluation const& made) {
    std::int64_t sum = 0;
    for (std::size_t i = terms.begins[made.constraint];
         i < terms.begins[made.constraint + 1]; ++i) {
      WcspLinear::Term const& term = terms.terms[i];
      sum += solver.current.value[term.variable] == term.value
                 ? term.coefficient
                 : 0;
    }
    benchmark::DoNotOptimize(sum);
    RealWcsp::Constraint const& constraint =
        solver.constraints[made.constraint];
    reports.assign(constraint.diffs.begin(), constraint.diffs.end());
    benchmark::DoNotOptimize(reports.data());
    for (; change < made.endOfChanges; ++change) {
      auto const& [label, diff] = trace.changes[change];
      solver.labels.at(label).score += diff * constraint.weight;
    }
  }
};

void iterate(benchmark::State& state, Case const& c) {
  SteppedSearch search(c.setting.numValues, c.build);
  search.start(c.setting.start);
  for (auto _ : state) {
    search.step();
  }
}

void iterateAtLimit(benchmark::State& state, Case const& c) {
  SteppedSearch search(c.setting.numValues, c.build);
  const FlatTerms terms(search.solver);
  search.start(c.setting.start);
  const Trace trace = record(search);
  Repetition repetition(search.solver, trace, terms);
  for (auto _ : state) {
    repetition.step();
  }
}

void readClock(benchmark::State& state) {
  const CpuTime cpuTime;
  for (auto _ : state) {
    benchmark::DoNotOptimize(cpuTime());
  }
}

void testLimit(benchmark::State& state) {
  const CpuTime cpuTime;
  CpuLimit<SystemClocks> cpuLimit((SystemClocks(cpuTime)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(cpuLimit.isReached(600.0));
  }
}

void move(benchmark::State& state, Case const& c) {
  SteppedSearch search(c.setting.numValues, c.build);
  RealWcsp& solver = search.solver;
  solver.prepare(c.setting.start);
  MoveCycle cycle(c.setting.moves);
  for (auto _ : state) {
    const Move move = cycle.next();
    solver.applyMove(solver.labels[move.variable][move.value]);
  }
}

void moveInPlainStore(benchmark::State& state, Case const& c) {
  PlainStore store(c.setting.numValues);
  c.buildPlain(store);
  store.start(c.setting.start);
  MoveCycle cycle(c.setting.moves);
  for (auto _ : state) {
    const Move move = cycle.next();
    store.move(move.variable, move.value);
  }
  benchmark::DoNotOptimize(store.weightedPenalty);
}

}  // namespace

void addSearchBenchmarks() {
  using Body = void (*)(benchmark::State&, Case const&);
  const auto add = [](std::string const& name, Body body, Case const& c) {
    benchmark::RegisterBenchmark(name.c_str(), body, c)
        ->Unit(benchmark::kMicrosecond);
  };
  const auto addModel = [&](Case const& c) {
    add("move/" + c.name + "/solver", move, c);
    add("move/" + c.name + "/plain", moveInPlainStore, c);
    add("iteration/" + c.name + "/solver", iterate, c);
  };
  for (Case const& c : quadraticModels()) {
    addModel(c);
  }
  for (Case const& c : linearModels()) {
    addModel(c);
    add("iteration/" + c.name + "/limit", iterateAtLimit, c);
  }
  benchmark::RegisterBenchmark("clock/limit", testLimit)
      ->Unit(benchmark::kNanosecond);
  benchmark::RegisterBenchmark("clock", readClock)
      ->Unit(benchmark::kMicrosecond);
}
