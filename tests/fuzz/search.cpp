// The bytes select a model, options and a start file from the grammar. All
// three go through the front end. After at most 50 iterations, the bookkeeping
// must be consistent, and the penalties of the solver and of its log must equal
// those of the naive evaluation. Some models have a constraint of a user's
// kind, which may fail; then the solver must be able to search again. A last
// argument "show" prints the case before running it.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstring>
#include <iostream>

#include "front/options.h"
#include "tests/fuzz/fuzz.h"
#include "tests/naive_kinds.h"
#include "tests/plain/naive.h"

namespace {

using naive::inf;
using naive::Kind;

const std::string values[] = {"a", "0", "007", "-1", "+1", "x", "inf", "<"};

bool isShown = false;

std::string name(unsigned v) {
  char const* const names[] = {"x",        "y[1]", "EOF",        "12th",
                               "variable", "_",    "\x83\x5c@7", "in"};
  return names[v % 8] + (v < 8 ? "" : std::to_string(v));
}

// `model` is what the writer means by `text`.
struct Writer {
  FuzzedDataProvider bytes;
  naive::Model model = {};
  bool isLarge = false;
  bool hasBlocks = false;
  unsigned numCalls = 0;  ///< until the user's kind fails; 0: there is none
  std::string text = {};
  std::string start = {};
  std::vector<std::string> arguments = {"wcsp"};

  unsigned below(std::size_t k) {
    return bytes.ConsumeIntegralInRange(0U, static_cast<unsigned>(k - 1));
  }

  int number() {
    int const extremes[] = {inf, -inf, -inf - 1, inf - 1, 1000000000, 1000000};
    unsigned const kind = below(256);
    return kind < 240 ? static_cast<int>(kind % 16) - 5 : extremes[kind % 6];
  }

  void put(std::string const& token) {
    char const* const blanks[] = {" ", " ", "\n", "\r\n\t", " # c:\n"};
    text += token + blanks[below(5)];
  }

  int putNumber(int value) {
    put(value == inf && bytes.ConsumeBool() ? "inf" : std::to_string(value));
    return value;
  }

  naive::Label label() {
    unsigned const v = below(model.sizes.size());
    return {v, below(model.sizes[v])};
  }

  naive::Label putLabel() {
    const naive::Label chosen = label();
    put("(" + name(chosen.variable) + ",");
    put(values[chosen.value] + ")");
    return chosen;
  }

  void write() {
    char const* const options[] = {"-display", "-iteration",     "-interval",
                                   "-seed",    "-noimprovement", "-target"};
    for (unsigned i = below(6); i > 0; --i) {
      arguments.emplace_back(options[below(6)]);
      arguments.push_back(std::to_string(number()));
    }
    if (bytes.ConsumeBool()) {
      put("target =");
      putNumber(number());
      arguments.emplace_back("-noadjust");
    }
    // Many variables and constraints leave room in the journals.
    isLarge = bytes.ConsumeBool();
    unsigned const numVariables = 1 + below(isLarge ? 100 : 24);
    for (unsigned v = 0; v < numVariables; ++v) {
      model.sizes.push_back(1 + below(8));
      put("variable " + name(v) + " in {" + values[0]);
      for (unsigned a = 1; a < model.sizes[v]; ++a) {
        put("," + values[a]);
      }
      put("}");
    }
    for (unsigned c = below(isLarge ? 60 : 13); c > 0; --c) {
      writeConstraint(Kind{static_cast<int>(below(3))});
    }
    hasBlocks = bytes.ConsumeBool();
    numCalls = isLarge || model.constraints.empty() ? 0 : below(100);
    for (unsigned i = below(9); i > 0; --i) {
      const naive::Label chosen = label();
      start += name(chosen.variable) + ": " + values[chosen.value] + "\n";
    }
  }

  void writeConstraint(Kind kind) {
    put("c: weight =");
    naive::Constraint c{kind, putNumber(bytes.ConsumeBool() ? inf : number())};
    c.weight = std::max(c.weight, 0);
    put("type =");
    put(kind == Kind::linear      ? "linear"
        : kind == Kind::quadratic ? "quadratic"
                                  : "alldiff");
    for (unsigned i = below(17); i > 0; --i) {
      if (kind == Kind::alldiff) {
        c.variables.push_back(label().variable);
        put(name(c.variables.back()));
      } else {
        int const coefficient = putNumber(number());
        const naive::Label first = putLabel();
        c.terms.push_back(
            {coefficient, first, kind == Kind::quadratic ? putLabel() : first});
      }
    }
    unsigned const relation = kind == Kind::alldiff ? 3 : below(3);
    char const* const relations[] = {"<=", "> =", "=", ";"};
    put(relations[relation]);
    if (relation < 3) {
      int const bound = putNumber(number());
      c.upper = relation == 1 ? inf : bound;
      c.lower = relation == 0 ? -inf : bound;
    }
    model.constraints.push_back(c);
  }
};

void configure(ReadModel& read, std::vector<std::string>& arguments) {
  std::vector<char*> words;
  for (std::string& argument : arguments) {
    words.push_back(argument.data());
  }
  const Options options =
      readOptions(static_cast<int>(words.size()), words.data()).value();
  auto const limit = [](int k) { return static_cast<unsigned>(k); };
  RealWcsp& solver = read.solver;
  solver.setAdjustment(options.adjustment);
  solver.setDisplay(options.display);
  solver.setMaxIteration(limit(std::min(options.maxIteration, 50)));
  solver.setMaxIterationUnimproved(limit(options.maxIterationUnimproved));
  solver.setInterval(limit(options.interval));
  solver.setRandomSeed(options.seed);
  solver.setTarget(
      std::max(options.target == -1 ? read.target : options.target, 0));
}

// Whether the search came to its end: raising the weights may overflow, which
// leaves the incumbent but not the bookkeeping.
bool searches(ReadModel& read, std::string const& start) {
  try {
    if (start.empty()) {
      read.solver.solve();
    } else {
      read.solver.solve(read.readStart(start));
    }
    return true;
  } catch (std::runtime_error const& error) {
    require(std::strcmp(error.what(), "Negative weight; Overflow") == 0,
            "no other error ends a search");
    return false;
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  isShown = std::strcmp((*argv)[*argc - 1], "show") == 0;
  *argc -= isShown ? 1 : 0;
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data,
                                      std::size_t size) {
  Writer writer{FuzzedDataProvider(data, size)};
  writer.write();
  if (isShown) {
    for (std::string const& argument : writer.arguments) {
      std::cout << argument << ' ';
    }
    std::cout << '\n' << writer.text << "\n# Start:\n" << writer.start;
    std::cout << std::flush;
  }
  ReadModel read;
  std::ostringstream log;
  read.solver.log = &log;
  read.read(writer.text);
  configure(read, writer.arguments);
  read.solver.minNumBlocked = writer.hasBlocks ? 0 : 1000000;
  Throwing* fails = nullptr;
  if (writer.numCalls > 0) {
    writer.model.constraints.push_back(writer.model.constraints.back());
    fails = new Throwing(read.solver, writer.model.constraints.back());
    fails->numCallsLeft = static_cast<int>(writer.numCalls);
  }
  bool hasEnded = false;
  bool hasFailed = false;
  try {
    hasEnded = searches(read, writer.start);
  } catch (std::bad_alloc const&) {
    hasFailed = true;
  }
  require(!hasFailed || fails != nullptr,
          "memory is short in the user's kind alone");
  if (fails != nullptr) {
    fails->numCallsLeft = -1;
  }
  if (hasFailed) {
    hasEnded = searches(read, writer.start);
  }
  require(!hasEnded || read.solver.bookkeepingHolds(), "the bookkeeping");
  naive::Assignment best;
  for (unsigned v = 0; v < writer.model.sizes.size(); ++v) {
    best.push_back(read.solver.getValue(v));
  }
  auto const [hard, soft] = naive::totalsOf(writer.model, best);
  require(read.solver.getHardPenalty() == saturated(hard) &&
              read.solver.getSoftPenalty() == saturated(soft),
          "the totals are those of the assignment");
  for (unsigned c = 0; c < writer.model.constraints.size(); ++c) {
    require(read.solver.getPenalty(c) ==
                naive::violation(writer.model.constraints[c], best),
            "the penalties are the violations");
  }
  const std::string line = "\n# penalty = " + std::to_string(saturated(hard)) +
                           "/" + std::to_string(saturated(soft)) + " (hard";
  require(!hasEnded || log.str().find(line) != std::string::npos,
          "the log ends with the penalties");
  return 0;
}
