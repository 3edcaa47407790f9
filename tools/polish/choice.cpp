#include "tools/polish/choice.h"

#include <algorithm>

namespace polish {

namespace {

constexpr std::uint64_t firstScore = 4000;
constexpr std::uint64_t floorScore = 100;
constexpr std::uint64_t unit = 100000;  // iterations
constexpr std::size_t smallest = 4;     // variables

}  // namespace

Choice::Choice(std::vector<PartKind> const& kinds, Sizes first,
               std::size_t numVariables)
    : largest(numVariables) {
  for (const PartKind kind : kinds) {
    for (const std::size_t size : {first.least, first.most}) {
      arms.push_back({kind, std::min(size, largest), firstScore});
    }
  }
}

std::size_t Choice::next(Draw& draw) const {
  std::vector<std::uint64_t> weights;
  for (Arm const& arm : arms) {
    weights.push_back(arm.score + floorScore);
  }
  return draw.weighted(weights);
}

void Choice::note(std::size_t number, Outcome outcome, std::uint64_t gain,
                  std::uint64_t numIterations) {
  Arm& arm = arms[number];
  arm.score =
      arm.score / 2 + gain * unit / std::max<std::uint64_t>(numIterations, 1);
  if (outcome == equal) {
    arm.size = std::min(arm.size * 13 / 10 + 1, largest);
  } else if (outcome == worse) {
    arm.size = std::max(arm.size * 9 / 10, std::min(smallest, largest));
  }
}

}  // namespace polish
