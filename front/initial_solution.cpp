// One pass over the tokens. The token after a variable's name is consumed even
// if it is not ':', so it never starts a pair itself.

#include "front/initial_solution.h"

namespace {

// Reads what follows the name of a variable whose values have these names.
void readValue(Lexer& lexer, Dictionary const& names, unsigned& value) {
  lexer.getnext();
  if (lexer.text != ":") {
    return;
  }
  lexer.getnext();
  unsigned const a = names.getId(lexer.text, true);
  if (a < names.size()) {
    value = a;
  }
}

}  // namespace

std::vector<unsigned> readInitialSolution(
    Lexer& lexer, Dictionary const& variables,
    std::vector<Dictionary*> const& values) {
  std::vector<unsigned> assignment(variables.size(), 0);
  for (lexer.getnext(); lexer.kind != Lexer::eof; lexer.getnext()) {
    if (lexer.kind != Lexer::identifier) {
      continue;
    }
    unsigned const v = variables.getId(lexer.text, true);
    if (v < variables.size()) {
      readValue(lexer, *values[v], assignment[v]);
    }
  }
  return assignment;
}
