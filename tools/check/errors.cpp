#include "tools/check/errors.h"

namespace check {

namespace {

using enum Spot;
using enum Extent;
using enum Next;

constexpr std::string_view invalidName =
    "'%m' is no name: letters, digits and _ [ ] @ make one; write %r";
constexpr std::string_view termBehind =
    "terms stand before the relation: bring all to its left";

constexpr ErrorCase cases[] = {
    {declaration, "variable =",
     "variables come first: move this above the first constraint, on line %l",
     readTarget},
    {declaration, "variable",
     "variables come first: move this above the first constraint, on line %l",
     skipAndReadVariable},
    {declaration, "target",
     "the target comes first: move this above the first constraint, on line %l",
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
     "expected the name of a variable%f: a name holds a letter, as in 'x%j'"},
    {variableName, "?", "expected the name of a variable%f"},

    {joined | separator, "J", invalidName, abandon, previousWord},
    {joinedNext, "? J", invalidName, abandon, word},

    {statement, "after:} ;,.", "a list of values ends with '}': remove '%0'",
     skipAndAbandon},
    {statement, ";,.",
     "a linear or quadratic constraint ends with its bound: remove '%0'",
     skipAndAbandon},
    {statement, "})", "'%0' closes nothing: remove it", skipAndAbandon},
    {statement, "? ~weight =/N",
     "':' is missing after the name: write '%0: weight'", resume, behindToken},
    {statement, "~weight =",
     "a constraint begins with its name: write 'NAME: weight = 1'"},
    {statement, "? J", invalidName, abandon, word},
    {statement, "W W :", "a name is one word: write '%0_%1'", abandon,
     twoTokens},
    {statement, "N (", termBehind},
    {statement, "beside:N (", termBehind},
    {statement, "beside:N S", "a bound is one number%f"},
    {statement, "?", "expected ':' after the name of a constraint, '%0'%g"},

    {firstValue, "}", "a variable needs a value: write {a, b}", skip},
    {value, "}", "no ',' after the last value: remove it", skip, previous},
    {firstValue | value, "$", "'}' is missing", abandon, behind},
    {firstValue | value, "\"'", "names stand without quotes: remove '%0'"},
    {firstValue | value, "?", "expected a value%f"},

    {separator, "^", "'}' is missing after '%p'", resume, behind},
    {separator, "?", "',' is missing after '%p'", resume, behind},

    {valuesEnd, "after:;|", "values are separated by ',': replace '%p'",
     abandon, previous},
    {valuesEnd, "not:after:) after:K touching:?",
     "'%m' is no value: letters, digits and _ [ ] @ make one; write %r",
     abandon, wordAround},
    {valuesEnd, "?", "'%p' closes the list of values: write '}'", abandon,
     previous},
    {alldiffEnd, "after:({,",
     "the variables of an alldiff stand without '%p': write 'alldiff x y ;'",
     abandon, previous},
    {alldiffEnd, "?", "'%p' closes the list: write 'alldiff x y ;'", abandon,
     previous},

    {beforeIn, ",",
     "a statement declares one variable: write 'variable' for each"},
    {beforeIn | beforeWord, ",; W", "no '%0' before '%w': remove it", skip},
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
    {secondEquals, "=", "a single '=' here: remove the second", skip},

    {number, "N",
     "'%n' is too large: write a number from -2147483648 to 2147483647, or "
     "inf",
     skip},
    {number, "I not::", "expected %w%f: write 'inf'", skip},
    {number, "-+ inf", "inf has no sign: write '-2147483647'", skipTwo},
    {number, "-+ N", "a sign touches its number: write '%0%1'", skipTwo},
    {number, "D not::", "expected %w%f: write digits only"},
    {number, "^", "%w is missing", abandon, behind},
    {number, "?", "expected %w%f"},
    {fraction, "after:N touching:. N",
     "'%m' is no whole number: multiply all of the same sum, or all weights, "
     "until they are",
     skipTwo, previousWord},

    {termSign, "- inf", "inf has no sign: write '-2147483647'", skip},
    {termSign, "- N", "a sign touches its number: write '%0%1'", skip},
    {termSign, ",+ N/(", "terms stand side by side: remove '%0'", skip},
    {linearTerm, "beside:) (",
     "a linear term has one label: write a coefficient, '1(', before the next "
     "term, or 'type = quadratic'"},
    {quadraticTerm, "beside:) (",
     "a quadratic term has two labels: write a coefficient, '1(', before the "
     "next term"},
    {linearTerm | quadraticTerm, "(",
     "a term begins with its coefficient: write '1('", resume},
    {linearTerm | quadraticTerm, "- (",
     "a term begins with its coefficient: write '-1('", skip},
    {linearTerm | quadraticTerm, "I (", "expected a coefficient%f: write 'inf'",
     skip},

    {relation, "<> <>",
     "a sum cannot be told to differ from a number: write '<=', '>=' or '='",
     abandon, twoTokens},
    {relation, "!~ =",
     "a sum cannot be told to differ from a number: write '<=', '>=' or '='",
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

    {firstLabel, "* (", "a coefficient touches its label: remove '*'", lookOn},
    {firstLabel, "not:(",
     "expected '('%f: a term is a coefficient and a label, '1(x, a)'"},
    {secondLabel, ",* (", "the labels of a term touch: remove '%0'", lookOn},
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
