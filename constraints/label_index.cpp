#include "constraints/label_index.h"

#include <algorithm>

void LabelIndex::clear() {
  blocks.clear();
  values.clear();
  table.clear();
}

void LabelIndex::add(unsigned variable, unsigned value) {
  auto const label = static_cast<unsigned>(values.size());
  if (blocks.empty() || blocks.back().variable != variable) {
    blocks.push_back({variable, label, label, value, 1, consecutive});
  }
  values.push_back(value);
  blocks.back().end = label + 1;
  blocks.back().span = value - blocks.back().firstValue + 1;
}

void LabelIndex::finish() {
  bool needsValues = false;
  for (Block& block : blocks) {
    unsigned const count = block.end - block.begin;
    if (block.span == count) {
      continue;
    }
    needsValues = true;
    block.table = searched;
    if (block.span / maxSpanPerLabel > count) {
      continue;
    }
    block.table = static_cast<unsigned>(table.size());
    table.resize(table.size() + block.span, block.end);
    for (unsigned label = block.begin; label < block.end; ++label) {
      table[block.table + values[label] - block.firstValue] = label;
    }
  }
  if (!needsValues) {
    values.clear();
  }
  blocks.shrink_to_fit();
  values.shrink_to_fit();
  table.shrink_to_fit();
}

unsigned LabelIndex::search(Block const& block, unsigned value) const {
  auto const begin = values.begin() + block.begin;
  auto const end = values.begin() + block.end;
  auto const found = std::lower_bound(begin, end, value);
  return found != end && *found == value
             ? static_cast<unsigned>(found - values.begin())
             : block.end;
}
