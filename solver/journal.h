// Which entries of a long array have changed since a copy of it was made: the
// copy is brought up to date without a look at the others.
//
// A journal has room for an eighth of the entries. A full one means that any
// may have changed; going over all of them then costs at most eight times the
// changes that filled it.

#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

class Journal {
 public:
  /// For an array of so many entries, each of which may have changed. Only this
  /// allocates.
  void reset(std::size_t numEntries) {
    size = numEntries;
    noted.resize(numEntries / 8);
    noteAll();
  }

  /// An entry may be noted several times.
  void note(unsigned entry) {
    if (!isFull()) {
      noted[numNoted++] = entry;
    }
  }
  void noteAll() { numNoted = noted.size(); }

  /// The copy is up to date.
  void clear() { numNoted = 0; }

  /// Calls `act` at least once for each entry that may have changed.
  template <class Act>
  void forEach(Act act) const {
    if (isFull()) {
      for (unsigned entry = 0; entry < size; ++entry) {
        act(entry);
      }
    } else {
      std::for_each_n(noted.begin(), numNoted, act);
    }
  }

 private:
  std::size_t size = 0;         ///< of the array
  std::vector<unsigned> noted;  ///< the first `numNoted` are valid
  std::size_t numNoted = 0;

  bool isFull() const { return numNoted == noted.size(); }
};
