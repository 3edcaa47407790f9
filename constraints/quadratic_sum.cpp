#include "constraints/quadratic_sum.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>
#include <numeric>
#include <span>
#include <utility>

#include "constraints/bounds.h"
#include "constraints/quadratic_terms.h"

// Two labels of one variable are never on together. A term that joins them
// counts for nothing and is left out, which spares the diffs a correction.

namespace {

using Assignment = std::vector<unsigned>;

/// A gap between partners up to this long is bridged by coefficients of 0, if
/// the piece before it is at least as long.
constexpr unsigned maxGap = 8;

/// How many labels there must be for each number in the runs that a move takes
/// out and puts in until picking out the touched blocks pays.
constexpr std::size_t sparseness = 3;

/// What the constraints of a solver share, as long as the largest needs.
template <class Sum>
struct Scratch {
  std::vector<Sum> gains;            ///< by label; written before it is read
  std::vector<unsigned> touched;     ///< blocks; written before it is read
  std::vector<unsigned char> marks;  ///< by block; all 0 between two updates
};

/// Lays out runs piece by piece.
template <class Sum>
class RunWriter {
 public:
  explicit RunWriter(std::vector<Sum>& output) : runs(output) { runs.clear(); }

  /// Returns where the run begins. Throws std::bad_alloc beyond 2^32 numbers,
  /// which could not be addressed.
  unsigned startRun() {
    isOpen = false;
    if (runs.size() > std::numeric_limits<unsigned>::max()) {
      throw std::bad_alloc();
    }
    return static_cast<unsigned>(runs.size());
  }

  /// Appends a term of the run; they come in ascending order of partners.
  void append(unsigned partner, Sum coefficient) {
    if (!isOpen || !extendsTo(partner)) {
      runs.push_back(static_cast<Sum>(partner));
      runs.push_back(0);
      lengthAt = runs.size() - 1;
      isOpen = true;
    }
    runs.push_back(coefficient);
    runs[lengthAt] = static_cast<Sum>(runs.size() - lengthAt - 1);
    next = partner + 1;
  }

 private:
  std::vector<Sum>& runs;
  bool isOpen = false;       ///< the run has a piece
  std::size_t lengthAt = 0;  ///< where the length of that piece stands
  unsigned next = 0;         ///< the partner after it

  bool extendsTo(unsigned partner) {
    unsigned const gap = partner - next;
    if (gap > std::min(maxGap, static_cast<unsigned>(runs[lengthAt]))) {
      return false;
    }
    runs.resize(runs.size() + gap);
    return true;
  }
};

/// The magnitude of a sum of all coefficients at worst.
std::uint64_t largestMagnitude(std::vector<WcspQuadratic::Term> const& terms) {
  std::uint64_t sum = 0;
  for (WcspQuadratic::Term const& term : terms) {
    sum += static_cast<std::uint64_t>(std::abs(term.coefficient));
  }
  return sum;
}

/// The two labels of a term as numbers.
struct LabelPair {
  unsigned first;
  unsigned second;
};

std::vector<LabelPair> numberLabels(
    std::vector<WcspQuadratic::Term> const& terms,
    std::vector<LabelKey> const& keys) {
  auto const number = [&](LabelKey key) {
    return static_cast<unsigned>(
        std::lower_bound(keys.begin(), keys.end(), key) - keys.begin());
  };
  std::vector<LabelPair> pairs;
  pairs.reserve(terms.size());
  for (WcspQuadratic::Term const& term : terms) {
    pairs.push_back({number(firstKey(term)), number(secondKey(term))});
  }
  return pairs;
}

/// One of the two widths of sums.
template <class Sum>
class GainedSum : public detail::QuadraticSum {
 public:
  GainedSum(WcspQuadratic const& itsConstraint,
            std::vector<LabelKey> const& keys);

  int calculate(Assignment const& assignment) override;
  void prepare(WcspChanges& changes) override;
  int update(Assignment const& before, Assignment const& now,
             std::span<unsigned const> moved, WcspChanges& changes) override;

 private:
  /// The labels of one variable: the numbers `begin` to `end` - 1.
  struct Block {
    unsigned variable;
    unsigned begin;
    unsigned end;
  };

  WcspQuadratic const& constraint;
  Bounds bounds;
  std::vector<Block> blocks;     ///< ascending by variable
  std::vector<unsigned> values;  ///< by label; they ascend in each block
  /// Where the run of each label begins in the runs, and one more, the end.
  std::vector<unsigned> offsets;
  /// The runs: for each label the terms that join it with another one, in
  /// pieces of partners with consecutive numbers. A piece is the number of its
  /// first partner, its length and its coefficients side by side; a coefficient
  /// of 0 bridges a short gap.
  std::vector<Sum> runs;
  std::vector<std::int64_t> selfCoefficients;  ///< by label; empty: all are 0
  std::vector<unsigned> blockNumbers;          ///< by label
  std::vector<Sum> gains;     ///< by label, at the last calculate() or update()
  std::int64_t sum = 0;       ///< there
  std::int64_t leastSum = 0;  ///< of any assignment, at least this
  std::int64_t greatestSum = 0;     ///< and at most this
  std::int64_t maxChange = 0;       ///< by which one move can change the sum
  Scratch<Sum>* scratch = nullptr;  ///< shared

  void layOut(std::vector<WcspQuadratic::Term> const& terms,
              std::vector<LabelKey> const& keys);
  void findRange(std::vector<WcspQuadratic::Term> const& terms);
  unsigned numLabels() const {
    return static_cast<unsigned>(offsets.size() - 1);
  }
  /// The label that is on, or `block.end` if there is none.
  unsigned onIn(Block const& block, Assignment const& assignment) const;
  Block const& blockOf(unsigned variable) const {
    return *std::ranges::lower_bound(blocks, variable, {}, &Block::variable);
  }
  /// 0 for no label.
  std::int64_t gainAt(Block const& block, unsigned label) const {
    return label == block.end ? 0 : std::int64_t{gains[label]};
  }
  void addRun(unsigned label, Sum sign);
  template <class Act>
  void forEachPiece(unsigned label, Act act) const;
  /// Brings the gains and the sum up to date.
  void applyMove(Block const& block, unsigned from, unsigned to);
  /// The slope of the violation wherever a move before or after may lead.
  int slope(std::int64_t sumBefore, std::int64_t sumAfter) const;
  std::span<unsigned const> touchedBlocks(Block const& block, unsigned from,
                                          unsigned to);
  void list(WcspChanges& changes, SumStep const& sumStep, int straight,
            Block const& block, unsigned onBefore, unsigned on) const;
};

template <class Sum>
GainedSum<Sum>::GainedSum(WcspQuadratic const& itsConstraint,
                          std::vector<LabelKey> const& keys)
    : constraint(itsConstraint), bounds(constraint.lower, constraint.upper) {
  for (const LabelKey key : keys) {
    auto const variable = static_cast<unsigned>(key >> 32U);
    auto const label = static_cast<unsigned>(values.size());
    if (blocks.empty() || blocks.back().variable != variable) {
      blocks.push_back({variable, label, label});
    }
    ++blocks.back().end;
    values.push_back(static_cast<unsigned>(key));
    blockNumbers.push_back(static_cast<unsigned>(blocks.size() - 1));
  }
  layOut(constraint.terms, keys);
  findRange(constraint.terms);
  gains.resize(keys.size());
}

// Mostly the values of a block are consecutive.
template <class Sum>
unsigned GainedSum<Sum>::onIn(Block const& block,
                              Assignment const& assignment) const {
  unsigned const value = assignment[block.variable];
  unsigned const* const begin = values.data() + block.begin;
  unsigned const offset = value - *begin;
  unsigned const size = block.end - block.begin;
  if (offset < size && begin[offset] == value) {
    return block.begin + offset;
  }
  unsigned const* const found = std::lower_bound(begin, begin + size, value);
  return found != begin + size && *found == value
             ? block.begin + static_cast<unsigned>(found - begin)
             : block.end;
}

template <class Sum>
void GainedSum<Sum>::prepare(WcspChanges& changes) {
  scratch = &changes.shared<Scratch<Sum>>();
  const std::size_t size = std::max(scratch->gains.size(), gains.size());
  scratch->gains.resize(size);
  scratch->touched.resize(size);
  scratch->marks.resize(size);
}

// The sum stays between the sums of its negative and of its positive
// coefficients, and a label's gain between those of its run.
template <class Sum>
void GainedSum<Sum>::findRange(std::vector<WcspQuadratic::Term> const& terms) {
  for (WcspQuadratic::Term const& term : terms) {
    (term.coefficient < 0 ? leastSum : greatestSum) += term.coefficient;
  }
  std::int64_t leastGain = 0;
  std::int64_t greatestGain = 0;
  for (unsigned label = 0; label < numLabels(); ++label) {
    std::int64_t least = 0;
    std::int64_t greatest = 0;
    auto const add = [&](std::int64_t coefficient) {
      (coefficient < 0 ? least : greatest) += coefficient;
    };
    forEachPiece(label, [&](unsigned, unsigned length, Sum const* piece) {
      std::for_each(piece, piece + length, add);
    });
    if (!selfCoefficients.empty()) {
      add(selfCoefficients[label]);
    }
    leastGain = std::min(leastGain, least);
    greatestGain = std::max(greatestGain, greatest);
  }
  maxChange = greatestGain - leastGain;
}

// The terms are taken in their order from both sides: so the partners of each
// label come in ascending order, those before it and then those behind it.
template <class Sum>
void GainedSum<Sum>::layOut(std::vector<WcspQuadratic::Term> const& terms,
                            std::vector<LabelKey> const& keys) {
  struct Side {
    unsigned partner;
    Sum coefficient;
  };
  std::vector<LabelPair> const pairs = numberLabels(terms, keys);
  std::vector<std::size_t> ends(keys.size() + 1, 0);
  for (std::size_t i = 0; i < terms.size(); ++i) {
    if (terms[i].variable1 != terms[i].variable2) {
      ++ends[pairs[i].first + 1];
      ++ends[pairs[i].second + 1];
    }
  }
  std::partial_sum(ends.begin(), ends.end(), ends.begin());
  std::vector<Side> sides(ends.back());
  selfCoefficients.clear();
  for (std::size_t i = 0; i < terms.size(); ++i) {
    auto const [first, second] = pairs[i];
    if (terms[i].variable1 != terms[i].variable2) {
      auto const coefficient = static_cast<Sum>(terms[i].coefficient);
      sides[ends[first]++] = {second, coefficient};
      sides[ends[second]++] = {first, coefficient};
    } else if (first == second) {
      selfCoefficients.resize(keys.size());
      selfCoefficients[first] = terms[i].coefficient;
    }
  }
  RunWriter<Sum> writer(runs);
  offsets.clear();
  offsets.reserve(keys.size() + 1);
  std::size_t side = 0;
  for (std::size_t label = 0; label < keys.size(); ++label) {
    offsets.push_back(writer.startRun());
    for (; side < ends[label]; ++side) {
      writer.append(sides[side].partner, sides[side].coefficient);
    }
  }
  offsets.push_back(writer.startRun());
  runs.shrink_to_fit();
}

template <class Sum>
template <class Act>
void GainedSum<Sum>::forEachPiece(unsigned label, Act act) const {
  Sum const* piece = runs.data() + offsets[label];
  Sum const* const end = runs.data() + offsets[label + 1];
  while (piece != end) {
    auto const length = static_cast<unsigned>(piece[1]);
    act(static_cast<unsigned>(piece[0]), length, piece + 2);
    piece += 2 + length;
  }
}

template <class Sum>
void GainedSum<Sum>::addRun(unsigned label, Sum sign) {
  forEachPiece(label, [&](unsigned partner, unsigned length, Sum const* piece) {
    Sum const* __restrict coefficient = piece;
    Sum* __restrict gain = gains.data() + partner;
    for (unsigned k = 0; k < length; ++k) {
      gain[k] += sign * coefficient[k];
    }
  });
}

// Every term that is on has been gained by both of its labels, a self term by
// its one label.
template <class Sum>
int GainedSum<Sum>::calculate(Assignment const& assignment) {
  std::ranges::fill(gains, Sum{0});
  for (Block const& block : blocks) {
    if (unsigned const on = onIn(block, assignment); on != block.end) {
      addRun(on, 1);
    }
  }
  for (std::size_t label = 0; label < selfCoefficients.size(); ++label) {
    gains[label] += static_cast<Sum>(selfCoefficients[label]);
  }
  std::int64_t twice = 0;
  for (Block const& block : blocks) {
    if (unsigned const on = onIn(block, assignment); on != block.end) {
      twice += gains[on];
      twice += selfCoefficients.empty() ? 0 : selfCoefficients[on];
    }
  }
  sum = twice / 2;
  int const violation = bounds.violation(sum);
  for (Block const& block : blocks) {
    unsigned const on = onIn(block, assignment);
    const std::int64_t loss = on == block.end ? 0 : gains[on];
    auto const diff = [&](std::int64_t gain) {
      return bounds.violation(sum + gain - loss) - violation;
    };
    int const leaving = diff(0);
    forEachValue(
        block.begin, block.end, constraint.wcsp->getNumValues(block.variable),
        leaving != 0, [&](unsigned label) { return values[label]; },
        [&](unsigned value, unsigned label) {
          constraint.wcsp->setDiffPenalty(
              constraint.id, block.variable, value,
              label == block.end ? leaving : diff(gains[label]));
        });
  }
  return violation;
}

template <class Sum>
void GainedSum<Sum>::applyMove(Block const& block, unsigned from, unsigned to) {
  sum += gainAt(block, to) - gainAt(block, from);
  if (from != block.end) {
    addRun(from, -1);
  }
  if (to != block.end) {
    addRun(to, 1);
  }
}

// Other sums than those of assignments need not be looked at.
template <class Sum>
int GainedSum<Sum>::slope(std::int64_t sumBefore, std::int64_t sumAfter) const {
  auto const [least, greatest] = std::minmax(sumBefore, sumAfter);
  return bounds.slope(std::max(least - maxChange, leastSum),
                      std::min(greatest + maxChange, greatestSum));
}

template <class Sum>
int GainedSum<Sum>::update(Assignment const& before, Assignment const& now,
                           std::span<unsigned const> moved,
                           WcspChanges& changes) {
  std::int64_t const sumBefore = sum;
  std::span<unsigned const> touched;  // empty: all blocks
  if (moved.size() == 1) {
    Block const& block = blockOf(moved.front());
    unsigned const from = onIn(block, before);
    unsigned const to = onIn(block, now);
    std::int64_t const sumAfter = sum + gainAt(block, to) - gainAt(block, from);
    int const straight = slope(sum, sumAfter);
    if (straight == 0) {
      applyMove(block, from, to);
      return 0;
    }
    if (!SumStep(bounds, sum, sumAfter).reachesAll(straight)) {
      touched = touchedBlocks(block, from, to);
    }
  }
  auto const keep = [this](unsigned first, unsigned last) {
    std::copy(gains.data() + first, gains.data() + last,
              scratch->gains.data() + first);
  };
  if (touched.empty()) {
    keep(0, numLabels());
  }
  for (unsigned const b : touched) {
    keep(blocks[b].begin, blocks[b].end);
  }
  for (unsigned const variable : moved) {
    Block const& block = blockOf(variable);
    applyMove(block, onIn(block, before), onIn(block, now));
  }
  int const straight = slope(sumBefore, sum);
  if (straight == 0) {
    return 0;
  }
  const SumStep sumStep(bounds, sumBefore, sum);
  auto const listBlock = [&](Block const& block) {
    unsigned const variable = block.variable;
    unsigned const on = onIn(block, now);
    list(changes, sumStep, straight, block,
         before[variable] == now[variable] ? on : onIn(block, before), on);
  };
  if (touched.empty()) {
    std::ranges::for_each(blocks, listBlock);
  }
  for (unsigned const b : touched) {
    listBlock(blocks[b]);
  }
  return sumStep.violation();
}

// Empty: too many to tell them apart.
template <class Sum>
std::span<unsigned const> GainedSum<Sum>::touchedBlocks(Block const& block,
                                                        unsigned from,
                                                        unsigned to) {
  std::size_t size = 0;
  for (unsigned const label : {from, to}) {
    size += label == block.end ? 0 : offsets[label + 1] - offsets[label];
  }
  if (size * sparseness >= numLabels()) {
    return {};
  }
  unsigned* end = scratch->touched.data();
  auto const touch = [&](unsigned b) {
    if (scratch->marks[b] == 0) {
      scratch->marks[b] = 1;
      *end++ = b;
    }
  };
  touch(blockNumbers[block.begin]);
  for (unsigned const label : {from, to}) {
    if (label == block.end) {
      continue;
    }
    forEachPiece(label, [&](unsigned partner, unsigned length, Sum const*) {
      for (unsigned b = blockNumbers[partner];
           b <= blockNumbers[partner + length - 1]; ++b) {
        touch(b);
      }
    });
  }
  std::sort(scratch->touched.data(), end);
  const std::span<unsigned const> touched(scratch->touched.data(), end);
  for (unsigned const b : touched) {
    scratch->marks[b] = 0;
  }
  return touched;
}

template <class Sum>
void GainedSum<Sum>::list(WcspChanges& changes, SumStep const& sumStep,
                          int straight, Block const& block, unsigned onBefore,
                          unsigned on) const {
  Sum const* const before = scratch->gains.data();
  Sum const* const after = gains.data();
  const Sum lossBefore = onBefore == block.end ? Sum{0} : before[onBefore];
  const Sum lossAfter = on == block.end ? Sum{0} : after[on];
  unsigned const first = changes.label(block.variable);
  unsigned const numValues = changes.label(block.variable + 1) - first;
  using Diffs = WcspChanges::Diffs;
  if (straight == Bounds::bent || block.end - block.begin != numValues) {
    const Diffs leaving =
        sumStep.diffs(-std::int64_t{lossBefore}, -std::int64_t{lossAfter});
    forEachValue(
        block.begin, block.end, numValues, leaving.differ(),
        [&](unsigned label) { return values[label]; },
        [&](unsigned value, unsigned label) {
          changes.add(
              first + value,
              label == block.end
                  ? leaving
                  : sumStep.diffs(std::int64_t{before[label]} - lossBefore,
                                  std::int64_t{after[label]} - lossAfter));
        });
    return;
  }
  changes.addRange(first, first + numValues, [&](unsigned label) {
    const std::size_t i = block.begin + (label - first);
    return Diffs{straight * static_cast<int>(before[i] - lossBefore),
                 straight * static_cast<int>(after[i] - lossAfter)};
  });
}

}  // namespace

std::unique_ptr<detail::QuadraticSum> detail::QuadraticSum::make(
    WcspQuadratic const& constraint, std::vector<LabelKey> const& keys) {
  if (largestMagnitude(constraint.terms) >
      static_cast<std::uint64_t>(Wcsp::inf)) {
    return std::make_unique<GainedSum<std::int64_t>>(constraint, keys);
  }
  return std::make_unique<GainedSum<std::int32_t>>(constraint, keys);
}
