// The container in which each constraint kind keeps the data that it sorts once
// before the search starts.

#pragma once

#include <algorithm>
#include <bit>
#include <utility>
#include <vector>

/// A std::vector that can sort itself. `Cmp(a, b)` says whether a sorts at or
/// before b; two elements are equal when it holds both ways.
template <class T, class Cmp>
class Array : public std::vector<T> {
 public:
  using std::vector<T>::vector;

  /// Sorts the elements `first` to `last`, both included, into non-decreasing
  /// order: quicksort, with heap sort where the partitions come out too uneven.
  /// Equal elements may end in any order. O(n log n) time, O(log n) stack.
  void quicksort(unsigned first, unsigned last) {
    const auto depth = std::bit_width(static_cast<std::size_t>(last) - first);
    sortRange(first, last, 2 * static_cast<unsigned>(depth));
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

  void sortRange(unsigned first, unsigned last, unsigned depth) {
    while (first < last && !isOrdered(first, last)) {
      if (depth == 0) {
        heapSort(first, last);
        return;
      }
      --depth;
      const unsigned middle = partition(first, last);
      if (middle - first < last - middle) {
        sortRange(first, middle - 1, depth);
        first = middle;
      } else {
        sortRange(middle, last, depth);
        last = middle - 1;
      }
    }
  }

  /// Whether the range ascends, after turning it round if it descends. Models
  /// are often written in order, the worst case of the pivot rule.
  bool isOrdered(unsigned first, unsigned last) {
    const auto begin = this->begin() + first;
    const auto end = this->begin() + last + 1;
    const auto strictlyAfter = [this](T const& a, T const& b) {
      return !cmp(a, b);
    };
    if (std::adjacent_find(begin, end, strictlyAfter) == end) {
      return true;
    }
    const auto strictlyBefore = [this](T const& a, T const& b) {
      return !cmp(b, a);
    };
    if (std::adjacent_find(begin, end, strictlyBefore) == end) {
      std::reverse(begin, end);
      return true;
    }
    return false;
  }

  /// Puts what sorts strictly before the pivot, the larger of the first two
  /// distinct keys, ahead of the rest and returns where the rest begins. Needs
  /// a range with two distinct keys; both parts come out non-empty.
  unsigned partition(unsigned first, unsigned last) {
    std::vector<T>& a = *this;
    unsigned k = first + 1;
    while (cmp(a[first], a[k]) && cmp(a[k], a[first])) {
      ++k;
    }
    const T pivot = cmp(a[first], a[k]) ? a[k] : a[first];
    unsigned l = first;
    unsigned r = last;
    for (;;) {
      while (!cmp(pivot, a[l])) {
        ++l;
      }
      while (cmp(pivot, a[r])) {
        --r;
      }
      if (l > r) {
        return l;
      }
      std::swap(a[l], a[r]);
      ++l;
      --r;
    }
  }

  void heapSort(unsigned first, unsigned last) {
    // The library wants a strict order: the converse of cmp, negated.
    const auto less = [this](T const& a, T const& b) { return !cmp(b, a); };
    std::make_heap(this->begin() + first, this->begin() + last + 1, less);
    std::sort_heap(this->begin() + first, this->begin() + last + 1, less);
  }
};
