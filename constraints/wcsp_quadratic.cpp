// The quadratic constraint. The runs of the labels that are on give every label
// its gain: the sum of the coefficients that join it with a label that is on,
// and its own. From the gains follow the violation and, block by block, all
// reports.
//
// Two labels of one variable are never on together. A term that joins them
// counts for nothing and is left out, which spares the reports a correction.

#include "constraints/wcsp_quadratic.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <span>
#include <utility>

#include "constraints/bounded_sum.h"
#include "constraints/offset.h"

namespace {

/// A gap between partners up to this long is bridged by coefficients of 0, if
/// the piece before it is at least as long.
constexpr unsigned maxGap = 8;

/// How many labels there must be for each number in the runs counted until
/// picking out the touched labels pays.
constexpr std::size_t sparseness = 3;

/// The buffers of calculate(), shared by all constraints and as long as the
/// largest of them needs.
std::vector<unsigned> currentLabels;  ///< by block; written before it is read
std::vector<unsigned> touchedLabels;  ///< written before it is read
template <class Sum>
std::vector<Sum> gainsBuffer;  ///< by label; all 0 between two calls

/// Leaves the gains of `labels`, a range, at 0, also when a report throws.
template <class Sum, class Labels>
class GainsCleaner {
 public:
  GainsCleaner(Sum* gainsToClean, Labels itsLabels)
      : gains(gainsToClean), labels(itsLabels) {}
  GainsCleaner(GainsCleaner const&) = delete;
  GainsCleaner& operator=(GainsCleaner const&) = delete;
  ~GainsCleaner() {
    for (const unsigned label : labels) {
      gains[label] = 0;
    }
  }

 private:
  Sum* gains;
  Labels labels;
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

void growTo(auto& buffer, std::size_t size) {
  if (buffer.size() < size) {
    buffer.resize(size);
  }
}

/// A label as one number; these ascend as labels do.
using LabelKey = std::uint64_t;

LabelKey keyOf(unsigned variable, unsigned value) {
  return LabelKey{variable} << 32U | value;
}

LabelKey firstKey(WcspQuadratic::Term const& term) {
  return keyOf(term.variable1, term.value1);
}

LabelKey secondKey(WcspQuadratic::Term const& term) {
  return keyOf(term.variable2, term.value2);
}

void orient(WcspQuadratic::Term& term) {
  if (secondKey(term) < firstKey(term)) {
    std::swap(term.variable1, term.variable2);
    std::swap(term.value1, term.value2);
  }
}

/// The magnitude of a sum of all coefficients at worst.
std::uint64_t largestSum(std::vector<WcspQuadratic::Term> const& terms) {
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

/// The labels in the terms, ascending.
std::vector<LabelKey> labelKeys(std::vector<WcspQuadratic::Term> const& terms) {
  std::vector<LabelKey> keys;
  for (WcspQuadratic::Term const& term : terms) {
    if (keys.empty() || keys.back() != firstKey(term)) {
      keys.push_back(firstKey(term));
    }
  }
  for (WcspQuadratic::Term const& term : terms) {
    keys.push_back(secondKey(term));
  }
  std::sort(keys.begin(), keys.end());
  keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
  return keys;
}

}  // namespace

bool WcspQuadratic::Lt::operator()(Term const& a, Term const& b) const {
  return firstKey(a) < firstKey(b) ||
         (firstKey(a) == firstKey(b) && secondKey(a) <= secondKey(b));
}

void WcspQuadratic::preprocess() {
  if (terms.empty()) {
    return;
  }
  for (Term& term : terms) {
    orient(term);
  }
  terms.quicksort(0, static_cast<unsigned>(terms.size() - 1));
  terms.mergeEqual([](Term& first, Term const& other) {
    first.coefficient += other.coefficient;
  });
  terms.shrink_to_fit();
  std::vector<LabelKey> const keys = labelKeys(terms);
  index.clear();
  for (const LabelKey key : keys) {
    const auto variable = static_cast<unsigned>(key >> 32U);
    const auto value = static_cast<unsigned>(key);
    index.add(variable, value);
    wcsp->involve(id, variable, value);
  }
  index.finish();
  growTo(currentLabels, index.blocks.size());
  growTo(touchedLabels, keys.size());
  isWide = largestSum(terms) > static_cast<std::uint64_t>(Wcsp::inf);
  if (isWide) {
    layOut(keys, wideRuns);
  } else {
    layOut(keys, narrowRuns);
  }
  terms = {};
}

// The terms are taken in their order from both sides: so the partners of each
// label come in ascending order, those before it and then those behind it.
template <class Sum>
void WcspQuadratic::layOut(std::vector<LabelKey> const& keys,
                           std::vector<Sum>& runs) {
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
  growTo(gainsBuffer<Sum>, keys.size());
}

int WcspQuadratic::calculate(std::vector<unsigned> const& assignment) {
  return isWide ? evaluate(wideRuns.data(), assignment)
                : evaluate(narrowRuns.data(), assignment);
}

template <class Sum>
int WcspQuadratic::evaluate(Sum const* runs,
                            std::vector<unsigned> const& assignment) const {
  std::size_t size = 0;
  unsigned* current = currentLabels.data();
  for (LabelIndex::Block const& block : index.blocks) {
    const unsigned label = index.find(block, assignment[block.variable]);
    if (label != block.end) {
      size += offsets[label + 1] - offsets[label];
    }
    *current++ = label;
  }
  return selfCoefficients.empty() && size * sparseness < numLabels()
             ? evaluateSparse(runs)
             : evaluateDense(runs);
}

template <class Sum>
int WcspQuadratic::evaluateDense(Sum const* runs) const {
  Sum* const gains = gainsBuffer<Sum>.data();
  const LabelRange all{0, static_cast<unsigned>(numLabels())};
  const GainsCleaner cleaner(gains, all);
  forEachCurrent([&](unsigned label) { addRun(runs, label, gains); });
  std::int64_t selfSum = 0;
  if (!selfCoefficients.empty()) {
    for (const unsigned label : all) {
      gains[label] += static_cast<Sum>(selfCoefficients[label]);
    }
    forEachCurrent([&](unsigned label) { selfSum += selfCoefficients[label]; });
  }
  const BoundedSum bounded(*this, lower, upper, sumOf(gains, selfSum));
  unsigned const* current = currentLabels.data();
  for (LabelIndex::Block const& block : index.blocks) {
    bounded.report(index, block, *current++, LabelRange{block.begin, block.end},
                   gains);
  }
  return bounded.violation();
}

template <class Sum>
int WcspQuadratic::evaluateSparse(Sum const* runs) const {
  Sum* const gains = gainsBuffer<Sum>.data();
  unsigned* touched = touchedLabels.data();
  unsigned* touchedEnd = touched;
  // From the last block to the first: in a constraint on two variables the
  // touched labels then ascend already.
  forEachCurrentBackwards([&](unsigned label) {
    forEachPiece(runs, label,
                 [&](unsigned partner, unsigned length, Sum const* piece) {
                   for (unsigned k = 0; k < length; ++k) {
                     gains[partner + k] += piece[k];
                     *touchedEnd++ = partner + k;
                   }
                 });
  });
  const GainsCleaner cleaner(gains, std::span(touched, touchedEnd));
  if (!std::is_sorted(touched, touchedEnd)) {
    std::sort(touched, touchedEnd);
  }
  unsigned* const uniqueEnd = std::unique(touched, touchedEnd);
  const BoundedSum bounded(*this, lower, upper, sumOf(gains, 0));
  unsigned const* current = currentLabels.data();
  for (LabelIndex::Block const& block : index.blocks) {
    unsigned* const begin = touched;
    while (touched != uniqueEnd && *touched < block.end) {
      ++touched;
    }
    bounded.report(index, block, *current++, std::span(begin, touched), gains);
  }
  return bounded.violation();
}

std::size_t WcspQuadratic::numLabels() const {
  return offsets.empty() ? 0 : offsets.size() - 1;
}

template <class Sum>
void WcspQuadratic::addRun(Sum const* runs, unsigned label, Sum* gains) const {
  forEachPiece(runs, label,
               [&](unsigned partner, unsigned length, Sum const* piece) {
                 Sum const* __restrict coefficient = piece;
                 Sum* __restrict gain = gains + partner;
                 for (unsigned k = 0; k < length; ++k) {
                   gain[k] += coefficient[k];
                 }
               });
}

void WcspQuadratic::forEachPiece(auto const* runs, unsigned label,
                                 auto act) const {
  auto const* piece = runs + offsets[label];
  auto const* const end = runs + offsets[label + 1];
  while (piece != end) {
    const auto length = static_cast<unsigned>(piece[1]);
    act(static_cast<unsigned>(piece[0]), length, piece + 2);
    piece += 2 + length;
  }
}

void WcspQuadratic::forEachCurrent(auto act) const {
  unsigned const* current = currentLabels.data();
  for (LabelIndex::Block const& block : index.blocks) {
    if (*current != block.end) {
      act(*current);
    }
    ++current;
  }
}

void WcspQuadratic::forEachCurrentBackwards(auto act) const {
  for (std::size_t i = index.blocks.size(); i-- > 0;) {
    if (currentLabels[i] != index.blocks[i].end) {
      act(currentLabels[i]);
    }
  }
}

// Every term that is on has been gained by both of its labels, a self term by
// its one label.
template <class Sum>
std::int64_t WcspQuadratic::sumOf(Sum const* gains,
                                  std::int64_t selfSum) const {
  std::int64_t sum = selfSum;
  forEachCurrent([&](unsigned label) { sum += gains[label]; });
  return sum / 2;
}
