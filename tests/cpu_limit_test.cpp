// Tests the CPU time limit with injected clocks: decisions must be those of a
// reading at every check.

#include "solver/cpu_limit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace {

/// What time is it, and how often was the question put to the system.
struct World {
  double monotonic = 100.0;
  double user = 0.0;
  double total = 0.0;
  bool fails = false;
  unsigned numReadings = 0;
};

struct WorldClocks {
  World* world;
  double numProcessors;

  std::optional<SystemClocks::Reading> readCpu() const {
    ++world->numReadings;
    if (world->fails) {
      return std::nullopt;
    }
    return SystemClocks::Reading{world->user, world->total};
  }
  double readMonotonic() const { return world->monotonic; }
};

/// Threads on all processors, a stopped process, a share of system time that
/// is reckoned anew, readings that fail, a monotonic clock that runs slow.
void pass(World& world, std::mt19937& random, unsigned numProcessors) {
  std::uniform_real_distribution<double> share(0.0, 1.0);
  double const seconds = std::pow(10.0, -6.0 + 5.0 * share(random));
  world.monotonic += seconds * 0.99;
  if (random() % 4 != 0) {
    world.total +=
        seconds * numProcessors * (random() % 2 == 0 ? 1.0 : share(random));
    world.user =
        std::max(world.user,
                 random() % 3 == 0 ? world.total : world.total * share(random));
  }
  world.fails = random() % 50 == 0;
}

TEST(CpuLimit, IsDecidedAsIfReadAtEveryQuestion) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  double const limits[] = {0.0, -1.0, 1e-6, 0.5, 3.0, 600.0, infinity, NAN};
  for (unsigned seed = 1; seed <= 400; ++seed) {
    std::mt19937 random(seed);
    unsigned const numProcessors = 1 + seed % 5;
    double limit = limits[seed % std::size(limits)];
    World world;
    CpuLimit<WorldClocks> tested(
        WorldClocks{&world, static_cast<double>(numProcessors)});
    bool isReached = false;
    for (int i = 0; i < 500 && !isReached; ++i) {
      isReached = (world.fails ? 0.0 : world.user) >= limit;
      ASSERT_EQ(tested.isReached(limit), isReached) << seed << " at " << i;
      pass(world, random, numProcessors);
      if (random() % 200 == 0) {  // a caller may change it
        limit = limits[random() % std::size(limits)];
      }
    }
  }
}

TEST(CpuLimit, ReadsSeldomUntilTheLimitIsNear) {
  World world;
  CpuLimit<WorldClocks> tested(WorldClocks{&world, 2.0});
  unsigned numQuestions = 0;
  while (!tested.isReached(600.0)) {
    world.monotonic += 0.001;
    world.user = world.total += 0.001;
    ++numQuestions;
  }
  EXPECT_NEAR(numQuestions, 600000, 1);
  EXPECT_LT(world.numReadings, 100U);
}

TEST(CpuLimit, ReadsEveryTimeWhereTheProcessorsAreUnknown) {
  World world;
  CpuLimit<WorldClocks> tested(WorldClocks{&world, 0.0});
  for (unsigned i = 1; i <= 3; ++i) {
    EXPECT_FALSE(tested.isReached(600.0));
    EXPECT_EQ(world.numReadings, i);
  }
}

}  // namespace
