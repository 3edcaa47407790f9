// Finds the number of a variable's current label among a constraint's labels.
//
// The labels are grouped into blocks by variable. A block of consecutive values
// needs no memory for them; one whose values fill a good part of their span is
// looked up by index, any other by binary search, so that the memory stays
// within a constant times the number of labels.

#pragma once

#include <vector>

/// The numbers from `first` to `last` - 1, as a range.
struct LabelRange {
  struct Iterator {
    unsigned label;

    unsigned operator*() const { return label; }
    Iterator& operator++() {
      ++label;
      return *this;
    }
    bool operator==(Iterator const&) const = default;
  };

  unsigned first;
  unsigned last;

  Iterator begin() const { return {first}; }
  Iterator end() const { return {last}; }
};

/// The labels of one constraint, numbered from 0 in ascending order.
class LabelIndex {
 public:
  /// The labels of one variable: the numbers `begin` to `end` - 1.
  struct Block {
    unsigned variable;
    unsigned begin;
    unsigned end;
    unsigned firstValue;  ///< the value of label `begin`
    unsigned span;        ///< largest value - firstValue + 1
    unsigned table;       ///< where its part of the table begins, or how it
                          ///< does without: `consecutive` or `searched`
  };

  std::vector<Block> blocks;  ///< ascending by variable

  void clear();

  /// Appends a label; they come strictly ascending by variable, then value.
  void add(unsigned variable, unsigned value);

  /// Builds the tables; after the last add() and before the first find().
  void finish();

  /// The number of the label (block.variable, value), or `block.end` when there
  /// is none.
  unsigned find(Block const& block, unsigned value) const {
    unsigned const offset = value - block.firstValue;
    if (offset >= block.span) {
      return block.end;
    }
    if (block.table == consecutive) {
      return block.begin + offset;
    }
    return block.table == searched ? search(block, value)
                                   : table[block.table + offset];
  }

  /// The value of a label of the block.
  unsigned value(Block const& block, unsigned label) const {
    return block.table == consecutive ? block.firstValue + label - block.begin
                                      : values[label];
  }

 private:
  static constexpr unsigned consecutive = 4294967295U;
  static constexpr unsigned searched = 4294967294U;
  static constexpr unsigned maxSpanPerLabel = 4;

  std::vector<unsigned> values;  ///< by label; empty if all are consecutive
  std::vector<unsigned> table;   ///< label numbers by value - firstValue

  unsigned search(Block const& block, unsigned value) const;
};
