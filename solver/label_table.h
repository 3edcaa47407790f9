// What the solver knows of each label, side by side in long arrays. The labels
// are numbered from 0, ascending by variable and then by value: comparing two
// numbers compares two labels.

#pragma once

#include <cstddef>
#include <limits>
#include <new>
#include <vector>

class LabelTable {
 public:
  struct Candidacy {
    int improvingCount = 0;  ///< constraints whose penalty moving here lowers
    unsigned position = 0;   ///< among the candidates while that is above 0
  };

  std::vector<double> scores;          ///< what moving here adds to the
                                       ///< weighted penalty; by number
  std::vector<Candidacy> candidacies;  ///< by number

  LabelTable() = default;

  /// A table for variables with domains of these sizes. Throws std::bad_alloc
  /// when there are more labels than numbers.
  explicit LabelTable(std::vector<unsigned> const& sizes) {
    begins.reserve(sizes.size() + 1);
    std::size_t begin = 0;
    for (unsigned const size : sizes) {
      begins.push_back(static_cast<unsigned>(begin));
      begin += size;
      if (begin >= std::numeric_limits<unsigned>::max()) {
        throw std::bad_alloc();
      }
    }
    begins.push_back(static_cast<unsigned>(begin));
    scores.resize(begin);
    candidacies.resize(begin);
    variables.reserve(begin);
    for (unsigned v = 0; v < sizes.size(); ++v) {
      variables.resize(variables.size() + sizes[v], v);
    }
  }

  /// How many labels there are.
  unsigned size() const { return begins.empty() ? 0 : begins.back(); }

  unsigned number(unsigned variable, unsigned value) const {
    return begins[variable] + value;
  }
  unsigned variable(unsigned label) const { return variables[label]; }
  unsigned value(unsigned label) const {
    return label - begins[variables[label]];
  }

  /// The number of each variable's first label, and size().
  unsigned const* firstNumbers() const { return begins.data(); }

 private:
  std::vector<unsigned> begins;     ///< by variable, and the end
  std::vector<unsigned> variables;  ///< by label
};
