// For every label the ids of the constraints that depend on it, all lists in
// one array. New ids are noted first and merged into the array together.

#pragma once

#include <cstddef>
#include <deque>
#include <vector>

class IdLists {
 public:
  /// Ends every list; above every id.
  static constexpr unsigned endMark = 4294967295U;

  /// One empty list per label.
  void initialize(std::size_t numLabels);

  /// Notes that a constraint depends on a label. Ids come in ascending order.
  void note(unsigned label, unsigned id) { noted.push_back({label, id}); }

  /// Appends the ids noted to the lists, each once. Changes nothing when it
  /// throws.
  void merge();

  /// The ids on a label, strictly ascending, ended by `endMark`.
  unsigned const* operator[](unsigned label) const {
    return ids.data() + begins[label];
  }

 private:
  struct Entry {
    unsigned label;
    unsigned id;
  };

  std::vector<std::size_t> begins;  ///< by label
  std::vector<unsigned> ids;
  std::deque<Entry> noted;  ///< grows without a second copy of itself
};
