#include "constraints/pair_table.h"

namespace detail {

namespace {

/// A table with an entry for each pair of values may take this many entries for
/// each term.
constexpr std::size_t maxEntriesPerTerm = 2;

/// And one by rows this many rows.
constexpr std::size_t maxRowsPerTerm = 4;

bool isAlmostFull(std::size_t span1, std::size_t span2, std::size_t numTerms) {
  return span1 * span2 <= maxEntriesPerTerm * numTerms;
}

}  // namespace

std::array<PairTable::Side, 2> PairTable::spansOf(std::span<Term const> terms) {
  std::array<Side, 2> sides;
  auto const [least, greatest] = std::minmax_element(
      terms.begin(), terms.end(),
      [](Term const& a, Term const& b) { return a.value2 < b.value2; });
  sides[0].first = terms.front().value1;
  sides[0].span = terms.back().value1 - sides[0].first + 1;
  sides[1].first = least->value2;
  sides[1].span = greatest->value2 - sides[1].first + 1;
  return sides;
}

bool PairTable::suits(std::span<Term const> terms) {
  auto const sides = spansOf(terms);
  const std::size_t span1 = sides[0].span;
  const std::size_t span2 = sides[1].span;
  return span1 + span2 <= maxRowsPerTerm * terms.size() ||
         isAlmostFull(span1, span2, terms.size());
}

PairTable::PairTable(std::span<Term const> terms, Bounds const& bounds)
    : outside(bounds.violation(0)), sides(spansOf(terms)) {
  auto const numOutside =
      std::count_if(terms.begin(), terms.end(), [&](Term const& term) {
        return bounds.violation(term.coefficient) == outside;
      });
  isDense = isAlmostFull(sides[0].span, sides[1].span,
                         terms.size() - static_cast<std::size_t>(numOutside));
  if (isDense) {
    fillDense(terms, bounds);
  } else {
    fillSparse(terms, bounds);
  }
}

void PairTable::fillDense(std::span<Term const> terms, Bounds const& bounds) {
  auto& [one, two] = sides;
  one.dense.assign((one.span + std::size_t{1}) * two.span, outside);
  two.dense.assign((two.span + std::size_t{1}) * one.span, outside);
  for (Term const& term : terms) {
    const std::size_t row1 = term.value1 - one.first;
    const std::size_t row2 = term.value2 - two.first;
    int const violation = bounds.violation(term.coefficient);
    one.dense[row1 * two.span + row2] = violation;
    two.dense[row2 * one.span + row1] = violation;
  }
}

// Counting sort by row, which keeps the order across.
void PairTable::fillSparse(std::span<Term const> terms, Bounds const& bounds) {
  for (unsigned s = 0; s < 2; ++s) {
    Side& side = sides[s];
    side.offsets.assign(side.span + std::size_t{2}, 0);
    auto const own = [&](Term const& term) {
      return (s == 0 ? term.value1 : term.value2) - side.first;
    };
    auto const isKept = [&](Term const& term) {
      return bounds.violation(term.coefficient) != outside;
    };
    unsigned numEntries = 0;
    for (Term const& term : terms) {
      if (isKept(term)) {
        ++side.offsets[own(term) + 1];
        ++numEntries;
      }
    }
    for (std::size_t row = 1; row < side.offsets.size(); ++row) {
      side.offsets[row] += side.offsets[row - 1];
    }
    side.entries.resize(numEntries);
    std::vector<unsigned> ends(side.offsets.begin(), side.offsets.end() - 1);
    for (Term const& term : terms) {
      if (isKept(term)) {
        side.entries[ends[own(term)]++] = {s == 0 ? term.value2 : term.value1,
                                           bounds.violation(term.coefficient)};
      }
    }
  }
}

}  // namespace detail
