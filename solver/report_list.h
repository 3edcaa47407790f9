// The diffs that a constraint reports while it is evaluated, in the order in
// which they come. One list serves all evaluations and keeps its storage.

#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

template <class Report>
class ReportList {
 public:
  void clear() { end = storage.data(); }

  void append(Report const& report) {
    if (end == limit) {
      grow(1);
    }
    *end++ = report;
  }

  /// Makes room for `count` reports at the end, which the caller writes.
  Report* extend(std::size_t count) {
    if (static_cast<std::size_t>(limit - end) < count) {
      grow(count);
    }
    end += count;
    return end - count;
  }

  Report const* data() const { return storage.data(); }
  std::size_t size() const {
    return static_cast<std::size_t>(end - storage.data());
  }

 private:
  std::vector<Report> storage;
  Report* end = nullptr;    ///< behind the last report
  Report* limit = nullptr;  ///< behind the storage

  // Kept out of append(), which is called for every diff of every evaluation.
  [[gnu::noinline]] void grow(std::size_t count) {
    const std::size_t used = size();
    storage.resize(std::max<std::size_t>(2 * used, used + count + 64));
    end = storage.data() + used;
    limit = storage.data() + storage.size();
  }
};
