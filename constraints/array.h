// The container in which each constraint kind keeps the data that it sorts once
// before the search starts.

#pragma once

#include <algorithm>
#include <vector>

namespace detail {

/// A std::vector that can sort itself. `Cmp(a, b)` says whether a sorts at or
/// before b; two elements are equal when it holds both ways.
template <class T, class Cmp>
class Array : public std::vector<T> {
 public:
  using std::vector<T>::vector;

  /// Sorts the elements `first` to `last`, both included, into non-decreasing
  /// order. Equal elements may end in any order. O(n log n) time, O(log n)
  /// stack.
  void quicksort(unsigned first, unsigned last) {
    auto const less = [this](T const& a, T const& b) { return !cmp(b, a); };
    auto const begin = this->begin() + first;
    auto const end = this->begin() + last + 1;
    // Models are often written in order.
    if (!std::is_sorted(begin, end, less)) {
      std::sort(begin, end, less);
    }
  }

  /// Keeps the first of each group of equal elements of a sorted array, after
  /// `add(first, other)` for every other one.
  template <class Add>
  void mergeEqual(Add add) {
    std::vector<T>& a = *this;
    std::size_t size = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
      if (size > 0 && cmp(a[i], a[size - 1])) {
        add(a[size - 1], a[i]);
      } else {
        a[size++] = a[i];
      }
    }
    a.resize(size);
  }

 private:
  [[no_unique_address]] Cmp cmp;
};

}  // namespace detail
