// The solver behind `Wcsp`: its store, the incremental evaluation of penalties
// and move scores, and the tabu search with adaptive constraint weights.
//
// Internal to solver/ and its tests. The operations are grouped under the file
// that holds them. Two words need care: the `weight` of a constraint object is
// the declared one; the `weight` of its record here is the adaptive one.
//
// Invariants of the store, for `current.value` and the adaptive weights, from
// the first initialize() of a search on. bookkeepingHolds() checks them by
// number.
//  1. A record's `penalty` is the violation of its constraint.
//  2. The last calculate() or update() of its constraint was for
//     `current.value`, as far as its labels go, and `previous` equals that. The
//     diffs of a calculate() ascend strictly by label.
//  3. `current` holds the sums: hard, soft and weighted penalty.
//  4. A label's score is the sum of weight times diff over all records, its
//     `improvingCount` the number of records with a negative diff.
//  5. `candidates` holds exactly the labels with a positive `improvingCount`,
//     each at its `position`.
//  6. `violated` holds the ids of the records with a positive penalty.
//  7. `moved` notes the variables whose values in `best` and `current` differ,
//     `remeasured` the records whose penalty and `bestConstraintPenalty` do.
//     The journal of a run does the same for the run's best.
//  8. While `hasBlocks`, `leastScores` holds for each block of candidates their
//     least score or less.

#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <ios>
#include <iosfwd>
#include <limits>
#include <locale>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "solver/cpu_limit.h"
#include "solver/cpu_time.h"
#include "solver/id_lists.h"
#include "solver/id_set.h"
#include "solver/journal.h"
#include "solver/label_table.h"
#include "solver/tabulist.h"
#include "solver/wcsp.h"

/// Wide enough for any sum of weights times violations.
__extension__ typedef __int128 Int128;

/// `penalty` as it is printed and returned: at most Wcsp::inf.
int saturated(Int128 penalty);

class InterruptScope;

class RealWcsp : public Wcsp, public WcspChanges {
 public:
  static constexpr unsigned defaultMaxIteration = 2147483647;
  static constexpr unsigned defaultMaxIterationUnimproved = 2147483647;
  static constexpr double defaultMaxCpuTime = 600.0;  ///< seconds
  static constexpr int defaultRandomSeed = 1;
  static constexpr int defaultDisplay = 0;
  static constexpr unsigned defaultInterval = 0;
  static constexpr double divisorDecreaseRunLength = 2.0;
  static constexpr double multiplierIncreaseRunLength = 1.2;
  static constexpr int maxNumPhases = 30;
  static constexpr double minimumRunLength = 30.0;  ///< iterations
  static constexpr double ratioResetWeights = 0.5;
  static constexpr unsigned blockSize = 64;  ///< candidates
  static constexpr double eps = 0.000001;    ///< tolerance of the reset test
  /// A score or penalty that is not set yet.
  static constexpr double dinf = std::numeric_limits<double>::max();
  static constexpr double unknownScore = -dinf;       ///< below every score
  static constexpr unsigned uinf = IdLists::endMark;  ///< ends a list of ids

  /// The bits of the display level.
  static constexpr int displayMoves = 1;
  static constexpr int displayRuns = 2;

  struct DiffPenalty {
    unsigned label;  ///< its number in `labels`
    int diff;        ///< never 0
  };

  /// One added constraint.
  struct Constraint {
    WcspConstraint* constraint;  ///< owned by the solver
    double weight = 0.0;         ///< adaptive
    int penalty = 0;             ///< as of the last evaluation

    explicit Constraint(WcspConstraint* c) : constraint(c) {}

    bool isHard() const { return constraint->weight == inf; }
  };

  /// A constraint to evaluate after a change; the variables that concern it are
  /// those from `first` to `last` - 1 in `movedVariables`.
  struct Concern {
    unsigned id;
    unsigned first;
    unsigned last;
  };

  struct Totals {
    Int128 hardPenalty = 0;        ///< summed violation of hard constraints
    Int128 softPenalty = 0;        ///< declared weight times violation, soft
    double weightedPenalty = 0.0;  ///< adaptive weight times violation, all
    std::uint64_t iteration = 0;   ///< when it was reached
    double time = 0.0;             ///< CPU seconds; kept for `best` only

    bool isBetterThan(Totals const& other) const {
      return hardPenalty < other.hardPenalty ||
             (hardPenalty == other.hardPenalty &&
              softPenalty < other.softPenalty);
    }
  };

  struct Solution : Totals {
    std::vector<unsigned> value;  ///< one value number per variable
  };

  /// The runs and phases of one search.
  struct Run {
    Solution best;                     ///< of the run, by weighted penalty
    Journal moved;                     ///< variables, since `best`
    std::uint64_t start = 0;           ///< iteration at which it began
    double length = minimumRunLength;  ///< nominal, in iterations
    unsigned numRuns = 0;              ///< completed in this phase
    std::uint64_t sumIterations = 0;   ///< start to best, over the phase
    std::uint64_t maxIterations = 0;   ///< the same, largest
    int numPhases = 0;                 ///< ended in a row without improvement
    Int128 phaseStartHard = 0;         ///< the incumbent's penalties when the
    Int128 phaseStartSoft = 0;         ///< phase began

    /// Start to best, over the phase.
    double averageIterations() const {
      return static_cast<double>(sumIterations) / numRuns;
    }
  };

  /// What lives for one solve(initial).
  struct Search {
    Tabulist tabulist;
    CpuLimit<SystemClocks> cpuLimit;
    std::vector<unsigned> ties;   ///< best moves of a scan, or kick labels
    double bestScore = dinf;      ///< of the last scan
    std::uint64_t iteration = 1;  ///< wide enough to pass every limit
    unsigned numKicks = 0;
    std::uint64_t lastNoNeighbor = 0;  ///< latest dead end answered by a reset
    Run run;

    explicit Search(RealWcsp const& solver);
  };

  /// Keeps the numbers of the log as they are in the classic locale, while it
  /// lives, and then leaves the caller's stream as it was.
  class LogFormat {
   public:
    explicit LogFormat(std::ostream& stream);
    LogFormat(LogFormat const&) = delete;
    LogFormat& operator=(LogFormat const&) = delete;
    ~LogFormat();

   private:
    std::ostream& stream;
    std::ios_base::fmtflags flags;
    std::streamsize precision;
    std::streamsize width;
    char fill;
    std::locale locale;
  };

  std::int64_t seed = defaultRandomSeed;  ///< state of the generator
  CpuTime cpuTime;
  unsigned maxIteration = defaultMaxIteration;
  unsigned maxIterationUnimproved = defaultMaxIterationUnimproved;
  double maxCpuTime = defaultMaxCpuTime;  ///< seconds
  int display = defaultDisplay;
  unsigned interval = defaultInterval;
  int targetHard = 0;
  int targetSoft = 0;
  bool adjustment = true;
  std::ofstream logFile;
  std::ostream* log;  ///< standard output or `logFile`; not owned
  unsigned numVariables = 0;
  std::vector<unsigned> numValues;
  std::vector<Constraint> constraints;  ///< the index is the id
  unsigned numPreprocessed = 0;         ///< from id 0 on
  LabelTable labels;
  IdLists constraintIds;                  ///< by label
  std::vector<DiffPenalty> listed;        ///< of the last calculate()
  std::vector<DiffPenalty> listedBefore;  ///< compared with those
  std::vector<Concern> concerned;         ///< after a change; ids ascend
  std::vector<unsigned> movedVariables;   ///< of `concerned`
  std::vector<std::pair<unsigned, unsigned>> reached;  ///< ids and variables
  double changeWeight = 0.0;  ///< adaptive, of the constraint under evaluation
  std::vector<unsigned> previous;  ///< the values before the move under way
  /// Appends and removals leave it in an order that decides ties.
  std::vector<unsigned> candidates;
  std::vector<double> blockScores;    ///< by position, where the least is known
  std::vector<double> leastScores;    ///< by block; `unknownScore`: to be found
  bool hasBlocks = false;             ///< as of the last scan
  std::size_t minNumBlocked = 16384;  ///< candidates, for blocks to pay off
  Solution best;
  Solution current;
  std::vector<int> bestConstraintPenalty;  ///< in `best`, by id
  Journal moved;                           ///< variables, since `best`
  Journal remeasured;                      ///< records, since `best`
  IdSet violated;                          ///< records with a penalty
  bool keepInitial = true;     ///< false: improve the start greedily first
  bool isDeclared = false;     ///< initialize(n, sizes) has been called
  bool isSearched = false;     ///< a search has been started
  bool isRecorded = false;     ///< a search has recorded an assignment
  bool isCalculating = false;  ///< kept in builds with assertions only
  unsigned numChecks = 0;      ///< asked of smallBookkeepingHolds()
  double largestSum = 0.0;     ///< see noteSum()

  // wcspi.cpp: the store.
  RealWcsp();
  RealWcsp(RealWcsp const&) = delete;
  RealWcsp& operator=(RealWcsp const&) = delete;
  ~RealWcsp() override;
  void setMaxIteration(unsigned maxIteration) override;
  void setMaxIterationUnimproved(unsigned maxIteration) override;
  void setMaxCpuTime(double seconds) override;
  void setTarget(int soft) override;
  void setTarget(int hard, int soft) override;
  void setRandomSeed(int seed) override;
  void setDisplay(int display) override;
  void setInterval(unsigned interval) override;
  void setAdjustment(bool adjustment) override;
  bool setLogFileName(std::string name, bool append) override;
  void initialize(unsigned numVariables,
                  std::vector<unsigned>& numValues) override;
  unsigned getNumVariables() const override;
  unsigned getNumValues(unsigned variable) const override;
  unsigned getNumConstraints() const override;
  unsigned getValue(unsigned variable) const override;
  int getHardPenalty() const override;
  int getSoftPenalty() const override;
  int getPenalty(unsigned constraint) const override;
  unsigned addConstraint(WcspConstraint* c) override;
  void involve(unsigned constraint, unsigned variable, unsigned value) override;
  void involve(unsigned constraint, unsigned variable) override;
  void setDiffPenalty(unsigned constraint, unsigned variable, unsigned value,
                      int diff) override;
  void setDiffPenalties(unsigned constraint, unsigned variable,
                        std::span<unsigned const> values, int diff) override;

  // wcspi_evaluate.cpp: the evaluation.

  /// Evaluates `current.value` from scratch under the adaptive weights and
  /// builds `candidates` anew.
  void initialize();

  /// Evaluates one constraint for the first time: all its diffs are new.
  void evaluateFirst(Constraint& record);

  /// Evaluates one constraint again after the variables `changed` have moved.
  /// After any change of `current.value`, one call for every constraint on a
  /// label taken or left, in ascending id, restores the invariants but for
  /// `previous`; that order also fixes the order of `candidates` and of the
  /// additions to the scores.
  void evaluate(Constraint& record, std::span<unsigned const> changed);

  /// The violation of a constraint, which puts its diffs into `listed`.
  int measure(WcspConstraint& constraint, std::vector<unsigned> const& values);

  int compare(WcspConstraint& constraint) override;
  void enter(std::span<Change const> entered) override;

  /// Enters a violation into the sums.
  void setPenalty(Constraint& record, int penalty);

  /// Gives a variable a value and evaluates the constraints concerned.
  void applyMove(unsigned label);

  /// Evaluates the constraints in `concerned`.
  void evaluateConcerned();

  /// Brings the diff of a label for one constraint from one value to another.
  void changeDiff(unsigned label, Diffs diffs, double weight);
  void appendCandidate(unsigned label);
  void removeCandidate(unsigned label);

  // wcspi_check.cpp: the check of the bookkeeping.

  /// Whether the invariants hold, by their definitions. Floating-point sums may
  /// be off by rounding, as they depend on the order of additions.
  bool bookkeepingHolds();

  /// The same, taken for granted in large models and after most moves.
  bool smallBookkeepingHolds();

  /// Notes a floating-point sum for the tolerance of the check, which depends
  /// on the largest one met. In builds with assertions only.
  void noteSum([[maybe_unused]] double sum) {
#ifndef NDEBUG
    largestSum = std::max(largestSum, std::abs(sum));
#endif
  }

  /// Whether the parts of the invariants that concern the copies of `current`
  /// hold: 6 and 7, and 7 for the best of a run.
  bool journalsHold() const;
  bool blocksHold() const;
  bool runJournalHolds(Run const& run) const;

  // wcspi_random.cpp: the random generator.

  /// Advances the generator: Park and Miller's minimal standard with
  /// multiplier 48271, by Schrage's method. 1 to 2147483646.
  std::int64_t nextRandom();

  /// A random number from 0 to k - 1; k is at least 1.
  unsigned randomInt(unsigned k);

  // wcspi_search.cpp: the search.
  void solve() override;
  void solve(std::vector<unsigned> const& initial) override;

  void checkInitial(std::vector<unsigned> const& initial) const;
  void markSearched();
  void prepare(std::vector<unsigned> const& initial);

  /// Makes `current` the incumbent. Allocates nothing.
  void recordBest();

  /// Makes `copy` equal `current` where the journal says that it may differ.
  void copyCurrent(Solution& copy, Journal& journal) const;
  void improveGreedily();

  /// Fills `ties` with the labels of a variable that have the least score below
  /// `dinf` and returns that score.
  double scanValues(unsigned variable, std::vector<unsigned>& ties);
  unsigned pick(std::vector<unsigned> const& ties);
  void tabuSearch(InterruptScope& interruptScope);
  bool mustStop(Search& search) const;
  bool isTargetReached() const;

  /// Fills `ties` with the admissible moves of least score.
  void scan(Search& search);
  template <class ScoreOf>
  void scanCandidates(Search& search, std::size_t first, std::size_t last,
                      ScoreOf scoreOf) const;
  void consider(Search& search, unsigned label, double score) const;
  double findLeastScore(std::size_t first, std::size_t last);

  /// Answers a scan that found no admissible move. Returns false when the
  /// iteration ends without a move, true when `ties` holds kick labels.
  bool answersByKick(Search& search);
  void drawKick(Search& search);

  /// Moves to one of `ties`, records an improvement and updates the tabu list.
  void moveOnce(Search& search);

  // wcspi_weights.cpp: runs and phases.

  /// Keeps track of the run's best and, when the run is over, ends it. Returns
  /// true when the search must stop: too many phases without improvement.
  bool adjustWeights(Search& search);
  bool isRunOver(Search const& search) const;
  bool endRun(Search& search);
  double upperBound() const;
  void countRun(Run& run) const;
  void restoreRunBest(Search& search);
  void scaleWeights();
  bool endPhase(Run& run) const;
  void startPhase(Run& run) const;
  void increaseWeights(double bound);
  void raiseWeight(Constraint& record, double step);

  // wcspi_log.cpp: the search log, one operation per line.
  bool showsProgress(std::uint64_t iteration) const;
  void logBest(std::uint64_t iteration);
  void logGreedy();
  void logStart();
  void logProgress(std::uint64_t iteration, unsigned label, unsigned from);
  void logNoNeighbor(std::uint64_t iteration);
  void logKick(unsigned numExtra);
  void logRun(Search const& search, double bound);
  void logPhase(Run const& run);
  void logRecalculate();
  void logSummary();
  void logEndOfLine();
};
