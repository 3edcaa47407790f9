// Finds the record of a variable's current value among a constraint's labels.
//
// The labels are grouped into blocks by variable. A block whose values fill a
// good part of their span is looked up by index, any other by binary search, so
// that the memory stays within a constant times the number of labels.

#pragma once

#include <vector>

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
    unsigned table;       ///< where its part of the table begins, or `noTable`
  };

  std::vector<Block> blocks;  ///< ascending by variable

  void clear();

  /// Appends a label; they come strictly ascending by variable, then value.
  void add(unsigned variable, unsigned value);

  /// Builds the tables; after the last add() and before the first find().
  void finish();

  /// The number of the label (block.variable, value), or `block.end` when there
  /// is none.
  unsigned find(Block const& block, unsigned value) const;

  unsigned value(unsigned label) const { return values[label]; }

 private:
  static constexpr unsigned noTable = 4294967295U;
  static constexpr unsigned maxSpanPerLabel = 4;

  std::vector<unsigned> values;  ///< the value of each label
  std::vector<unsigned> table;   ///< label numbers by value - firstValue
};
