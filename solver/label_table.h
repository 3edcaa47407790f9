// A table with one row per variable and one entry per value, all in one block
// of memory: rows ascend by variable, entries by value, and one last row holds
// the sentinel alone. Comparing two numbers, that is positions in the block,
// therefore compares two labels by variable and then by value.

#pragma once

#include <cstddef>
#include <limits>
#include <new>
#include <span>
#include <vector>

template <class Label>
class LabelTable {
 public:
  LabelTable() = default;

  /// One row per entry of `sizes`, and the sentinel's row. Throws
  /// std::bad_alloc when there are more labels than numbers.
  explicit LabelTable(std::vector<unsigned> const& sizes) {
    begins.reserve(sizes.size() + 2);
    std::size_t begin = 0;
    for (const unsigned size : sizes) {
      begins.push_back(static_cast<unsigned>(begin));
      begin += size;
      if (begin >= std::numeric_limits<unsigned>::max()) {
        throw std::bad_alloc();
      }
    }
    begins.push_back(static_cast<unsigned>(begin));
    begins.push_back(static_cast<unsigned>(begin + 1));
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

  /// The number of the label (`row`, `value`).
  unsigned number(unsigned row, unsigned value) const {
    return begins[row] + value;
  }

  /// The number of the sentinel, above that of every other label.
  unsigned sentinel() const { return static_cast<unsigned>(block.size() - 1); }

  Label& at(unsigned number) { return block[number]; }

  /// Every label but the sentinel, in ascending order.
  std::span<Label> all() {
    return {block.data(), block.empty() ? 0 : block.size() - 1};
  }
  std::span<Label const> all() const {
    return {block.data(), block.empty() ? 0 : block.size() - 1};
  }

 private:
  std::vector<Label> block;
  std::vector<unsigned> begins;  ///< where each row begins, and the end
};
