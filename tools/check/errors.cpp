#include "tools/check/errors.h"

namespace check {

namespace {

using enum Spot;
using enum Extent;
using enum Next;

constexpr std::string_view invalidName =
    "'%m' is not a valid name: use letters, digits and _ [ ] @ only; write %r";
constexpr std::string_view termBehind =
    "terms must precede the relation: move them to its left";

constexpr ErrorCase cases[] = {
    {declaration, "variable =",
     "declare variables before the first constraint, which is on line %l",
     readTarget},
    {declaration, "variable",
     "declare variables before the first constraint, which is on line %l",
     skipAndReadVariable},
    {declaration, "target",
     "set the target before the first constraint, which is on line %l",
     readTarget},
    {declaration, "W in {",
     "expected 'variable' before '%0': write 'variable %0 in {a, b}'",
     readVariable},
    {declaration, "W W in/{",
     "unknown statement '%0': write 'variable %1 in {a, b}'",
     skipAndReadVariable},
    {declaration, "~target =", "unknown statement '%0': write 'target = N'",
     readTarget},

    {variableName, ":",
     "the first constraint cannot have the name 'variable': rename it"},
    {variableName, "N",
     "expected the name of a variable%f: a name must contain a letter, as in "
     "'x%j'"},
    {variableName, "?", "expected the name of a variable%f"},

    {joined | separator, "J", invalidName, abandon, previousWord},
    {joinedNext, "? J", invalidName, abandon, word},

    {statement, "after:} ;,.",
     "unexpected text after the list of values: remove '%0'", skipAndAbandon},
    {statement, ";,.", "unexpected text after the bound: remove '%0'",
     skipAndAbandon},
    {statement, "})", "'%0' is unmatched: remove it", skipAndAbandon},
    {statement, "? ~weight =/N",
     "':' is missing after the name: write '%0: weight'", resume, behindToken},
    {statement, "~weight =",
     "a constraint starts with its name: write 'NAME: weight = 1'"},
    {statement, "? J", invalidName, abandon, word},
    {statement, "W W :", "a name must be a single word: write '%0_%1'", abandon,
     twoTokens},
    {statement, "N (", termBehind},
    {statement, "beside:N (", termBehind},
    {statement, "beside:N S", "a bound must be a single number%f"},
    {statement, "?", "expected ':' after the name of a constraint, '%0'%g"},

    {firstValue, "}", "a variable needs at least one value: write {a, b}",
     skip},
    {value, "}", "trailing ',' in a list of values: remove it", skip, previous},
    {firstValue | value, "$", "'}' is missing", abandon, behind},
    {firstValue | value, "\"'", "names are not quoted: remove '%0'"},
    {firstValue | value, "?", "expected a value%f"},

    {separator, "^", "'}' is missing after '%p'", resume, behind},
    {separator, "?", "',' is missing after '%p'", resume, behind},

    {valuesEnd, "after:;|", "separate values with ',': replace '%p'", abandon,
     previous},
    {valuesEnd, "not:after:) after:K touching:?",
     "'%m' is not a valid value: use letters, digits and _ [ ] @ only; write "
     "%r",
     abandon, wordAround},
    {valuesEnd, "?", "'%p' closes the list of values: write '}'", abandon,
     previous},
    {alldiffEnd, "after:({,",
     "unexpected '%p' in an alldiff: write 'alldiff x y ;'", abandon, previous},
    {alldiffEnd, "?", "'%p' ends the list of variables: write 'alldiff x y ;'",
     abandon, previous},

    {beforeIn, ",", "declare each variable in a statement of its own"},
    {beforeIn | beforeWord, ",; W", "unexpected '%0' before '%w': remove it",
     skip},
    {weightWord, "after:K touching:N", invalidName, abandon, wordAround},
    {weightWord, "type",
     "the weight is missing: write 'weight = inf' or 'weight = 1' before "
     "'type'"},
    {inWord, "{", "'in' is missing before '{'", resume, behind},
    {inWord, "=:/W {", "expected 'in'%f", skip},
    {weightWord, "~weight", "expected 'weight'%f", skip},
    {typeWord, "~type", "expected 'type'%f", skip},
    {weightWord | typeWord, "W =", "expected '%w'%f", skip},
    {inWord | weightWord | typeWord, "^", "'%w' is missing", abandon, behind},
    {inWord | weightWord | typeWord, "?", "expected '%w'%f"},

    {targetEquals, ": not:S",
     "the first constraint cannot have the name 'target': rename it"},
    {weightEquals | typeEquals, ": not:S", "expected '=' after '%w'%f", skip},
    {targetEquals | weightEquals | typeEquals, "N", "'=' is missing after '%w'",
     resume, behind},
    {typeEquals, "W", "'=' is missing after '%w'", resume, behind},
    {targetEquals | weightEquals | typeEquals, "?",
     "expected '=' after '%w'%f"},
    {secondEquals, "=", "use a single '=': remove the second", skip},

    {number, "N",
     "'%n' is too large: write a number from -2147483648 to 2147483647, or inf",
     skip},
    {number, "I not::", "expected %w%f: write 'inf'", skip},
    {number, "-+ inf", "inf cannot have a sign: write '-2147483647'", skipTwo},
    {number, "-+ N", "no space between a sign and its number: write '%0%1'",
     skipTwo},
    {number, "D not::", "expected %w%f: use digits only"},
    {number, "^", "%w is missing", abandon, behind},
    {number, "?", "expected %w%f"},
    {fraction, "after:N touching:. N",
     "'%m' is not an integer: scale the whole constraint", skipTwo,
     previousWord},

    {termSign, "- inf", "inf cannot have a sign: write '-2147483647'", skip},
    {termSign, "- N", "no space between a sign and its number: write '%0%1'",
     skip},
    {termSign, ",+ N/(", "separate terms with spaces: remove '%0'", skip},
    {linearTerm, "beside:) (",
     "a linear term has one label: write a coefficient, '1(', before the next "
     "term, or 'type = quadratic'"},
    {quadraticTerm, "beside:) (",
     "a quadratic term has two labels: write a coefficient, '1(', before the "
     "next term"},
    {linearTerm | quadraticTerm, "(",
     "a term starts with its coefficient: write '1('", resume},
    {linearTerm | quadraticTerm, "- (",
     "a term starts with its coefficient: write '-1('", skip},
    {linearTerm | quadraticTerm, "I (", "expected a coefficient%f: write 'inf'",
     skip},

    {relation, "<> <>", "'%0%1' is not supported: write '<=', '>=' or '='",
     abandon, twoTokens},
    {relation, "!~ =", "'%0%1' is not supported: write '<=', '>=' or '='",
     abandon, twoTokens},
    {relation, "<> not:=", "unknown relation '%0': write %b", skip},
    {relation, "= =", "unknown relation '==': write '='", skipTwo, twoTokens},
    {relation, "= <>", "unknown relation '=%1': write '%1='", skipTwo,
     twoTokens},
    {noRelation, "^", "the relation is missing: write '<= N', '>= N' or '= N'",
     abandon, behind},
    {noRelation, ";.",
     "the relation is missing: write '<= N', '>= N' or '= N' instead of '%0'"},
    {noRelation, "W (", "expected a coefficient%f: write '1(x, a)'"},
    {noRelation, "?", "expected a term or a relation%f"},

    {firstLabel, "* (", "no '*' between a coefficient and its label: remove it",
     lookOn},
    {firstLabel, "not:(",
     "expected '('%f: a term is a coefficient and a label, '1(x, a)'"},
    {secondLabel, ",* (", "no '%0' between the labels of a term: remove it",
     lookOn},
    {secondLabel, "not:(",
     "a quadratic term has two labels, '1(x, a)(y, b)': write the second, or "
     "'type = linear'",
     abandon, behind},
    {comma, ")", "a label is a variable and a value: write '(%p, VALUE)'"},
    {comma, "=: not:S", "expected ','%f", skip},
    {comma, "S/$", "expected ','%f"},
    {comma, "? :", "expected ','%f"},
    {comma, "?", "',' is missing after '%p'", resume, behind},
    {labelEnd, ",",
     "a label is one variable and one value: expected ')', found ','"},
    {labelEnd, "N/^/(<>=+", "')' is missing after '%p'", resume, behind},
    {labelEnd, "?", "expected ')'%f"},

    {kind, "^", "the type is missing: write 'linear', 'quadratic' or 'alldiff'",
     abandon, behind},
    {kind, "?", "expected 'linear', 'quadratic' or 'alldiff'%f"},
};

}  // namespace

std::span<const ErrorCase> errorCases() {
  return cases;
}

}  // namespace check
