// A set of ids as bits, which are gone over in ascending order, 64 at a time
// where there are none.

#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

class IdSet {
 public:
  /// Empty, for ids below `limit`.
  void reset(std::size_t limit) { words.assign((limit + 63) / 64, 0); }

  /// Adds an id that is absent, removes one that is there.
  void flip(unsigned id) { words[id / 64] ^= std::uint64_t{1} << id % 64; }

  /// Calls `act` for each id, ascending.
  template <class Act>
  void forEach(Act act) const {
    for (std::size_t i = 0; i < words.size(); ++i) {
      for (std::uint64_t word = words[i]; word != 0; word &= word - 1) {
        act(static_cast<unsigned>(64 * i) +
            static_cast<unsigned>(std::countr_zero(word)));
      }
    }
  }

 private:
  std::vector<std::uint64_t> words;
};
