// Compares the fast forms of the constraints and of the merge with the plain
// forms of the benchmarks, on the models of the benchmarks.

#include <gtest/gtest.h>

#include <array>

#include "solver/wcspi.h"
#include "tests/shared/cases.h"

namespace {

/// Keeps what was listed; a diff of 0 says nothing and is dropped.
class RecordingWcsp : public StandInWcsp {
 public:
  std::vector<std::array<int, 3>> listed;  ///< variable, value, diff

  using StandInWcsp::StandInWcsp;

  void setDiffPenalty(unsigned, unsigned variable, unsigned value,
                      int diff) override {
    if (diff != 0) {
      listed.push_back(
          {static_cast<int>(variable), static_cast<int>(value), diff});
    }
  }
};

TEST(Forms, ListTheSame) {
  for (Case const& c : calculateCases()) {
    RecordingWcsp solver(c.setting.numValues);
    RecordingWcsp plain(c.setting.numValues);
    c.build(solver);
    c.buildPlain(plain);
    solver.constraints.front()->preprocess();
    plain.constraints.front()->preprocess();
    std::vector<unsigned> assignment = c.setting.start;
    for (Move const& move : c.setting.moves) {
      assignment[move.variable] = move.value;
      solver.listed.clear();
      plain.listed.clear();
      ASSERT_EQ(solver.constraints.front()->calculate(assignment),
                plain.constraints.front()->calculate(assignment))
          << c.name;
      ASSERT_EQ(solver.listed, plain.listed) << c.name;
    }
  }
}

void expectSameStore(RealWcsp const& solver, PlainStore const& plain) {
  LabelTable const& labels = solver.labels;
  for (unsigned label = 0; label < labels.size(); ++label) {
    PlainStore::Label const& twin =
        plain.labels[labels.variable(label)][labels.value(label)];
    ASSERT_EQ(labels.scores[label], twin.score);
    ASSERT_EQ(static_cast<unsigned>(labels.candidacies[label].improvingCount),
              twin.improvingCount);
  }
  ASSERT_EQ(solver.candidates.size(), plain.candidates.size());
  for (std::size_t i = 0; i < plain.candidates.size(); ++i) {
    ASSERT_EQ(solver.candidates[i], labels.number(plain.candidates[i]->variable,
                                                  plain.candidates[i]->value));
  }
}

void checkModels(std::vector<Case> const& models) {
  for (Case const& c : models) {
    SCOPED_TRACE(c.name);
    RealWcsp solver;
    std::vector<unsigned> sizes = c.setting.numValues;
    solver.initialize(static_cast<unsigned>(sizes.size()), sizes);
    PlainStore plain(sizes);
    c.build(solver);
    c.buildPlain(plain);
    solver.prepare(c.setting.start);
    plain.start(c.setting.start);
    for (Move const& move : c.setting.moves) {
      solver.applyMove(solver.labels.number(move.variable, move.value));
      plain.move(move.variable, move.value);
      // Different rounding would give a different search.
      ASSERT_EQ(solver.current.weightedPenalty, plain.weightedPenalty);
    }
    expectSameStore(solver, plain);
  }
}

TEST(Forms, KeepTheSameScoresInQuadraticModels) {
  checkModels(quadraticModels());
}

TEST(Forms, KeepTheSameScoresInLinearModels) {
  checkModels(linearModels());
}

}  // namespace
