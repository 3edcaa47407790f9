// What the fuzz targets share: a check that ends the process, and a model read
// through the front end.

#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "front/initial_solution.h"
#include "front/model_reader.h"
#include "solver/wcspi.h"

inline void require(bool holds, char const* what) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
  }
}

struct ReadModel {
  RealWcsp solver;
  Dictionary variables;
  std::vector<Dictionary*> values;
  std::vector<std::string> constraintName;
  int target = -1;

  ~ReadModel() { deleteAll(values); }

  void read(std::string const& text) {
    std::istringstream stream(text);
    Lexer lexer(stream, 1, Wcsp::inf);
    readModel(lexer, solver, variables, values, constraintName, target);
  }

  std::vector<unsigned> readStart(std::string const& text) const {
    std::istringstream stream(text);
    Lexer lexer(stream, 1, Wcsp::inf);
    return readInitialSolution(lexer, variables, values);
  }
};
