// A model as in its file: variables with named values, and constraints with
// their lines.
//
// Variables, values and constraints are numbered from 0 in the order of the
// file. Nothing is sorted, merged or dropped here.

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace check {

// The weight of a hard constraint, the value of the word "inf", and the ceiling
// of a violation and of a printed penalty.
inline constexpr int inf = 2147483647;

// Wide enough for the totals of any model that fits in memory.
__extension__ typedef __int128 Int128;

// Names and their numbers. The names are stored in the nodes of the map, whose
// addresses survive a move but not a copy.
class Names {
 public:
  Names() = default;
  Names(Names&&) = default;
  Names& operator=(Names&&) = default;
  Names(Names const&) = delete;
  Names& operator=(Names const&) = delete;

  // Adds the name with the next number; false if it is there already.
  bool add(std::string const& name);
  // The number of the name, or size() if there is none.
  unsigned find(std::string_view name) const;
  std::string const& operator[](unsigned i) const { return *names[i]; }
  unsigned size() const { return static_cast<unsigned>(names.size()); }
  // All of them, in the order of their numbers.
  std::vector<std::string const*> const& all() const { return names; }
  // The same names in the same order.
  friend bool operator==(Names const& a, Names const& b) {
    return a.numbers == b.numbers;
  }

 private:
  std::map<std::string, unsigned, std::less<>> numbers;
  std::vector<std::string const*> names;
};

struct Label {
  unsigned variable = 0;
  unsigned value = 0;
};

// Contributes its coefficient if both labels are on. A linear term has the same
// label twice, so that one rule applies to both kinds.
struct Term {
  int coefficient = 0;
  Label label1;
  Label label2;
};

struct Constraint {
  enum Kind { linear, quadratic, alldiff };

  std::string name;
  std::size_t line = 0;  // of the name
  Kind kind = linear;
  int weight = 0;             // 0 to inf
  int lower = -inf;           // of the sum; -inf, written or not, is no bound
  int upper = inf;            // of the sum; inf, written or not, is no bound
  std::int64_t constant = 0;  // what the sum of its author has beyond the terms
  std::vector<Term> terms;    // linear and quadratic
  std::vector<unsigned> variables;  // all-different
};

struct Model {
  int target = 0;  // the soft penalty at which a search stops
  Names variables;
  std::vector<Names> values;  // one list for each variable
  std::vector<Constraint> constraints;
};

}  // namespace check
