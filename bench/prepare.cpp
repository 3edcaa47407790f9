// Benchmarks of preprocess() with a million terms, in orders that are easy and
// hard for a quicksort, on a stack of 256 KB. They reveal quadratic time and
// deep recursion.

#include <benchmark/benchmark.h>
#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bench/bench.h"
#include "constraints/wcsp_linear.h"
#include "constraints/wcsp_quadratic.h"
#include "tests/shared/stand_in.h"

namespace {

constexpr unsigned numTermLabels = 1000;
constexpr unsigned numTerms = numTermLabels * numTermLabels;

std::vector<unsigned> sortedKeys() {
  std::vector<unsigned> keys(numTerms);
  std::iota(keys.begin(), keys.end(), 0U);
  return keys;
}

std::vector<unsigned> reversedKeys() {
  std::vector<unsigned> keys = sortedKeys();
  std::reverse(keys.begin(), keys.end());
  return keys;
}

std::vector<unsigned> shuffledKeys() {
  std::vector<unsigned> keys = sortedKeys();
  std::shuffle(keys.begin(), keys.end(), std::mt19937(8));
  return keys;
}

/// One label pair and its mirror by turns.
std::vector<unsigned> equalKeys() {
  std::vector<unsigned> keys(numTerms, 1);
  for (unsigned i = 1; i < numTerms; i += 2) {
    keys[i] = numTermLabels;
  }
  return keys;
}

/// As a reader meets an ordered model: each term is followed by its mirror.
std::vector<unsigned> mirroredKeys() {
  std::vector<unsigned> keys;
  for (unsigned i = 0; i < numTermLabels; ++i) {
    keys.push_back(i * numTermLabels + i);
    for (unsigned j = i + 1; j < numTermLabels; ++j) {
      keys.push_back(i * numTermLabels + j);
      keys.push_back(j * numTermLabels + i);
    }
  }
  return keys;
}

/// Rises, then falls.
std::vector<unsigned> risingFallingKeys() {
  std::vector<unsigned> keys = sortedKeys();
  std::stable_partition(keys.begin(), keys.end(),
                        [](unsigned key) { return key % 2 == 0; });
  std::reverse(keys.begin() + numTerms / 2, keys.end());
  return keys;
}

/// Swapped neighbours: never in order, and a pivot from the first two keys
/// splits off at most two.
std::vector<unsigned> crossedKeys() {
  std::vector<unsigned> keys = sortedKeys();
  for (unsigned i = 0; i < numTerms; i += 2) {
    std::swap(keys[i], keys[i + 1]);
  }
  return keys;
}

void fillLinear(Wcsp& wcsp, std::vector<unsigned> const& keys) {
  auto* c = new WcspLinear(&wcsp, 1);
  for (unsigned key : keys) {
    c->terms.push_back({1, key / numTermLabels, key % numTermLabels});
  }
  c->upper = 1;
}

/// A key is a pair of labels; each pair comes in both orders, so that half of
/// the terms are repeats.
void fillQuadratic(Wcsp& wcsp, std::vector<unsigned> const& keys) {
  constexpr unsigned numValues = 10;
  auto* c = new WcspQuadratic(&wcsp, 1);
  for (unsigned key : keys) {
    unsigned const first = key / numTermLabels;
    unsigned const second = key % numTermLabels;
    c->terms.push_back({1, first / numValues, first % numValues,
                        second / numValues, second % numValues});
  }
  c->upper = 1;
}

struct Preparation {
  WcspConstraint* constraint;
  double seconds;
};

double threadSeconds() {
  timespec now;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) +
         static_cast<double>(now.tv_nsec) / 1e9;
}

void* prepareInThread(void* argument) {
  auto* preparation = static_cast<Preparation*>(argument);
  double const start = threadSeconds();
  preparation->constraint->preprocess();
  preparation->seconds = threadSeconds() - start;
  return nullptr;
}

/// Runs preprocess() on a stack of 256 KB: deep recursion would end the
/// program. Returns its CPU seconds.
double prepareOnSmallStack(WcspConstraint& constraint) {
  constexpr std::size_t stackSize = std::size_t{256} * 1024;
  Preparation preparation{&constraint, 0.0};
  pthread_attr_t attributes;
  pthread_t thread;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, stackSize);
  if (pthread_create(&thread, &attributes, prepareInThread, &preparation) !=
      0) {
    throw std::runtime_error("cannot start a thread with a small stack");
  }
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  return preparation.seconds;
}

using KeyMaker = std::vector<unsigned> (*)();
using TermFiller = void (*)(Wcsp&, std::vector<unsigned> const&);

void prepare(benchmark::State& state, KeyMaker makeKeys, TermFiller fill) {
  const std::vector<unsigned> keys = makeKeys();
  for (auto _ : state) {
    StandInWcsp solver(std::vector<unsigned>(numTermLabels, numTermLabels));
    fill(solver, keys);
    state.SetIterationTime(prepareOnSmallStack(*solver.constraints.front()));
  }
}

}  // namespace

void addPrepareBenchmarks() {
  const std::pair<char const*, KeyMaker> orders[] = {
      {"sorted", sortedKeys},     {"reversed", reversedKeys},
      {"shuffled", shuffledKeys}, {"equal", equalKeys},
      {"mirrored", mirroredKeys}, {"rising-falling", risingFallingKeys},
      {"crossed", crossedKeys}};
  const std::pair<char const*, TermFiller> kinds[] = {
      {"linear", fillLinear}, {"quadratic", fillQuadratic}};
  for (auto const& [kind, fill] : kinds) {
    for (auto const& [order, makeKeys] : orders) {
      benchmark::RegisterBenchmark(
          (std::string("prepare/") + kind + "/" + order).c_str(), prepare,
          makeKeys, fill)
          ->UseManualTime()
          ->Iterations(3)
          ->Unit(benchmark::kMillisecond);
    }
  }
}
