// Solvers share only the interrupt: in several threads, they write the same
// logs as alone. The thread sanitizer checks the same program.

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "front/model_reader.h"
#include "tests/build_model.h"

namespace {

/// Models of all kinds and forms, each solved with two seeds.
constexpr char const* examples[] = {"nurse-roster", "hospital-layout",
                                    "frequency-assignment", "sudoku"};
constexpr std::size_t numSolvers = 8;

/// The log, without its times, of two searches one after the other.
std::string logOf(std::size_t number) {
  TestSolver solver({});
  solver.isDeclared = false;
  std::ifstream file(std::string(WCSP_SOURCE_DIR "/examples/") +
                     examples[number % std::size(examples)] + ".model");
  Lexer lexer(file, 1, Wcsp::inf);
  Dictionary variables;
  std::vector<Dictionary*> values;
  std::vector<std::string> names;
  int target = -1;
  readModel(lexer, solver, variables, values, names, target);
  deleteAll(values);
  solver.setRandomSeed(static_cast<int>(number) + 1);
  solver.setDisplay(3);
  solver.setInterval(1);
  solver.setMaxIteration(400);
  solver.solve();
  solver.solve();
  return solver.maskedText();
}

TEST(Threads, EachWritesTheLogThatItWritesAlone) {
  std::vector<std::string> together(numSolvers);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < numSolvers; ++i) {
    threads.emplace_back([&together, i] { together[i] = logOf(i); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (std::size_t i = 0; i < numSolvers; ++i) {
    const std::string alone = logOf(i);
    EXPECT_GT(alone.size(), 10000U);
    EXPECT_EQ(together[i], alone) << i;
  }
}

// A solver prepared by one thread may go on in another one.
TEST(Threads, ASearchMayGoOnInAnotherThread) {
  std::mt19937 random(3);
  const naive::Model model = randomModel(random, 9, 30);
  auto const solveTwice = [&](bool isElsewhere) {
    TestSolver solver(model);
    solver.setMaxIteration(300);
    solver.setDisplay(3);
    solver.setInterval(1);
    solver.solve();
    if (isElsewhere) {
      std::thread([&] { solver.solve(); }).join();
    } else {
      solver.solve();
    }
    return solver.maskedText();
  };
  EXPECT_EQ(solveTwice(true), solveTwice(false));
}

}  // namespace
