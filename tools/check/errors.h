// A table of the errors that can be recognised from the tokens at one place.

#pragma once

#include <span>
#include <string_view>

namespace check {

// The position of the reader in a statement.
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

// The bytes that an error marks. A word extends to the next blank or sign of
// the language.
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

// How reading continues.
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
  // Elements for the next tokens, separated by blanks. An element is a list of
  // alternatives separated by '/': W a word, N a number, S a sign, D a word
  // that begins with a digit, I a word for infinity, J a continuation of the
  // previous token as in night-shift, K a token that touches the word before
  // it, ^ the beginning of a statement, $ the end, ? anything, ~word a similar
  // word, a word itself, or any of some signs. Prefixes: "not:"; "touching:" if
  // it must touch the previous token; "after:" to match the previous token
  // instead of the next; "beside:" for the same on the same line.
  std::string_view pattern;
  // %0 and %1 are the texts of these tokens, %p that of the previous token, %f
  // and %g the similar names found for %0 and %1, %n the first bytes of a long
  // %0, %j the text %0 as a part of a name, %m the marked word, %r its remedy,
  // %l the line of the first constraint, %b the bound that replaces a strict
  // one, %w the expected text.
  std::string_view message;
  Next next = Next::abandon;
  Extent extent = Extent::token;
};

// The first matching case applies.
std::span<const ErrorCase> errorCases();

}  // namespace check
