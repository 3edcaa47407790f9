// The benchmarks of the parts that a whole run is made of: calculate() per kind
// and size, the plain forms of the same loops, preparing a million terms, and
// reading. The solver and the plain form are compared in the same run, because
// a ratio says more than a time on an unknown machine.
//
//   calculate/CASE/solver|plain    one evaluation of one constraint
//   calculate/CASE/limit           only its loads and additions, flat arrays
//   move/CASE/solver|plain         one move: evaluations and merges
//   iteration/CASE/solver|limit    one iteration of the search
//   growth/KIND/VARIED:SIZE        one iteration on models of growing size
//   merge/SIZE/changed:PERCENT     one plain merge of two diff lists
//   prepare/KIND/ORDER             preprocess() of 1,000,000 terms, in 256 KB
//                                  of stack
//   read/KIND/file|string          reading a model

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "bench/bench.h"
#include "solver/wcspi.h"
#include "tests/plain/forms.h"
#include "tests/shared/cases.h"

namespace {

/// Evaluates along the moves of a setting; `forget` drops the diffs of the
/// evaluation before.
template <class Forget>
void calculate(benchmark::State& state, Setting const& setting,
               WcspConstraint& constraint, Forget forget) {
  constraint.preprocess();
  std::vector<unsigned> assignment = setting.start;
  MoveCycle cycle(setting.moves);
  for (auto _ : state) {
    const Move move = cycle.next();
    assignment[move.variable] = move.value;
    forget();
    benchmark::DoNotOptimize(constraint.calculate(assignment));
  }
}

void calculateInSolver(benchmark::State& state, Case const& c) {
  RealWcsp solver;
  std::vector<unsigned> sizes = c.setting.numValues;
  solver.initialize(static_cast<unsigned>(sizes.size()), sizes);
  c.build(solver);
  calculate(state, c.setting, *solver.constraints.front().constraint,
            [&] { solver.listed.clear(); });
}

void calculateInPlainStore(benchmark::State& state, Case const& c) {
  PlainStore store(c.setting.numValues);
  c.buildPlain(store);
  calculate(state, c.setting, *store.constraints.front(),
            [&] { store.records.front().next.clear(); });
}

/// The minimal work of an evaluation of the quadratic assignment with flat
/// data: for each label that is on, one row of coefficients is added to a row
/// of sums; then each sum is read once.
void limitOfAssignment(benchmark::State& state, std::size_t n) {
  const std::size_t rowLength = n * n;
  const std::vector<int> coefficients(n * n * rowLength, 3);
  std::vector<int> sums(rowLength);
  std::mt19937 random(6);
  std::vector<std::size_t> on(n);
  for (auto _ : state) {
    on[random() % n] = random() % n;
    std::fill(sums.begin(), sums.end(), 0);
    for (std::size_t x = 0; x < n; ++x) {
      int const* row = coefficients.data() + (x * n + on[x]) * rowLength;
      for (std::size_t i = 0; i < rowLength; ++i) {
        sums[i] += row[i];
      }
    }
    benchmark::DoNotOptimize(std::accumulate(sums.begin(), sums.end(), 0));
  }
}

/// Has two prepared lists in alternation, to measure the merge alone.
class Lister : public WcspConstraint {
 public:
  std::vector<int> diffs[2];  ///< by variable, of its value 0

  using WcspConstraint::WcspConstraint;

  void preprocess() override {}
  int calculate(std::vector<unsigned> const& assignment) override {
    std::vector<int> const& turn = diffs[assignment[0]];
    for (unsigned v = 0; v < turn.size(); ++v) {
      wcsp->setDiffPenalty(id, v, 0, turn[v]);
    }
    return 1;
  }
};

void mergeInPlainStore(benchmark::State& state) {
  auto const size = static_cast<unsigned>(state.range(0));
  auto const percent = static_cast<unsigned>(state.range(1));
  PlainStore store(std::vector<unsigned>(size, 2));
  auto* lister = new Lister(&store, 1);
  std::mt19937 random(7);
  for (unsigned v = 0; v < size; ++v) {
    lister->diffs[0].push_back(v % 8 == 0 ? -1 : 2);
    bool const changes = random() % 100 < percent;
    lister->diffs[1].push_back(lister->diffs[0].back() + (changes ? 1 : 0));
  }
  store.start(std::vector<unsigned>(size, 0));
  for (auto _ : state) {
    store.assignment[0] ^= 1;
    store.calculate(0);
  }
  state.SetItemsProcessed(state.iterations() * size);
}

/// Prints the usual table, then how each solver's form compares with others of
/// the same case.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  RatioReporter()
      : ConsoleReporter(isatty(STDOUT_FILENO) != 0 ? OO_ColorTabular
                                                   : OO_Tabular) {}

  void ReportRuns(std::vector<Run> const& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (Run const& run : runs) {
      if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
        const std::string name = run.run_name.function_name;
        const std::size_t slash = name.rfind('/');
        double& least = times[name.substr(0, slash)][name.substr(slash + 1)];
        double const time = run.GetAdjustedCPUTime();
        least = least == 0.0 ? time : std::min(least, time);
      }
    }
  }

  void Finalize() override {
    std::printf("\n%-40s %14s %14s\n", "case", "plain/solver", "solver/limit");
    for (auto const& [name, forms] : times) {
      if (forms.count("solver") == 0 || forms.size() == 1) {
        continue;
      }
      std::printf("%-40s", name.c_str());
      printRatio(forms, "plain", "solver");
      printRatio(forms, "solver", "limit");
      std::printf("\n");
    }
  }

 private:
  using Forms = std::map<std::string, double>;  ///< CPU time by form

  std::map<std::string, Forms> times;  ///< by case, the least repetition's

  static void printRatio(Forms const& forms, char const* over,
                         char const* under) {
    auto const dividend = forms.find(over);
    auto const divisor = forms.find(under);
    if (dividend == forms.end() || divisor == forms.end()) {
      std::printf(" %14s", "");
    } else {
      std::printf(" %14.2f", dividend->second / divisor->second);
    }
  }
};

void addCalculateBenchmarks() {
  for (Case const& c : calculateCases()) {
    const std::string name = "calculate/" + c.name;
    benchmark::RegisterBenchmark((name + "/solver").c_str(), calculateInSolver,
                                 c);
    benchmark::RegisterBenchmark((name + "/plain").c_str(),
                                 calculateInPlainStore, c);
  }
  for (std::size_t n : {5U, 10U, 20U, 30U}) {
    benchmark::RegisterBenchmark(
        ("calculate/quadratic/assignment:" + std::to_string(n) + "/limit")
            .c_str(),
        limitOfAssignment, n);
  }
}

void addMergeBenchmarks() {
  benchmark::RegisterBenchmark("merge", mergeInPlainStore)
      ->ArgNames({"size", "changed"})
      ->ArgsProduct({{10, 100, 1000, 10000}, {0, 10, 100}});
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  addCalculateBenchmarks();
  addMergeBenchmarks();
  addSearchBenchmarks();
  addGrowthBenchmarks();
  addPrepareBenchmarks();
  addReadBenchmarks();
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}
