// Tests the constraint kinds against naive evaluation, with solvers that only
// record registrations and diffs. Also tests the sort.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <new>
#include <set>
#include <utility>

#include "tests/build_model.h"
#include "tests/shared/stand_in.h"

namespace {

using naive::Assignment;
using LabelKey = std::pair<unsigned, unsigned>;  // variable, value
using Listed = std::vector<std::pair<LabelKey, int>>;

/// Implements the operations of `Wcsp` and nothing else.
struct Recorder : StandInWcsp {
  Listed recorded;
  std::vector<LabelKey> involved;
  unsigned expectedId = 0;
  int numCallsLeft = -1;  ///< a callback throws when it is 0

  using StandInWcsp::StandInWcsp;

  void call(unsigned id) {
    EXPECT_EQ(id, expectedId);
    if (numCallsLeft-- == 0) {
      throw std::bad_alloc();
    }
  }
  void involve(unsigned id, unsigned v, unsigned a) override {
    call(id);
    involved.emplace_back(v, a);
  }
  void involve(unsigned id, unsigned v) override {
    for (unsigned a = 0; a < getNumValues(v); ++a) {
      involve(id, v, a);
    }
  }
  void setDiffPenalty(unsigned id, unsigned v, unsigned a, int diff) override {
    call(id);
    EXPECT_LT(a, getNumValues(v));
    recorded.push_back({{v, a}, diff});
  }

  WcspConstraint& make(naive::Constraint const& c) {
    WcspConstraint* made = ::addConstraint(*this, c);
    expectedId = made->id;
    return *made;
  }

  /// Calls `act`; a given one of its callbacks, if it makes that many, runs out
  /// of memory.
  template <class Act>
  bool failsAfter(unsigned numCalls, Act act) {
    numCallsLeft = static_cast<int>(numCalls);
    try {
      act();
    } catch (std::bad_alloc const&) {
    }
    return std::exchange(numCallsLeft, -1) < 0;
  }

  void check(WcspConstraint& made, naive::Constraint const& c,
             Assignment const& at) {
    recorded.clear();
    expectedId = made.id;
    int const now = naive::violation(c, at);
    EXPECT_EQ(made.calculate(at), now);
    for (std::size_t i = 1; i < recorded.size(); ++i) {
      EXPECT_LT(recorded[i - 1].first, recorded[i].first);
    }
    std::erase_if(recorded, [](auto const& entry) { return !entry.second; });
    Listed expected;
    for (unsigned v = 0; v < at.size(); ++v) {
      Assignment moved = at;
      for (moved[v] = 0; moved[v] < getNumValues(v); ++moved[v]) {
        if (int const diff = naive::violation(c, moved) - now; diff != 0) {
          expected.push_back({{v, moved[v]}, diff});
        }
      }
    }
    EXPECT_EQ(recorded, expected) << testing::PrintToString(at);
  }
};

struct Shape {
  std::vector<unsigned> sizes;
  std::vector<int> numbers;
  unsigned maxTerms = 8;
  bool isCover = false;  ///< linear: a term of each variable, one coefficient
};
constexpr int inf = naive::inf;
const std::vector<Shape> shapes{
    {{3, 2, 4}, smallNumbers},
    {{1, 3, 2, 2}, smallNumbers},
    {{60, 3, 2}, smallNumbers},  // sparse: found by binary search, sorted
    {{3, 3, 3}, {-inf, 1 - inf, -1, 0, 1, inf - 1, inf}},  // 64-bit sums
    {std::vector<unsigned>(9, 2), {1}, 12, true}};

/// Every label in the terms, or every value of the variables, once.
std::vector<LabelKey> labelsOf(naive::Constraint const& c, Wcsp const& wcsp) {
  std::set<LabelKey> labels;
  for (auto const& [coefficient, first, second] : c.terms) {
    labels.insert(
        {{first.variable, first.value}, {second.variable, second.value}});
  }
  for (unsigned const v : c.variables) {
    for (unsigned a = 0; a < wcsp.getNumValues(v); ++a) {
      labels.emplace(v, a);
    }
  }
  return {labels.begin(), labels.end()};
}

naive::Constraint randomOfShape(std::mt19937& random, Kind kind,
                                Shape const& shape) {
  auto c = randomConstraint(random, kind, shape.sizes, shape.numbers,
                            shape.maxTerms);
  if (shape.isCover && kind == Kind::linear) {
    int const coefficient = shape.numbers.front();
    c.terms.clear();
    for (unsigned v = 0; v < shape.sizes.size(); ++v) {
      const naive::Label label{v, below(random, shape.sizes[v])};
      c.terms.push_back({coefficient, label, label});
    }
    c.lower = coefficient * static_cast<int>(below(random, c.terms.size()));
    c.upper = below(random, 2) == 0 ? inf : c.lower + std::abs(coefficient);
  }
  return c;
}

void checkEverywhere(std::mt19937& random, Kind kind, Shape const& shape) {
  Recorder recorder(shape.sizes);
  auto const c = randomOfShape(random, kind, shape);
  WcspConstraint& made = recorder.make(c);
  if (recorder.failsAfter(below(random, 6), [&] { made.preprocess(); })) {
    recorder.involved.clear();
    made.preprocess();  // a second time, from the start
  }
  EXPECT_EQ(recorder.involved, labelsOf(c, recorder));
  forEachAssignment(shape.sizes, [&](Assignment const& at) {
    recorder.failsAfter(below(random, 16), [&] { made.calculate(at); });
    recorder.check(made, c, at);
  });
}

TEST(Constraints, ListWhatEveryMoveWouldChange) {
  for (const Kind kind : {Kind::linear, Kind::quadratic, Kind::alldiff}) {
    for (std::size_t s = 0; s < shapes.size(); ++s) {
      for (unsigned seed = 1; seed <= 60 && !HasFailure(); ++seed) {
        SCOPED_TRACE(testing::Message() << "kind " << static_cast<int>(kind)
                                        << " shape " << s << " seed " << seed);
        std::mt19937 random(seed);
        checkEverywhere(random, kind, shapes[s]);
      }
    }
  }
}

/// Collects the diffs of updates. Each constraint exists twice: one is
/// updated, the other is evaluated from scratch.
struct Follower : RealWcsp {
  std::vector<int> diffs;  ///< by label, as the updates have left them
  unsigned nextLabel = 0;  ///< the least that an update may list
  bool fails = false;      ///< the next callback throws

  using WcspChanges::drop;

  explicit Follower(std::vector<unsigned> sizes) {
    initialize(static_cast<unsigned>(sizes.size()), sizes);
  }

  void enter(std::span<Change const> entered) override {
    if (std::exchange(fails, false)) {
      throw std::bad_alloc();
    }
    for (auto const& [label, change] : entered) {
      EXPECT_GE(label, nextLabel);
      EXPECT_LT(label, labels.size());
      nextLabel = label + 1;
      EXPECT_NE(change.before, change.after);
      EXPECT_EQ(diffs[label], change.before) << "label " << label;
      diffs[label] = change.after;
    }
  }

  WcspConstraint& make(naive::Constraint const& c) {
    WcspConstraint& made = *::addConstraint(*this, c);
    made.preprocess();
    made.prepare(*this);
    return made;
  }

  std::vector<int> diffsAt(WcspConstraint& made, Assignment const& at) {
    measure(made, at);
    std::vector<int> result(labels.size(), 0);
    for (auto const& [label, diff] : listed) {
      result[label] = diff;
    }
    return result;
  }

  /// What call(*this) returns, an update of a constraint.
  template <class Call>
  int update(Call call) {
    nextLabel = 0;
    int const violation = call(*this);
    flush();
    return violation;
  }
};

/// Moves of one variable and of several; after an update that an exception has
/// left, the constraint is evaluated anew.
void updateAtRandom(std::mt19937& random, Kind kind, Shape const& shape) {
  Follower follower(shape.sizes);
  auto const c = randomOfShape(random, kind, shape);
  WcspConstraint& updated = follower.make(c);
  WcspConstraint& twin = follower.make(c);
  WcspConstraint& other = follower.make(randomOfShape(random, kind, shape));
  auto const involved = labelsOf(c, follower);
  std::set<LabelKey> const labels(involved.begin(), involved.end());
  Assignment at(shape.sizes.size(), 0);
  auto const evaluateAnew = [&] {
    follower.diffsAt(other, at);
    follower.diffs = follower.diffsAt(updated, at);
  };
  evaluateAnew();
  for (int i = 0; i < 60 && !testing::Test::HasFailure(); ++i) {
    Assignment const before = at;
    for (unsigned k = below(random, 8) == 0 ? 5 : 1; k > 0; --k) {
      unsigned const v = below(random, at.size());
      at[v] = below(random, shape.sizes[v]);
    }
    std::vector<unsigned> moved;
    for (unsigned v = 0; v < at.size(); ++v) {
      if (at[v] != before[v] &&
          (labels.contains({v, before[v]}) || labels.contains({v, at[v]}))) {
        moved.push_back(v);
      }
    }
    if (moved.empty()) {
      continue;
    }
    follower.fails = below(random, 8) == 0;
    try {
      int const violation = follower.update([&](WcspChanges& changes) {
        return updated.update(before, at, moved, changes);
      });
      EXPECT_EQ(violation, naive::violation(c, at));
    } catch (std::bad_alloc const&) {
      follower.drop();
      evaluateAnew();
    }
    follower.fails = false;
    EXPECT_EQ(follower.diffs, follower.diffsAt(twin, at))
        << testing::PrintToString(before) << " to "
        << testing::PrintToString(at);
  }
}

/// Those above, two variables alone, many labels of which a move touches few,
/// and covers: small ones and such as need several words of bits.
std::vector<Shape> shapesOfUpdates() {
  std::vector<Shape> all = shapes;
  all.push_back({{4, 4}, smallNumbers});
  all.push_back({{12, 12}, smallNumbers});
  all.push_back({{2, 2, 2, 2, 2}, smallNumbers});
  all.push_back({{3, 3, 3, 3, 3, 3}, {1}});  // all coefficients the same
  all.push_back({std::vector<unsigned>(12, 3), smallNumbers, 40});
  all.push_back({{2, 2, 2, 2, 2}, {-2}, 8, true});
  all.push_back({std::vector<unsigned>(9, 3), {1}, 8, true});
  all.push_back({std::vector<unsigned>(64, 2), {1}, 8, true});
  all.push_back({std::vector<unsigned>(140, 3), {3}, 8, true});
  return all;
}

TEST(Constraints, UpdatesListWhatChanges) {
  const std::vector<Shape> updatedShapes = shapesOfUpdates();
  for (const Kind kind : {Kind::linear, Kind::quadratic, Kind::alldiff}) {
    for (std::size_t s = 0; s < updatedShapes.size(); ++s) {
      for (unsigned seed = 1; seed <= 400 && !HasFailure(); ++seed) {
        SCOPED_TRACE(testing::Message() << "kind " << static_cast<int>(kind)
                                        << " shape " << s << " seed " << seed);
        std::mt19937 random(seed);
        updateAtRandom(random, kind, updatedShapes[s]);
      }
    }
  }
}

TEST(Constraints, FindWhatFewTermsTouchAmongManyLabels) {
  naive::Constraint c{Kind::quadratic, 1, -inf, 0, {}, {}};
  c.terms = {{1, {0, 0}, {2, 0}}, {1, {0, 300}, {2, 0}}, {2, {1, 0}, {2, 10}}};
  for (unsigned a = 20; a <= 1000; a += 10) {
    c.terms.push_back({1, {1, 1}, {2, a}});
  }
  Recorder recorder({400, 2, 1001});
  WcspConstraint& made = recorder.make(c);
  made.preprocess();
  for (Assignment const& at : {Assignment{0, 0, 0},
                               {0, 0, 10},
                               {300, 0, 5},
                               {300, 0, 0},
                               {300, 1, 20},
                               {7, 1, 1000}}) {
    recorder.check(made, c, at);
  }
}

std::size_t numComparisons = 0;
struct CountingLessEqual {
  bool operator()(unsigned a, unsigned b) const {
    ++numComparisons;
    return a <= b;
  }
};

TEST(Sort, OrdersEveryPatternInNLogN) {
  constexpr unsigned n = 100000;  // log2 n < 17
  std::mt19937 random(1);
  const std::function<unsigned(unsigned)> patterns[] = {
      [](unsigned i) { return i; },
      [](unsigned i) { return n - i; },
      [](unsigned) { return 7U; },
      [](unsigned i) { return std::min(i, n - i); },  // organ pipe
      [](unsigned i) { return i ^ 1U; },  // the pivot is always near the least
      [](unsigned i) { return n - (i ^ 1U); },
      [](unsigned i) { return i % 2 == 0 ? i : n; },
      [&](unsigned) { return below(random, 3); },
      [&](unsigned) { return below(random, n); }};
  for (auto const& pattern : patterns) {
    for (unsigned const size : {2U, 3U, 10U, n}) {
      detail::Array<unsigned, CountingLessEqual> array;
      for (unsigned i = 0; i < size; ++i) {
        array.push_back(pattern(i));
      }
      std::vector<unsigned> sorted = array;
      std::sort(sorted.begin(), sorted.end());
      numComparisons = 0;
      array.quicksort(0, size - 1);
      EXPECT_TRUE(std::equal(sorted.begin(), sorted.end(), array.begin()));
      EXPECT_LT(numComparisons, std::size_t{n} * 17 * 10);
    }
  }
  detail::Array<unsigned, CountingLessEqual> part{9, 5, 8, 7, 6, 1};
  part.quicksort(1, 4);
  EXPECT_EQ(part,
            (detail::Array<unsigned, CountingLessEqual>{9, 5, 6, 7, 8, 1}));
}

}  // namespace
