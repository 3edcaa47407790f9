// Benchmarks of reading a model, from a file and from memory. The megabytes per
// second are millions of bytes per CPU second.

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <istream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "bench/bench.h"
#include "front/dictionary.h"
#include "front/lexer.h"
#include "front/model_reader.h"
#include "solver/wcsp.h"

namespace {

/// A model of about 8 MB with one constraint of many terms or, for "linear",
/// many constraints of few.
std::string modelText(std::string const& kind) {
  constexpr unsigned numVariables = 2000;
  constexpr std::size_t size = 8000000;
  std::mt19937 random(9);
  std::ostringstream text;
  for (unsigned v = 0; v < numVariables; ++v) {
    text << "variable shift[" << v << "] in {early, late, night, off}\n";
  }
  auto const addLabel = [&] {
    static const char* const names[] = {"early", "late", "night", "off"};
    text << "(shift[" << random() % numVariables << "]," << names[random() % 4]
         << ")";
  };
  if (kind == "quadratic") {
    text << "costs: weight = 1 type = quadratic\n";
  }
  for (unsigned i = 0; static_cast<std::size_t>(text.tellp()) < size; ++i) {
    if (kind == "quadratic") {
      text << ' ' << random() % 1000;
      addLabel();
      addLabel();
      text << '\n';
    } else {
      text << "cover[" << i << "]: weight = 3 type = linear";
      for (unsigned k = 0; k < 8; ++k) {
        text << " 1";
        addLabel();
      }
      text << " >= 2\n";
    }
  }
  if (kind == "quadratic") {
    text << "<= 0\n";
  }
  return text.str();
}

void readStream(std::istream& stream) {
  const std::unique_ptr<Wcsp> solver(Wcsp::makeWcsp());
  Dictionary variables;
  std::vector<Dictionary*> values;
  std::vector<std::string> constraintName;
  int target = -1;
  Lexer lexer(stream, 1, Wcsp::inf);
  readModel(lexer, *solver, variables, values, constraintName, target);
  deleteAll(values);
}

void countBytes(benchmark::State& state, std::size_t size) {
  state.counters["MB/s"] =
      benchmark::Counter(static_cast<double>(size) / 1e6,
                         benchmark::Counter::kIsIterationInvariantRate);
}

void readString(benchmark::State& state, std::string const& kind) {
  const std::string text = modelText(kind);
  for (auto _ : state) {
    std::istringstream stream(text);
    readStream(stream);
  }
  countBytes(state, text.size());
}

void readFile(benchmark::State& state, std::string const& kind) {
  const std::string text = modelText(kind);
  char name[] = "/tmp/wcsp-bench-XXXXXX";  // mkstemp() replaces the Xs
  int const descriptor = mkstemp(name);
  if (descriptor < 0) {
    state.SkipWithError("cannot make a temporary file");
    return;
  }
  close(descriptor);
  std::ofstream(name) << text;
  for (auto _ : state) {
    std::ifstream stream(name);
    readStream(stream);
  }
  countBytes(state, text.size());
  static_cast<void>(std::remove(name));
}

}  // namespace

void addReadBenchmarks() {
  for (char const* kind : {"linear", "quadratic"}) {
    const std::string name = std::string("read/") + kind;
    benchmark::RegisterBenchmark((name + "/file").c_str(), readFile, kind)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((name + "/string").c_str(), readString, kind)
        ->Unit(benchmark::kMillisecond);
  }
}
