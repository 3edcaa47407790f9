// What the benchmarks measure and forms_test compares: constraints of every
// kind in several sizes, each as the solver builds it and in its plain form,
// with the moves that are made under them. Everything is drawn from a generator
// with a fixed seed.

#pragma once

#include <cstddef>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "constraints/wcsp_alldiff.h"
#include "constraints/wcsp_linear.h"
#include "constraints/wcsp_quadratic.h"
#include "solver/wcsp.h"
#include "tests/plain/forms.h"

struct Move {
  unsigned variable;
  unsigned value;
};

/// Domains, a start and the moves made from it over and over.
struct Setting {
  std::vector<unsigned> numValues;
  std::vector<unsigned> start;
  std::vector<Move> moves;
};

/// Walks over the moves of a setting again and again.
class MoveCycle {
 public:
  explicit MoveCycle(std::vector<Move> const& cycle) : moves(cycle) {}
  Move next() {
    const Move move = moves[position];
    position = position + 1 == moves.size() ? 0 : position + 1;
    return move;
  }

 private:
  std::vector<Move> const& moves;
  std::size_t position = 0;
};

/// Whose classes a model is built from.
struct SolverKinds {
  using Linear = WcspLinear;
  using Quadratic = WcspQuadratic;
  using Alldiff = WcspAlldiff;
};

struct PlainKinds {
  using Linear = PlainLinear;
  using Quadratic = PlainQuadratic;
  using Alldiff = PlainAlldiff;
};

/// Adds constraints to a solver, which owns them.
using Builder = std::function<void(Wcsp&)>;

/// One model in both forms.
struct Case {
  std::string name;
  Setting setting;
  Builder build;       ///< from the solver's own constraints
  Builder buildPlain;  ///< from the plain ones
};

/// A random number from 0 to bound - 1.
unsigned draw(std::mt19937& random, unsigned bound);

/// Appends a term and, when its labels differ, its mirror.
void addTerm(WcspQuadratic& constraint, int coefficient, unsigned variable1,
             unsigned value1, unsigned variable2, unsigned value2);
void addTerm(PlainQuadratic& constraint, int coefficient, unsigned variable1,
             unsigned value1, unsigned variable2, unsigned value2);

/// Cases of a single constraint.
std::vector<Case> calculateCases();

/// Cases of many constraints, as large as the generated workloads: those with
/// quadratic constraints, and those without.
std::vector<Case> quadraticModels();
std::vector<Case> linearModels();
