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
/// constraints to it. Variables in a row whose values are named alike share a
/// dictionary; the caller deletes them with deleteAll(). A `target` of -1
/// takes the value of the model's first target that is not -1. All but `target`
/// must be new and empty.
///
/// Throws std::runtime_error at the first text that is not as the language
/// wants it, and what the solver throws. Names are looked up and entered as
/// soon as their token is read: the lexer's current token is then the one that
/// caused the error.
void readModel(Lexer& lexer, Wcsp& solver, Dictionary& variables,
               std::vector<Dictionary*>& values,
               std::vector<std::string>& constraintName, int& target);
