// Random numbers of the tool's own, the same on every processor.

#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace polish {

// The standard fixes the numbers of the engine, but not those of its
// distributions.
class Draw {
 public:
  explicit Draw(std::uint64_t seed) : engine(seed) {}

  // 0 to n - 1; n is at least 1. The bias is below n / 2^64.
  std::uint64_t below(std::uint64_t n) { return engine() % n; }

  // An index, each in proportion to its weight; one weight at least is not 0.
  std::size_t weighted(std::vector<std::uint64_t> const& weights) {
    std::uint64_t total = 0;
    for (const std::uint64_t weight : weights) {
      total += weight;
    }
    std::uint64_t rest = below(total);
    std::size_t i = 0;
    while (rest >= weights[i]) {
      rest -= weights[i++];
    }
    return i;
  }

  template <class T>
  void shuffle(std::vector<T>& items) {
    for (std::size_t i = items.size(); i > 1; --i) {
      std::swap(items[i - 1], items[below(i)]);
    }
  }

 private:
  std::mt19937_64 engine;
};

}  // namespace polish
