// The short-term memory of the tabu search: a tabu list with an adaptive tenure
// and an aspiration rule. Its attributes are the variables of the problem, but
// it knows nothing of the problem itself.
//
// The tenure shrinks when a tabu attribute is admitted by aspiration and grows
// when the search cycles among attributes that it has already moved since the
// last reset. From then on (the diversify state) attributes moved by worsening
// moves are marked, and the list watches whether the search comes back to them.
//
// Invariant: an attribute is in `marked` exactly when its `position` is not
// `notMarked`, and then `marked[position]` is its number.

#pragma once

#include <cstdint>
#include <iosfwd>
#include <limits>
#include <vector>

class Tabulist {
 public:
  static constexpr int notMarked = 2147483647;

  struct Attribute {
    /// The clock of the last update plus its noise; the attribute is tabu while
    /// clock <= stamp + tenure.
    std::int64_t stamp = std::numeric_limits<int>::min();
    double value = 0.0;        ///< the penalty after its last move
    double delta = 0.0;        ///< the change of penalty by that move
    int numTouched = 0;        ///< the list's count right after that move
    int position = notMarked;  ///< its index in `marked`
  };

  std::int64_t clock;   ///< goes up by one at every update, jumps at resets
  int numAttributes;    ///< this many touched ones reset the list completely
  std::int64_t tenure;  ///< at least 1
  std::int64_t resetClock;  ///< the clock at the last reset
  int numTouched;  ///< distinct attributes updated since the last reset
  std::vector<Attribute> attributes;
  std::vector<int> marked;  ///< attribute numbers, in no particular order
  bool diversify;           ///< cycling has been seen since the last reset
  std::ostream* log;        ///< where update() writes its notes; not owned

  /// A list of attributes that have never been updated. `stream` outlives it.
  Tabulist(int numAttributes, std::ostream* stream);

  /// Whether a move of `attribute` is tabu: one that would lead to
  /// `penaltyAfter`, a change by `delta`.
  bool operator()(int attribute, double penaltyAfter, double delta) const;

  /// Records that `attribute` has been moved, with the penalty after the move
  /// and the change it caused. `noise`, at most 1, is added to its stamp.
  /// `verbose`: write notes on `log`, without a line end.
  void update(int attribute, double penaltyAfter, double delta, int noise,
              bool verbose);

  /// Frees every attribute and forgets the tenure too.
  void resetAll();

  /// Frees every attribute and keeps the tenure.
  void reset();

 private:
  /// What became of the marked attributes whose tabu time had run out.
  enum class Review { none, selected, notSelected };

  bool isTabu(Attribute const& attribute) const;
  bool isTouched(Attribute const& attribute) const;
  void startEpoch(std::int64_t ticks);
  void noteState(int attribute) const;
  void note(char const* text, bool verbose) const;
  bool endsByReview(int attribute, double delta, bool verbose);
  Review reviewMarked(int attribute, bool verbose);
  void mark(int attribute, bool verbose);
  void unmark(int attribute);
};
