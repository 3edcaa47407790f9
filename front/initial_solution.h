// Reads an initial solution file: pairs of a variable name, ':' and a value
// name, found among any other text, so that a solution report is one too.

#pragma once

#include <vector>

#include "front/dictionary.h"
#include "front/lexer.h"

/// The assignment, one value number per variable, after reading `lexer` to its
/// end. A variable without a pair keeps value 0; if a variable has several
/// pairs, the last one applies. Other text is skipped without a message.
std::vector<unsigned> readInitialSolution(
    Lexer& lexer, Dictionary const& variables,
    std::vector<Dictionary*> const& values);
