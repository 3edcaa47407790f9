// The diffs that a constraint reports while it is evaluated, in the order in
// which they come. One list serves all evaluations and keeps its storage.

#pragma once

#include <cstddef>
#include <vector>

template <class Report>
class ReportList {
 public:
  void clear() { end = storage.data(); }

  void append(Report const& report) {
    if (end == limit) {
      grow();
    }
    *end++ = report;
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
  [[gnu::noinline]] void grow() {
    const std::size_t count = size();
    storage.resize(count < 32 ? 64 : 2 * count);
    end = storage.data() + count;
    limit = storage.data() + storage.size();
  }
};
