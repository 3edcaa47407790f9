// Collects what an update() reports, so that the solver is called once for many
// changes.

#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

#include "solver/wcsp.h"

/// Of a label, in an update.
struct Diffs {
  int before;
  int after;

  bool differ() const { return before != after; }
};

class Changes {
 public:
  explicit Changes(WcspConstraint const& updatedConstraint)
      : constraint(updatedConstraint) {}

  /// Adds a label, which ascends, if its diff has changed. A label that is not
  /// kept is written too, since a branch would be hard to foresee.
  [[gnu::always_inline]] void add(unsigned label, int before, int after) {
    if (size == changes.size()) {
      flush();
    }
    changes[size] = {label, before, after};
    size += before != after ? 1 : 0;
  }

  /// The same for the labels from `first` to `last` - 1: diffs(label) returns
  /// the pair of its diffs. The loop has no test of the room that is left.
  template <class Diffs>
  void addRange(unsigned first, unsigned last, Diffs diffs) {
    while (first < last) {
      if (size > changes.size() / 2) {
        flush();
      }
      const auto count =
          std::min<std::size_t>(last - first, changes.size() - size);
      const unsigned end = first + static_cast<unsigned>(count);
      WcspChange* change = changes.data() + size;
      for (; first < end; ++first) {
        const auto [before, after] = diffs(first);
        *change = {first, before, after};
        change += before != after ? 1 : 0;
      }
      size = static_cast<std::size_t>(change - changes.data());
    }
  }

  /// Adds those of 64 ascending labels whose bit is set, all of them with the
  /// same diffs, which differ.
  void addEach(unsigned const* labels, std::uint64_t bits, Diffs diffs) {
    if (changes.size() - size < 64) {
      flush();
    }
    WcspChange* change = changes.data() + size;
    for (; bits != 0; bits &= bits - 1) {
      *change++ = {labels[std::countr_zero(bits)], diffs.before, diffs.after};
    }
    size = static_cast<std::size_t>(change - changes.data());
  }

  /// Reports what has been added; needed at the end.
  void flush() {
    if (size > 0) {
      constraint.wcsp->changeDiffPenalties(constraint.id,
                                           std::span(changes).first(size));
      size = 0;
    }
  }

 private:
  WcspConstraint const& constraint;
  std::size_t size = 0;
  // Written before it is read.
  std::array<WcspChange, 256> changes;  // NOLINT(*-member-init)
};
