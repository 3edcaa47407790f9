// Reads a model file: declarations of variables and a target, then weighted
// constraints. It fills the dictionaries and the solver as it goes and stops at
// the first error.

#pragma once

#include <string>
#include <vector>

#include "front/dictionary.h"
#include "front/lexer.h"
#include "solver/wcsp.h"

/// Reads `lexer` to its end. Enters the variables and their values and the
/// names of the constraints, declares the variables to `solver` and adds the
/// constraints to it. Consecutive variables with the same value names share a
/// dictionary; the caller deletes them with deleteAll(). If `target` is -1, it
/// receives the model's first target that is not -1. All arguments but `target`
/// must be new and empty.
///
/// Throws std::runtime_error at the first error in the text, and passes on the
/// exceptions of the solver. Names are looked up and entered as soon as their
/// token is read, so the lexer's current token is the one that caused the
/// error.
void readModel(Lexer& lexer, Wcsp& solver, Dictionary& variables,
               std::vector<Dictionary*>& values,
               std::vector<std::string>& constraintName, int& target);
