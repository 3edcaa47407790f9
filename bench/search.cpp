// Whole moves and whole iterations of the search on models as large as the
// generated workloads.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bench/bench.h"
#include "bench/stepped_search.h"
#include "solver/wcspi.h"
#include "tests/plain/forms.h"
#include "tests/shared/cases.h"

namespace {

void iterate(benchmark::State& state, Case const& c) {
  SteppedSearch search(c.setting.numValues, c.build);
  search.start(c.setting.start);
  for (auto _ : state) {
    search.step();
  }
  const SteppedSearch::Steps steps = search.countSteps();
  auto const perIteration = [&](char const* name, double count) {
    using benchmark::Counter;
    state.counters[name] = count;
    state.counters[std::string("time/") + name] =
        Counter(count, Counter::kIsIterationInvariantRate | Counter::kInvert);
  };
  perIteration("changes", steps.changes);
  perIteration("candidates", steps.candidates);
  perIteration("concerned", steps.concerned);
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
    solver.applyMove(solver.labels.number(move.variable, move.value));
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
  auto const add = [](std::string const& name, Body body, Case const& c) {
    benchmark::RegisterBenchmark(name.c_str(), body, c)
        ->Unit(benchmark::kMicrosecond);
  };
  auto const addModel = [&](Case const& c) {
    add("move/" + c.name + "/solver", move, c);
    add("move/" + c.name + "/plain", moveInPlainStore, c);
    add("iteration/" + c.name + "/solver", iterate, c);
  };
  for (Case const& c : quadraticModels()) {
    addModel(c);
  }
  for (Case const& c : linearModels()) {
    addModel(c);
  }
  benchmark::RegisterBenchmark("clock/limit", testLimit)
      ->Unit(benchmark::kNanosecond);
  benchmark::RegisterBenchmark("clock", readClock)
      ->Unit(benchmark::kMicrosecond);
}
