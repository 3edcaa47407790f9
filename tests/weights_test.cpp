// Runs, phases and the adjustment of weights, from prepared states with their
// arithmetic in comments.

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/build_model.h"

namespace {

using naive::Assignment;
using Doubles = std::vector<double>;

/// At 0 0 0, the run's best: penalties 2, 2, 0, weights 4, 8, 96, weighted
/// penalty 4 * 2 + 8 * 2 = 24; scores x1 -8, y1 -16, z1 96.
struct Prepared : TestSolver {
  RealWcsp::Search search;

  explicit Prepared(int weight0 = 4, int weight1 = 8, int weight2 = 96)
      : TestSolver({{2, 2, 2},
                    {wish(weight0, 0, 1, 2), wish(weight1, 1, 1, 2),
                     wish(weight2, 2, 0)}}),
        search(start()) {
    search.run.best = current;
    search.run.best.iteration = 20;
    search.iteration = 30;
    setDisplay(displayRuns);
  }
  RealWcsp::Search start() {
    prepare({0, 0, 0});
    recordBest();
    return RealWcsp::Search(*this);
  }
  Doubles weights() const {
    return {constraints[0].weight, constraints[1].weight,
            constraints[2].weight};
  }
  Doubles scores() const {
    return {labels.scores[labels.number(0, 1)],
            labels.scores[labels.number(1, 1)],
            labels.scores[labels.number(2, 1)]};
  }
};

TEST(Runs, EndAfterTheirLengthUnlessTheBestIsNew) {
  struct {
    unsigned iteration, start, bestIteration;
    int isOver;
    double length;
  } const rows[] = {{29, 0, 5, 0, 30},   {30, 0, 5, 1, 30},
                    {30, 0, 5, 1, 30.9}, {30, 0, 5, 0, 31},
                    {30, 0, 30, 0, 30},  {31, 0, 30, 1, 30},
                    {65, 30, 40, 0, 36}, {66, 30, 40, 1, 36}};
  for (auto const& row : rows) {
    Prepared p;
    p.search.iteration = row.iteration;
    p.search.run.start = row.start;
    p.search.run.length = row.length;
    p.search.run.best.iteration = row.bestIteration;
    EXPECT_EQ(p.isRunOver(p.search), row.isOver != 0) << &row - rows;
  }
}

TEST(Weights, AreScaledAndThenRaised) {
  Prepared p;
  p.search.run.numRuns = 1;
  p.search.run.sumIterations = p.search.run.maxIterations = 5;
  p.search.tabulist.tenure = 4;
  // Away from the run's best; the restore brings x1 back before y1.
  p.applyMove(p.labels.number(1, 1));
  p.applyMove(p.labels.number(0, 1));
  ASSERT_FALSE(p.endRun(p.search));
  EXPECT_EQ(p.current.value, (Assignment{0, 0, 0}));
  EXPECT_EQ(p.candidates,
            (std::vector{p.labels.number(0, 1), p.labels.number(1, 1)}));
  EXPECT_EQ(p.current.iteration, 0U);
  // M = 96, factor 0.5 * 24 / 96 = 0.125: weights 0.5, 1, 12, weighted penalty
  // 3, scores -1, -2, 12. Gap 24 - 3 = 21, sum of squares 4 + 4, step 2.625:
  // 0.5 + 2 * 2.625 is cut to 4, 1 + 2 * 2.625 = 6.25, 12 is not violated.
  EXPECT_EQ(p.weights(), (Doubles{4, 6.25, 12}));
  EXPECT_EQ(p.scores(), (Doubles{-1 - 2 * 3.5, -2 - 2 * 5.25, 12}));
  EXPECT_EQ(p.current.weightedPenalty, 3 + 2 * 3.5 + 2 * 5.25);
  EXPECT_TRUE(p.bookkeepingHolds());
  EXPECT_EQ(p.search.run.best.weightedPenalty, p.current.weightedPenalty);
  EXPECT_EQ(p.search.run.best.iteration, 30U);
  EXPECT_EQ(p.search.run.start, 30U);
  EXPECT_EQ(p.search.run.length, 36.0);  // 30 * 1.2
  EXPECT_EQ(p.search.run.numPhases, 1);
  EXPECT_EQ(p.search.run.numRuns, 0U);
  EXPECT_EQ(p.search.tabulist.clock, 2 + 2 * 4);
  EXPECT_EQ(p.search.tabulist.tenure, 4);
  // This run: 20 - 0 iterations to its best; (5 + 20) / 2.
  EXPECT_EQ(p.maskedText(),
            "30, T(s), #phases= 0, #runs= 1, length= 30.00, best/ub= 24/24"
            ", avg./max #iterations= 12.5/20\n");
}

TEST(Weights, ResetTestUsesTheRestoredPenalty) {
  // The bound is 1000000, the threshold 999999.
  for (auto const& [penalty, numPhases] :
       {std::pair{999999.01, 1}, {999998.99, 0}}) {
    Prepared p(600000);
    p.best.softPenalty = p.search.run.phaseStartSoft = 1000000;
    p.search.run.best.weightedPenalty = 0.0;
    p.constraints[0].weight = (penalty - 2 * 8) / 2;
    p.initialize();
    EXPECT_FALSE(p.endRun(p.search));
    EXPECT_EQ(p.search.run.numPhases, numPhases);
    EXPECT_EQ(p.search.run.numRuns, numPhases == 0 ? 1U : 0U);
  }
}

TEST(Weights, SumOfSquaresZeroRebuilds) {
  Prepared p;
  // x1 leaves `candidates` and comes back behind y1; from scratch it is first.
  p.applyMove(p.labels.number(0, 1));
  p.applyMove(p.labels.number(0, 0));
  EXPECT_EQ(p.candidates[0], p.labels.number(1, 1));
  p.current.iteration = 30;  // as good as the run's best, but not better
  p.best.hardPenalty = 1;    // the bound is 2147483647 + 24: no reset
  EXPECT_EQ(p.upperBound(), 2147483647.0 + 24);
  EXPECT_FALSE(p.adjustWeights(p.search));
  EXPECT_EQ(p.candidates[0], p.labels.number(0, 1));
  EXPECT_EQ(p.weights(), (Doubles{4, 8, 96}));
  EXPECT_EQ(p.maskedText(),
            "30, T(s), #phases= 0, #runs= 0, length= 30.00, best/ub= "
            "24/2.14748e+09\nsum squares = 0; recalculate\n");
}

TEST(Weights, OfZeroOrLessOverflow) {
  // Bound b below 24: M = 24, factor 0.5, weights 2 and 4, weighted penalty 12;
  // step (b - 12) / 8 and twice that for each weight.
  const std::pair<int, Doubles> rows[] = {
      {0, {-1, 4, 0}}, {4, {0, 4, 0}}, {6, {0.5, 2.5, 0}}};
  for (auto const& [bound, weights] : rows) {
    Prepared p(4, 8, 0);
    p.best.softPenalty = bound;
    try {
      EXPECT_FALSE(p.endRun(p.search));
      EXPECT_EQ(bound, 6);
    } catch (std::runtime_error const& error) {
      EXPECT_STREQ(error.what(), "Negative weight; Overflow");
      EXPECT_LT(bound, 6);
    }
    EXPECT_EQ(p.weights(), weights);
  }
  Prepared zeros(0, 0, 0);  // M = 0: nothing is scaled, the phase still ends
  EXPECT_FALSE(zeros.endRun(zeros.search));
  EXPECT_EQ(zeros.scores(), (Doubles{0, 0, 0}));
  EXPECT_EQ(zeros.search.run.numPhases, 1);
}

TEST(Phases, AdaptTheRunLength) {
  struct {
    double length;
    unsigned sum, numRuns;
    int improvement, numPhases;
    double newLength;
  } const rows[] = {{30, 10, 1, 0, 4, 36},
                    {30, 101, 2, 0, 4, 50.5},
                    {100, 10, 1, 1, 0, 50},
                    {50, 999, 1, 1, 0, 30},
                    {60, 10, 1, 1, 0, 30}};
  for (auto const& row : rows) {
    Prepared p;
    RealWcsp::Run& run = p.search.run;
    run.length = row.length;
    run.sumIterations = row.sum;
    run.numRuns = row.numRuns;
    run.numPhases = 3;
    p.best.softPenalty -= row.improvement;
    EXPECT_FALSE(p.endPhase(run));
    EXPECT_EQ(run.length, row.newLength);
    EXPECT_EQ(run.numPhases, row.numPhases);
  }
}

TEST(Phases, ThirtiethWithoutImprovementStopsMidLine) {
  Prepared p;
  p.search.run.numPhases = 29;
  EXPECT_TRUE(p.adjustWeights(p.search));
  EXPECT_EQ(p.weights(), (Doubles{0.5, 1, 12}));  // scaled, not raised
  EXPECT_EQ(p.search.tabulist.clock, 2);
  EXPECT_EQ(p.search.run.start, 0U);
  TestSolver solver({{2}, {wish(1, 0, 0), wish(1, 0, 1)}});  // never gains
  solver.setDisplay(RealWcsp::displayRuns);
  solver.setMaxIteration(200000);
  solver.solve({0});
  const std::string text = solver.maskedText();
  const std::string end = text.substr(text.rfind("#phases= "));
  EXPECT_TRUE(end.starts_with("#phases= 29, "));
  EXPECT_EQ(end.find('\n'), end.find("\n\n# penalty = 0/1"));
}

}  // namespace
