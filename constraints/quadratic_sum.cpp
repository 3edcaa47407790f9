#include "constraints/quadratic_sum.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <numeric>
#include <span>
#include <utility>

#include "constraints/bounded_sum.h"
#include "constraints/changes.h"
#include "constraints/label_index.h"
#include "constraints/offset.h"
#include "constraints/quadratic_terms.h"

// Two labels of one variable are never on together. A term that joins them
// counts for nothing and is left out, which spares the reports a correction.

namespace {

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
  std::vector<Sum> gainChanges;      ///< by label; all 0 between two updates
  std::vector<unsigned> touched;     ///< blocks; written before it is read
  std::vector<unsigned char> marks;  ///< by block; all 0 between two updates
};

/// Lays out runs piece by piece.
template <class Sum>
class RunWriter {
 public:
  explicit RunWriter(std::vector<Sum>& output) : runs(output) { runs.clear(); }

  /// Returns where the run begins. Throws std::bad_alloc beyond 2^32 numbers.
  unsigned startRun() {
    isOpen = false;
    return offsetOf(runs.size());
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
    const unsigned gap = partner - next;
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
  const auto number = [&](LabelKey key) {
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

/// Puts the gains before aside and adds their changes, which are then used up.
template <class Sum>
void advance(Sum* __restrict before, Sum* __restrict gains,
             Sum* __restrict change, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    before[i] = gains[i];
    gains[i] += change[i];
    change[i] = 0;
  }
}

/// One of the two widths of sums.
template <class Sum>
class GainedSum : public QuadraticSum {
 public:
  GainedSum(WcspQuadratic const& itsConstraint,
            std::vector<LabelKey> const& keys);

  int calculate(std::vector<unsigned> const& assignment) override;
  void track(std::vector<unsigned> const& assignment) override;
  int update(std::vector<unsigned> const& before,
             std::vector<unsigned> const& assignment,
             unsigned variable) override;

 private:
  using Block = LabelIndex::Block;

  WcspQuadratic const& constraint;
  Bounds bounds;
  LabelIndex index;  ///< of all labels in the terms
  /// Where the run of each label begins in the runs, and one more, the end.
  std::vector<unsigned> offsets;
  /// The runs: for each label the terms that join it with another one, in
  /// pieces of partners with consecutive numbers. A piece is the number of its
  /// first partner, its length and its coefficients side by side; a coefficient
  /// of 0 bridges a short gap.
  std::vector<Sum> runs;
  std::vector<std::int64_t> selfCoefficients;  ///< by label; empty: all are 0
  std::vector<unsigned> blockOf;               ///< by label
  std::vector<Sum> gains;        ///< by label, at the assignment tracked
  std::int64_t trackedSum = 0;   ///< there
  std::int64_t leastSum = 0;     ///< of any assignment, at least this
  std::int64_t greatestSum = 0;  ///< and at most this
  std::int64_t maxChange = 0;    ///< by which one move can change the sum
  Scratch<Sum>& scratch;         ///< shared

  void layOut(std::vector<WcspQuadratic::Term> const& terms,
              std::vector<LabelKey> const& keys);
  void findRange(std::vector<WcspQuadratic::Term> const& terms);
  unsigned numLabels() const {
    return static_cast<unsigned>(offsets.size() - 1);
  }
  unsigned onIn(Block const& block,
                std::vector<unsigned> const& assignment) const {
    return index.find(block, assignment[block.variable]);
  }
  std::int64_t fillGains(std::vector<unsigned> const& assignment,
                         Sum* filled) const;
  void addRun(unsigned label, Sum sign, Sum* sums) const;
  template <class Act>
  void forEachPiece(unsigned label, Act act) const;
  void step(Block const& block, unsigned left, unsigned taken, Sum* sums);
  /// The slope of the violation wherever a move before or after may lead.
  int slope(std::int64_t sumAfter) const;
  std::span<unsigned const> touchedBlocks(unsigned moved, unsigned left,
                                          unsigned taken);
  void updateBlock(Changes& changes, SumStep const& sumStep, int straight,
                   Block const& block, std::vector<unsigned> const& before,
                   std::vector<unsigned> const& assignment);
};

template <class Sum>
GainedSum<Sum>::GainedSum(WcspQuadratic const& itsConstraint,
                          std::vector<LabelKey> const& keys)
    : constraint(itsConstraint),
      bounds(constraint.lower, constraint.upper),
      scratch(constraint.wcsp->template shared<Scratch<Sum>>()) {
  for (const LabelKey key : keys) {
    index.add(static_cast<unsigned>(key >> 32U), static_cast<unsigned>(key));
  }
  index.finish();
  layOut(constraint.terms, keys);
  findRange(constraint.terms);
  gains.resize(keys.size());
  blockOf.resize(keys.size());
  for (unsigned b = 0; b < index.blocks.size(); ++b) {
    std::fill(blockOf.begin() + index.blocks[b].begin,
              blockOf.begin() + index.blocks[b].end, b);
  }
  const std::size_t size = std::max(scratch.gains.size(), keys.size());
  scratch.gains.resize(size);
  scratch.gainChanges.resize(size);
  scratch.touched.resize(size);
  scratch.marks.resize(size);
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
    const auto add = [&](std::int64_t coefficient) {
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
    const auto [first, second] = pairs[i];
    if (terms[i].variable1 != terms[i].variable2) {
      const auto coefficient = static_cast<Sum>(terms[i].coefficient);
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
    const auto length = static_cast<unsigned>(piece[1]);
    act(static_cast<unsigned>(piece[0]), length, piece + 2);
    piece += 2 + length;
  }
}

template <class Sum>
void GainedSum<Sum>::addRun(unsigned label, Sum sign, Sum* sums) const {
  forEachPiece(label, [&](unsigned partner, unsigned length, Sum const* piece) {
    Sum const* __restrict coefficient = piece;
    Sum* __restrict sum = sums + partner;
    for (unsigned k = 0; k < length; ++k) {
      sum[k] += sign * coefficient[k];
    }
  });
}

// Every term that is on has been gained by both of its labels, a self term by
// its one label.
template <class Sum>
std::int64_t GainedSum<Sum>::fillGains(std::vector<unsigned> const& assignment,
                                       Sum* filled) const {
  std::fill_n(filled, numLabels(), Sum{0});
  for (Block const& block : index.blocks) {
    if (const unsigned on = onIn(block, assignment); on != block.end) {
      addRun(on, 1, filled);
    }
  }
  for (std::size_t label = 0; label < selfCoefficients.size(); ++label) {
    filled[label] += static_cast<Sum>(selfCoefficients[label]);
  }
  std::int64_t sum = 0;
  for (Block const& block : index.blocks) {
    if (const unsigned on = onIn(block, assignment); on != block.end) {
      sum += filled[on];
      sum += selfCoefficients.empty() ? 0 : selfCoefficients[on];
    }
  }
  return sum / 2;
}

template <class Sum>
int GainedSum<Sum>::calculate(std::vector<unsigned> const& assignment) {
  Sum* const measured = scratch.gains.data();
  const BoundedSum bounded(constraint, constraint.lower, constraint.upper,
                           fillGains(assignment, measured));
  for (Block const& block : index.blocks) {
    bounded.report(index, block, onIn(block, assignment),
                   LabelRange{block.begin, block.end}, measured);
  }
  return bounded.violation();
}

// An update that an exception has left may have left its scratch behind.
template <class Sum>
void GainedSum<Sum>::track(std::vector<unsigned> const& assignment) {
  std::fill_n(scratch.gainChanges.begin(), numLabels(), Sum{0});
  trackedSum = fillGains(assignment, gains.data());
}

template <class Sum>
void GainedSum<Sum>::step(Block const& block, unsigned left, unsigned taken,
                          Sum* sums) {
  if (left == taken) {
    return;
  }
  if (left != block.end) {
    addRun(left, -1, sums);
  }
  if (taken != block.end) {
    addRun(taken, 1, sums);
  }
}

// Other sums than those of assignments need not be looked at.
template <class Sum>
int GainedSum<Sum>::slope(std::int64_t sumAfter) const {
  return bounds.slope(
      std::max(std::min(trackedSum, sumAfter) - maxChange, leastSum),
      std::min(std::max(trackedSum, sumAfter) + maxChange, greatestSum));
}

template <class Sum>
int GainedSum<Sum>::update(std::vector<unsigned> const& before,
                           std::vector<unsigned> const& assignment,
                           unsigned variable) {
  Changes changes(constraint);
  if (variable == WcspConstraint::several) {
    // The gain of a label that is on counts each term twice.
    std::int64_t twice = 0;
    for (Block const& block : index.blocks) {
      step(block, onIn(block, before), onIn(block, assignment),
           scratch.gainChanges.data());
    }
    for (Block const& block : index.blocks) {
      if (const unsigned on = onIn(block, assignment); on != block.end) {
        twice += std::int64_t{gains[on]} + scratch.gainChanges[on];
        twice += selfCoefficients.empty() ? 0 : selfCoefficients[on];
      }
    }
    const SumStep sumStep(bounds, trackedSum, twice / 2);
    for (Block const& block : index.blocks) {
      updateBlock(changes, sumStep, Bounds::bent, block, before, assignment);
    }
    trackedSum = twice / 2;
    changes.flush();
    return sumStep.violation();
  }
  auto const& blocks = index.blocks;
  const auto moved = std::lower_bound(
      blocks.begin(), blocks.end(), variable,
      [](Block const& block, unsigned v) { return block.variable < v; });
  const unsigned left = onIn(*moved, before);
  const unsigned taken = onIn(*moved, assignment);
  const auto gainOf = [&](unsigned label) {
    return label == moved->end ? 0 : std::int64_t{gains[label]};
  };
  const std::int64_t sum = trackedSum + gainOf(taken) - gainOf(left);
  const int straight = slope(sum);
  if (straight == 0) {
    step(*moved, left, taken, gains.data());
    trackedSum = sum;
    return 0;
  }
  step(*moved, left, taken, scratch.gainChanges.data());
  const SumStep sumStep(bounds, trackedSum, sum);
  const auto touched =
      sumStep.reachesAll(straight)
          ? std::span<unsigned const>()
          : touchedBlocks(static_cast<unsigned>(moved - blocks.begin()), left,
                          taken);
  if (touched.empty()) {
    for (Block const& block : blocks) {
      updateBlock(changes, sumStep, straight, block, before, assignment);
    }
  }
  for (const unsigned b : touched) {
    updateBlock(changes, sumStep, straight, blocks[b], before, assignment);
  }
  trackedSum = sum;
  changes.flush();
  return sumStep.violation();
}

// Empty: too many to tell them apart.
template <class Sum>
std::span<unsigned const> GainedSum<Sum>::touchedBlocks(unsigned moved,
                                                        unsigned left,
                                                        unsigned taken) {
  Block const& block = index.blocks[moved];
  std::size_t size = 0;
  for (const unsigned label : {left, taken}) {
    size += label == block.end ? 0 : offsets[label + 1] - offsets[label];
  }
  if (size * sparseness >= numLabels()) {
    return {};
  }
  unsigned* end = scratch.touched.data();
  const auto touch = [&](unsigned b) {
    if (scratch.marks[b] == 0) {
      scratch.marks[b] = 1;
      *end++ = b;
    }
  };
  touch(moved);
  for (const unsigned label : {left, taken}) {
    if (label == block.end) {
      continue;
    }
    forEachPiece(label, [&](unsigned partner, unsigned length, Sum const*) {
      for (unsigned b = blockOf[partner]; b <= blockOf[partner + length - 1];
           ++b) {
        touch(b);
      }
    });
  }
  std::sort(scratch.touched.data(), end);
  const std::span<unsigned const> touched(scratch.touched.data(), end);
  for (const unsigned b : touched) {
    scratch.marks[b] = 0;
  }
  return touched;
}

// The gains change on the way.
template <class Sum>
void GainedSum<Sum>::updateBlock(Changes& changes, SumStep const& sumStep,
                                 int straight, Block const& block,
                                 std::vector<unsigned> const& before,
                                 std::vector<unsigned> const& assignment) {
  Sum* const gainsAfter = gains.data();
  Sum* const gainsBefore = scratch.gains.data();
  Sum* const change = scratch.gainChanges.data();
  const std::size_t size = block.end - block.begin;
  advance(gainsBefore + block.begin, gainsAfter + block.begin,
          change + block.begin, size);
  const auto lossOf = [&](Sum const* of, unsigned on) {
    return on == block.end ? Sum{0} : of[on];
  };
  const Sum lossBefore = lossOf(gainsBefore, onIn(block, before));
  const Sum lossAfter = lossOf(gainsAfter, onIn(block, assignment));
  const unsigned first = constraint.wcsp->labelNumber(block.variable);
  const unsigned numValues =
      constraint.wcsp->labelNumber(block.variable + 1) - first;
  if (straight == Bounds::bent || size != numValues) {
    reportBlock<Sum>(changes, sumStep, index, block, first, numValues,
                     {lossBefore, gainsBefore}, {lossAfter, gainsAfter});
    return;
  }
  changes.addRange(first, first + numValues, [&](unsigned label) {
    const std::size_t i = block.begin + (label - first);
    return std::pair(straight * static_cast<int>(gainsBefore[i] - lossBefore),
                     straight * static_cast<int>(gainsAfter[i] - lossAfter));
  });
}

}  // namespace

std::unique_ptr<QuadraticSum> QuadraticSum::make(
    WcspQuadratic const& constraint) {
  std::vector<LabelKey> const keys = labelKeys(constraint.terms);
  if (largestMagnitude(constraint.terms) >
      static_cast<std::uint64_t>(Wcsp::inf)) {
    return std::make_unique<GainedSum<std::int64_t>>(constraint, keys);
  }
  return std::make_unique<GainedSum<std::int32_t>>(constraint, keys);
}
