// A table with one row per variable and one entry per value, all in one block
// of memory: rows ascend by variable, entries by value, and one last row holds
// the sentinel alone. Comparing two positions in the block therefore compares
// two labels by variable and then by value.

#pragma once

#include <cstddef>
#include <span>
#include <vector>

template <class Label>
class LabelTable {
 public:
  LabelTable() = default;

  /// One row per entry of `sizes`, and the sentinel's row.
  explicit LabelTable(std::vector<unsigned> const& sizes) {
    begins.reserve(sizes.size() + 2);
    std::size_t begin = 0;
    for (const unsigned size : sizes) {
      begins.push_back(begin);
      begin += size;
    }
    begins.push_back(begin);
    begins.push_back(begin + 1);
    block.resize(begin + 1);
  }

  /// The number of rows, the sentinel's included; 0 before the declaration.
  std::size_t size() const { return begins.empty() ? 0 : begins.size() - 1; }

  std::span<Label> operator[](std::size_t row) {
    return {block.data() + begins[row], block.data() + begins[row + 1]};
  }
  std::span<Label const> operator[](std::size_t row) const {
    return {block.data() + begins[row], block.data() + begins[row + 1]};
  }

  /// Every label but the sentinel, in ascending order.
  std::span<Label> all() {
    return {block.data(), block.empty() ? 0 : block.size() - 1};
  }
  std::span<Label const> all() const {
    return {block.data(), block.empty() ? 0 : block.size() - 1};
  }

  Label* sentinel() { return &block.back(); }

 private:
  std::vector<Label> block;
  std::vector<std::size_t> begins;  ///< where each row begins, and the end
};
