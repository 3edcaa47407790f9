// Tests the tabu list against scripts worked out by hand: all observable state
// after every step.

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "solver/tabulist.h"

namespace {

std::string stateOf(Tabulist const& list) {
  std::ostringstream out;
  out << "c" << list.clock << " r" << list.resetClock << " t" << list.tenure
      << " n" << list.numTouched << (list.diversify ? " div [" : " [");
  for (int const attribute : list.marked) {
    out << attribute;
  }
  out << "]";
  return out.str();
}

/// Each line: attribute, delta, noise, the stamp after, "|", the notes, "|",
/// the state after. Lines that begin with "#" explain.
void run(Tabulist& list, std::string const& script) {
  std::istringstream lines(script);
  double penalty = 0.0;
  for (std::string line; std::getline(lines, line);) {
    int number = 0;
    double delta = 0.0;
    int noise = 0;
    std::int64_t stamp = 0;
    std::istringstream step(line);
    if (!(step >> number >> delta >> noise >> stamp)) {
      continue;
    }
    SCOPED_TRACE(line);
    std::ostringstream text;
    list.log = &text;
    list.update(number, ++penalty, delta, noise, true);
    EXPECT_EQ("|" + text.str() + "|" + stateOf(list),
              line.substr(line.find('|')));
    auto const& a = list.attributes[static_cast<std::size_t>(number)];
    EXPECT_EQ(a.stamp, stamp);
    EXPECT_EQ(a.value, penalty);
    EXPECT_EQ(a.delta, delta);
    EXPECT_EQ(a.numTouched, list.numTouched);
    std::vector<int> positions(list.attributes.size(), Tabulist::notMarked);
    for (std::size_t m = 0; m < list.marked.size(); ++m) {
      positions[static_cast<std::size_t>(list.marked[m])] = static_cast<int>(m);
    }
    for (std::size_t b = 0; b < positions.size(); ++b) {
      EXPECT_EQ(list.attributes[b].position, positions[b]);
    }
  }
}

TEST(Tabulist, ReviewResetsTheEpoch) {
  Tabulist list(5, nullptr);
  EXPECT_EQ(stateOf(list), "c2 r2 t1 n0 []");
  run(list, R"(
# Not above the reset clock, 2 <= 2: counted again by the next step.
3 -1 0 2|, t= 1, <3>(1/5) |c3 r2 t1 n1 []
# Tabu, 3 <= 2 + 1; the tenure stays at 1 although the step is -1.
3 -1 1 4|, t= 1, <3>(2/5) [aspiration]|c4 r2 t1 n2 []
# 4 > 2 and nothing new since: cycling; -1 + 1 leaves the tenure.
3 -1 0 4|, t= 1, <3>(2/5) [aspiration][increase]|c5 r2 t1 n2 div []
0 4 0 5|, t= 1, <0>(3/5) [div][attribute 0 marked]|c6 r2 t1 n3 div [0]
# 0 is still tabu: 6 <= 5 + 1.
1 1 -1 5|, t= 1, <1>(4/5) [div][attribute 1 marked]|c7 r2 t1 n4 div [01]
# 7 > 5 + 1: both go, 1 from the place of 0. Clock 7 + 2 * 1, then + 1.
3 -2 0 9|, t= 1, <3>(4/5) [div][attribute 0 not selected][attribute 1 not selected][Reset]|c10 r9 t1 n0 [])");
}

TEST(Tabulist, TenureFollowsCyclingSelectionAndAspiration) {
  Tabulist list(7, nullptr);
  run(list, R"(
0 -1 1 3|, t= 1, <0>(1/7) |c3 r2 t1 n1 []
1 -1 0 3|, t= 1, <1>(2/7) |c4 r2 t1 n2 []
# Tabu, 4 <= 3 + 1; touched at 1, now 2: no cycling.
0 -1 0 4|, t= 1, <0>(2/7) [aspiration]|c5 r2 t1 n2 []
# 5 > 3 + 1, touched at 2 and still 2.
1 -1 0 5|, t= 1, <1>(2/7) [increase]|c6 r2 t2 n2 div []
2 4 0 6|, t= 2, <2>(3/7) [div][attribute 2 marked]|c7 r2 t2 n3 div [2]
3 2 -1 6|, t= 2, <3>(4/7) [div][attribute 3 marked]|c8 r2 t2 n4 div [23]
# 2 and 3 are still tabu: 8 <= 6 + 2.
4 1 1 9|, t= 2, <4>(5/7) [div][attribute 4 marked]|c9 r2 t2 n5 div [234]
# 9 > 6 + 2: 2 goes, 4 takes its place and stays (9 <= 9 + 2), 3 goes. Having
# come back to 2 outweighs having lost 3.
2 -4 0 9|, t= 2, <2>(5/7) [div][attribute 2 selected][attribute 3 not selected]|c10 r2 t3 n5 div [4]
# 10 <= 9 + 3 unmarks 4; -1 + 1.
4 -1 0 10|, t= 3, <4>(5/7) [div][aspiration][increase]|c11 r2 t3 n5 div []
1 1 0 11|, t= 3, <1>(5/7) [div]|c12 r2 t3 n5 div []
5 0 0 12|, t= 3, <5>(6/7) [div]|c13 r2 t3 n6 div []
# 13 <= 10 + 3.
4 -1 0 13|, t= 3, <4>(6/7) [div][aspiration]|c14 r2 t2 n6 div []
# The last attribute: 14 + 2, then + 1.
6 7 0 16|, t= 2, <6>(7/7) [div][reset all]|c17 r16 t1 n0 [])");
}

TEST(Tabulist, ClockPassesThirtyTwoBits) {
  Tabulist list(5, nullptr);
  list.clock = list.resetClock = 2147483647;
  list.update(0, 0, -1, 1, false);
  EXPECT_EQ(list.attributes[0].stamp, 2147483648);
  EXPECT_TRUE(list(0, 99, 1));
  list.tenure = 2000000000;
  list.reset();  // 2147483648 + 2 * 2000000000
  EXPECT_EQ(stateOf(list), "c6147483648 r6147483648 t2000000000 n0 []");
  EXPECT_FALSE(list(0, 99, 1));
}

TEST(Tabulist, AspiresToStrictGainsOnly) {
  double const nan = std::nan("");
  struct {
    double lastDelta, penaltyAfter, delta;
    bool isTabu;
  } const rows[] = {{-1, 9.9, -0.5, false}, {-1, 9.99995, -0.5, true},
                    {-1, 9, 0.5, true},     {-1, 9, 0, false},
                    {0, 9, -1, false},      {0, 9, 0, true},
                    {0.5, 9, -5, true},     {1e308, 9, -5, true},
                    {-1, 10, -1, true},     {-1, nan, -1, true},
                    {-1, 9, nan, true},     {-1, 9.9998, -1, false}};
  for (auto const& row : rows) {
    Tabulist list(5, nullptr);
    EXPECT_FALSE(list(3, 99, 1));
    list.update(3, 10, row.lastDelta, 0, false);
    EXPECT_EQ(list(3, row.penaltyAfter, row.delta), row.isTabu)
        << row.lastDelta << " " << row.penaltyAfter << " " << row.delta;
    list.update(0, 10, -1, 0, false);
    EXPECT_FALSE(list(3, 99, 1));  // clock 4 > 2 + 1
  }
}

}  // namespace
