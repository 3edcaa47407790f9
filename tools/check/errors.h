// The errors of a model that the tokens at one place show, as a table.

#pragma once

#include <span>
#include <string_view>

namespace check {

// Where in a statement reading stands.
enum class Spot {
  declaration,  // at a statement that is no constraint
  variableName,
  joined,        // behind a name or value
  joinedNext,    // at a name or value
  statement,     // at the name of a constraint
  firstValue,    // at a value
  value,         // the same
  separator,     // behind a value, at no sign
  valuesEnd,     // behind the sign that closes a list
  alldiffEnd,    // the same
  beforeIn,      // before a word of a statement
  beforeWord,    // the same
  inWord,        // at that word
  weightWord,    // the same
  typeWord,      // the same
  targetEquals,  // behind that word
  weightEquals,  // the same
  typeEquals,    // the same
  secondEquals,  // behind '='
  number,
  fraction,  // behind the digits before a point
  termSign,  // before a term
  linearTerm,
  quadraticTerm,
  relation,
  noRelation,  // at what is neither a term nor a relation
  firstLabel,
  secondLabel,
  comma,     // behind the variable of a label
  labelEnd,  // behind its value
  kind,      // of a constraint
};

class Spots {
 public:
  constexpr Spots(Spot spot) : bits(1U << static_cast<unsigned>(spot)) {}

  friend constexpr Spots operator|(Spots a, Spots b) {
    a.bits |= b.bits;
    return a;
  }
  constexpr bool has(Spot spot) const { return (bits & Spots(spot).bits) != 0; }

 private:
  unsigned bits;
};

constexpr Spots operator|(Spot a, Spot b) {
  return Spots(a) | Spots(b);
}

// The bytes that an error marks. A word is what stands there up to the next
// blank or sign of the language.
enum class Extent {
  token,
  twoTokens,
  previous,  // the token before
  behind,    // nothing, behind the token before
  behindToken,
  word,
  previousWord,  // from the token before
  wordAround     // from the word that the token before touches
};

// How reading goes on.
enum class Next {
  abandon,  // with the next statement
  skipAndAbandon,
  resume,  // as if the text were right
  skip,    // the same behind the token
  skipTwo,
  lookOn,  // behind the token, with the cases below
  readVariable,
  skipAndReadVariable,
  readTarget
};

struct ErrorCase {
  Spots spots;
  // Elements for the tokens from here on, with blanks between them. An element
  // is a list of alternatives with '/' between them: W a word, N a number, S a
  // sign, D a word that opens with a digit, I a word for infinity, J what
  // continues the token before as in night-shift, K what touches a word before
  // it, ^ where a statement begins, $ the end, ? anything, ~word a word like
  // it, a word itself, or any of some signs. Prefixes: "not:", "touching:" the
  // token before, and, for that token in place of the next, "after:" or, on the
  // same line, "beside:".
  std::string_view pattern;
  // %0 and %1 the texts of these tokens, %p that of the token before, %f and %g
  // what was found for %0 and %1, %n the first bytes of a long %0, %j the text
  // %0 as a part of a name, %m the word marked, %r its remedy, %l the line of
  // the first constraint, %b the bound that replaces a strict one, %w what is
  // wanted here.
  std::string_view message;
  Next next = Next::abandon;
  Extent extent = Extent::token;
};

// The first case that matches counts.
std::span<const ErrorCase> errorCases();

}  // namespace check
