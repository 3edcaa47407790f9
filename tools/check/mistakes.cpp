// What was meant where a statement goes wrong: the second half of the reader.
//
// Each function is called where the text is no model already, so it may guess;
// a guess decides the message and where reading goes on, never the outcome.

#include <algorithm>
#include <array>
#include <cstring>

#include "tools/check/hints.h"
#include "tools/check/reader.h"
#include "tools/check/text.h"

namespace check {

namespace {

constexpr std::size_t maxShown = 60;  // bytes of the text in a message
constexpr std::size_t maxUnknown = 1000;

bool isPartOfWord(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
         (c >= 'A' && c <= 'Z') || std::strchr("_[]@", c) != nullptr;
}

bool isSigned(const Token& token) {
  return token.kind == Token::number &&
         (token.text[0] == '-' || token.text[0] == '+');
}

// The bytes from `begin` on up to a blank or a sign of the language.
std::string_view runAt(std::string_view text, std::size_t begin) {
  const std::size_t past = text.find_first_of(" \t\r\n\v\f,(){};#=<>", begin);
  std::string_view run = text.substr(begin, std::min(past - begin, maxShown));
  while (!run.empty() && (run.back() == ':' || run.back() == '.')) {
    run.remove_suffix(1);
  }
  return run;
}

std::string joinedWord(std::string_view run) {
  std::string word;
  for (const char c : run) {
    if (isPartOfWord(c)) {
      word += c;
    } else if (word.empty() || word.back() != '_') {
      word += '_';
    }
  }
  return word;
}

bool isInfinity(std::string_view word) {
  constexpr std::array<std::string_view, 6> words = {
      "inf", "infinity", "infinite", "infty", "hard", "max"};
  return std::any_of(words.begin(), words.end(), [&](std::string_view known) {
    return editDistance(word, known, 1) == 0;
  });
}

}  // namespace

void Reader::blameMark() {
  if (text.substr(0, 3) == "\xEF\xBB\xBF") {
    add(0, 3,
        "the text starts with a byte-order mark: save it without one, as with "
        "'tail -c +4'");
  }
}

// Nothing else is worth telling of a text that no byte of is as it should be.
void Reader::blameEncoding() {
  if (reading.numFaults > 0 && isUtf16(text)) {
    reading.faults = {
        {0, 0,
         "the text is UTF-16: save it as 'iconv -f UTF-16 -t ASCII' "
         "does"}};
    reading.numFaults = 1;
    reading.warnings = Warnings();
  }
}

// Whether the token continues the one before it, as in night-shift or 9:30.
bool Reader::isJoined(std::size_t n) {
  if (!isTouching(n)) {
    return false;
  }
  return isSigned(at(n)) ||
         (atSymbol(n) &&
          (std::strchr("-.:/'&!?%~*", at(n).text[0]) != nullptr ||
           hasHighByte(at(n).text)));
}

void Reader::failJoined(std::size_t n) {
  const std::size_t begin = n == 0 ? tokens.previous().begin : at(n - 1).begin;
  const std::string_view run = runAt(text, begin);
  const std::string shown(run);
  std::string remedy = "write '" + joinedWord(run) + "'";
  if (run.find("..") != run.npos) {
    remedy = "write every value, as in {1, 2, 3}";
  }
  note(begin, begin + run.size(),
       "'" + shown + "' is no name: letters, digits and _ [ ] @ make one; " +
           remedy);
  throw Abandoned();
}

// Whether there was a number like 1.5, of which the rest is passed over.
bool Reader::mendFraction() {
  if (!atSign('.') || !isTouching() || at(1).kind != Token::number ||
      tokens.previous().kind != Token::number) {
    return false;
  }
  const std::size_t begin = tokens.previous().begin;
  const std::string_view run = runAt(text, begin);
  note(begin, begin + run.size(),
       "'" + std::string(run) +
           "' is no whole number: multiply all of the same sum, or all "
           "weights, until they are");
  advance();
  advance();
  return true;
}

// A declaration behind a constraint, or its first word misspelt or left out.
bool Reader::mendDeclaration() {
  if (atSign(':', 1) || at(1).kind == Token::end) {
    return false;
  }
  const bool isVariable = atWord("variable");
  const bool isTarget = atWord("target");
  if (isVariable || isTarget) {
    note(std::string(isVariable ? "variables come" : "the target comes") +
         " first: move this above the first constraint, on line " +
         std::to_string(firstConstraint));
  } else if (atWord() && atWord("in", 1) && atSign('{', 2)) {
    note("expected 'variable' before '" + at().text + "': write 'variable " +
         at().text + " in {a, b}'");
    readVariable();
    return true;
  } else if (atWord() && atWord(1) && (atWord("in", 2) || atSign('{', 2))) {
    note("unknown statement '" + at().text + "': write 'variable " +
         at(1).text + " in {a, b}'");
  } else if (atWord() && isNear(at().text, "target") && atSign('=', 1)) {
    note("unknown statement '" + at().text + "': write 'target = N'");
  } else {
    return false;
  }
  if (isTarget || atSign('=', 1)) {
    readTarget();
  } else {
    advance();
    readVariable();
  }
  return true;
}

void Reader::blameName() {
  if (atSign(':')) {
    fail("the first constraint cannot have the name 'variable': rename it");
  }
  if (at().kind == Token::number) {
    fail("expected the name of a variable" + found() +
         ": a name holds a letter, as in 'x" + joinedWord(at().text) + "'");
  }
  fail("expected the name of a variable" + found());
}

// The statement is a constraint; it opens with its name and a colon.
void Reader::blameStatement() {
  if (atSign(':', 1)) {
    return;
  }
  if (mendFraction()) {
    throw Abandoned();
  }
  if (atSign(';') || atSign(',') || atSign('.')) {
    note((tokens.previous().text == "}"
              ? "a list of values ends with '}': remove '"
              : "a linear or quadratic constraint ends with its bound: "
                "remove '") +
         at().text + "'");
    advance();
    throw Abandoned();
  }
  if (atSign('}') || atSign(')') || atSign(']')) {
    note("'" + at().text + "' closes nothing: remove it");
    advance();
    throw Abandoned();
  }
  if (atWord(1) && isNear(at(1).text, "weight") &&
      (atSign('=', 2) || at(2).kind == Token::number)) {
    note(at().past, at().past,
         "':' is missing after the name: write '" + at().text + ": weight'");
    return;
  }
  if (atWord() && isNear(at().text, "weight") && atSign('=', 1)) {
    fail("a constraint begins with its name: write 'NAME: weight = 1'");
  }
  if (isJoined(1)) {
    failJoined(1);
  }
  if (atWord() && atWord(1) && atSign(':', 2)) {
    note(at().begin, at(1).past,
         "a name is one word: write '" + at().text + "_" + at(1).text + "'");
    throw Abandoned();
  }
  if (at().kind == Token::number && atSign('(', 1)) {
    fail("terms stand before the relation: bring all to its left");
  }
  if (tokens.previous().kind == Token::number && atSymbol() &&
      !isFirstOnLine()) {
    if (atSign('(')) {
      fail("terms stand before the relation: bring all to its left");
    }
    fail("a bound is one number" + found());
  }
  fail("expected ':' after the name of a constraint, '" + at().text + "'" +
       found(1));
}

// At a sign where a value has to be; legal if another sign follows.
bool Reader::mendValues(bool isFirst) {
  if (at().kind == Token::end) {
    failBehind("'}' is missing");
  }
  if (atSymbol(1)) {
    return false;
  }
  if (atSign('}')) {
    if (isFirst) {
      note("a variable needs a value: write {a, b}");
    } else {
      const Token& comma = tokens.previous();
      note(comma.begin, comma.past, "no ',' after the last value: remove it");
    }
    advance();
    return true;
  }
  if (atSign(',')) {
    fail("expected a value, found ','");
  }
  if (atSign('"') || atSign('\'')) {
    fail("names stand without quotes: remove '" + at().text + "'");
  }
  fail("expected a value" + found());
}

// Behind a value, at a word or number; whether the list ends here.
bool Reader::mendSeparator() {
  const std::string value = "'" + tokens.previous().text + "'";
  if (isJoined()) {
    failJoined();
  }
  if (atStatement()) {
    noteBehind("'}' is missing after " + value);
    return true;
  }
  noteBehind("',' is missing after " + value);
  return false;
}

// Behind the sign that closed a list. The text is no model unless a statement
// follows.
void Reader::blameClosing(const Token& sign, bool isAlldiff) {
  const bool isUsual =
      isAlldiff ? sign.text == ";" || sign.text == "." : sign.text == "}";
  const bool isFollowed =
      at().kind == Token::end || atSign(':', 1) ||
      (!isAlldiff && (atWord("variable") || atWord("target")));
  if (isUsual) {
    return;
  }
  if (isFollowed) {
    reading.warnings.add(
        "closing-sign", sign.line,
        "'" + sign.text + "' closes the list of " +
            (isAlldiff ? "an alldiff: write ';'" : "values: write '}'"));
    return;
  }
  if (isAlldiff) {
    if (atWord("variable") || atWord("target")) {
      return;
    }
    const bool isBracket = sign.text == "(" || sign.text == "{";
    note(sign.begin, sign.past,
         isBracket || sign.text == ","
             ? "the variables of an alldiff stand without '" + sign.text +
                   "': write 'alldiff x y ;'"
             : "'" + sign.text + "' closes the list: write 'alldiff x y ;'");
    throw Abandoned();
  }
  blameValueList(sign);
}

void Reader::blameValueList(const Token& sign) {
  const char before = sign.begin > 0 ? text[sign.begin - 1] : ' ';
  const bool isWithin = (isPartOfWord(before) || hasHighByte({&before, 1})) &&
                        sign.text.find_first_of(";)]|") == std::string::npos &&
                        isTouching();
  if (isWithin) {
    std::size_t begin = sign.begin;
    while (begin > 0 &&
           (isPartOfWord(text[begin - 1]) ||
            hasHighByte(text.substr(begin - 1, 1))) &&
           sign.begin - begin < maxShown) {
      --begin;
    }
    const std::string_view run = runAt(text, begin);
    note(begin, begin + run.size(),
         "'" + std::string(run) +
             "' is no value: letters, digits and _ [ ] @ make one; write " +
             (run.find("..") != run.npos ? "every value, as in {1, 2, 3}"
                                         : "'" + joinedWord(run) + "'"));
  } else if (sign.text == ";" || sign.text == "|") {
    note(sign.begin, sign.past,
         "values are separated by ',': replace '" + sign.text + "'");
  } else {
    note(sign.begin, sign.past,
         "'" + sign.text + "' closes the list of values: write '}'");
  }
  throw Abandoned();
}

// Takes the word, which a statement has here.
void Reader::mendWord(std::string_view word) {
  const std::string wanted(word);
  mendFraction();
  if (word == "in" && atSign(',')) {
    fail("a statement declares one variable: write 'variable' for each");
  }
  if ((atSign(',') || atSign(';')) && atWord(1)) {
    note("no '" + at().text + "' before '" + wanted + "': remove it");
    advance();
  }
  if (atWord(word)) {
    return advance();
  }
  if (word == "weight" && isTouching() && !atWord()) {
    const Token& colon = tokens.previous();
    if (at().kind == Token::number && colon.begin > 0 &&
        isPartOfWord(text[colon.begin - 1])) {
      std::size_t begin = colon.begin;
      while (begin > 0 && isPartOfWord(text[begin - 1]) &&
             colon.begin - begin < maxShown) {
        --begin;
      }
      const std::string_view run = runAt(text, begin);
      note(begin, begin + run.size(),
           "'" + std::string(run) +
               "' is no name: letters, digits and _ [ ] @ make one; write '" +
               joinedWord(run) + "'");
      throw Abandoned();
    }
  }
  if (word == "weight" && atWord("type")) {
    fail(
        "the weight is missing: write 'weight = inf' or 'weight = 1' before "
        "'type'");
  }
  if (word == "in") {
    if (atSign('{')) {
      noteBehind("'in' is missing before '{'");
      return;
    }
    if ((atSign('=') || atSign(':') || atWord()) && atSign('{', 1)) {
      note("expected 'in'" + found());
      return advance();
    }
  } else if (atWord() && (isNear(at().text, word) || atSign('=', 1))) {
    note("expected '" + wanted + "'" + found());
    return advance();
  }
  if (atStatement()) {
    failBehind("'" + wanted + "' is missing");
  }
  fail("expected '" + wanted + "'" + found());
}

void Reader::mendEquals(const char* word) {
  const std::string name(word);
  if (atSign('=')) {
    advance();
    if (atSign('=')) {
      note("a single '=' here: remove the second");
      advance();
    }
  } else if (atSign(':') && !atSymbol(1)) {
    if (name == "target") {
      fail("the first constraint cannot have the name 'target': rename it");
    }
    note("expected '=' after '" + name + "', found ':'");
    advance();
  } else if (at().kind == Token::number || (atWord() && name == "type")) {
    noteBehind("'=' is missing after '" + name + "'");
  } else {
    fail("expected '=' after '" + name + "'" + found());
  }
}

// At a sign with a blank behind it, or before inf.
void Reader::noteSign() {
  note(at(1).text == "inf" ? "inf has no sign: write '-2147483647'"
                           : "a sign touches its number: write '" + at().text +
                                 at(1).text + "'");
}

// Where a number has to be, which is not there or too large.
int Reader::mendNumber(const char* what) {
  const std::string name(what);
  if (at().kind == Token::number) {
    note("'" + at().text.substr(0, maxShown) +
         "' is too large: write a number from -2147483648 to 2147483647, or "
         "inf");
    advance();
    return 0;
  }
  if (atWord() && isInfinity(at().text) && !atSign(':', 1)) {
    note("expected " + name + found() + ": write 'inf'");
    advance();
    return inf;
  }
  const bool isSign = atSign('-') || atSign('+');
  if (isSign && at(1).kind == Token::number) {
    noteSign();
    advance();
    advance();
    return 0;
  }
  if (atWord() && at().text[0] >= '0' && at().text[0] <= '9' &&
      !atSign(':', 1)) {
    fail("expected " + name + found() + ": write digits only");
  }
  if (atStatement()) {
    failBehind(name + " is missing");
  }
  fail("expected " + name + found());
}

// Before a term that does not open with its coefficient; whether it is one.
bool Reader::mendTerm(bool isQuadratic) {
  for (;;) {
    if (at().kind == Token::number) {
      return true;
    }
    const bool isBefore = at(1).kind == Token::number || atSign('(', 1);
    if (atSign('(')) {
      if (tokens.previous().text == ")" && !isFirstOnLine()) {
        fail(isQuadratic
                 ? "a quadratic term has two labels: write a coefficient, "
                   "'1(', before the next term"
                 : "a linear term has one label: write a coefficient, '1(', "
                   "before the next term, or 'type = quadratic'");
      }
      note("a term begins with its coefficient: write '1('");
      return true;
    }
    if (atSign('-') && atSign('(', 1)) {
      note("a term begins with its coefficient: write '-1('");
      advance();
      return true;
    }
    if (atSign('-') && isBefore) {
      noteSign();
    } else if ((atSign('+') || atSign(',')) && isBefore) {
      note("terms stand side by side: remove '" + at().text + "'");
    } else if (atWord() && atSign('(', 1) && isInfinity(at().text)) {
      note("expected a coefficient" + found() + ": write 'inf'");
      advance();
      return true;
    } else {
      return false;
    }
    advance();
  }
}

// Takes a relation that is none; leaves one that is right.
bool Reader::mendRelation() {
  const std::string_view sign = text.substr(at().begin, 3);
  if (sign == "\xE2\x89\xA4" || sign == "\xE2\x89\xA5") {
    add(at().begin, at().begin + 3,
        sign == "\xE2\x89\xA4" ? "write '<='" : "write '>='");
    throw Abandoned();
  }
  const bool isEqual = atSign('=');
  const bool isStrict = (atSign('<') || atSign('>')) && !atSign('=', 1);
  const std::size_t past = at(1).past;
  if ((isStrict && (atSign('<', 1) || atSign('>', 1))) ||
      ((atSign('!') || atSign('~')) && atSign('=', 1))) {
    note(at().begin, past,
         "a sum cannot be told to differ from a number: write '<=', '>=' or "
         "'='");
    throw Abandoned();
  }
  if (isStrict) {
    std::string remedy = "'" + at().text + "='";
    if (const auto bound = at(1).value();
        bound && at(1).text != "inf" && *bound<inf&& * bound> - inf) {
      remedy = "'" + at().text + "= " +
               std::to_string(*bound + (atSign('<') ? -1 : 1)) + "'";
    }
    note("unknown relation '" + at().text + "': write " + remedy);
    advance();
    return true;
  }
  if (isEqual && atSymbol(1) && std::strchr("=<>", at(1).text[0]) != nullptr) {
    const std::string second = at(1).text;
    note(at().begin, past,
         "unknown relation '=" + second + "': write '" +
             (second == "=" ? "='" : second + "='"));
    advance();
    advance();
    return true;
  }
  if (!isEqual && !atSign('<') && !atSign('>')) {
    blameRelation();
  }
  return false;
}

void Reader::blameRelation() {
  constexpr const char* remedy = "write '<= N', '>= N' or '= N'";
  if (atStatement()) {
    failBehind(std::string("the relation is missing: ") + remedy);
  }
  if (atSign(';') || atSign('.')) {
    fail(std::string("the relation is missing: ") + remedy + " instead of '" +
         at().text + "'");
  }
  if (atWord() && atSign('(', 1)) {
    fail("expected a coefficient" + found() + ": write '1(x, a)'");
  }
  fail("expected a term or a relation" + found());
}

void Reader::mendLabelOpening() {
  mendFraction();
  if (atSign('*') && atSign('(', 1)) {
    note("a coefficient touches its label: remove '*'");
    advance();
  }
  if (!atSign('(')) {
    fail("expected '('" + found() +
         ": a term is a coefficient and a label, "
         "'1(x, a)'");
  }
  advance();
}

void Reader::mendSecondLabel() {
  if ((atSign(',') || atSign('*')) && atSign('(', 1)) {
    note("the labels of a term touch: remove '" + at().text + "'");
    advance();
  }
  if (!atSign('(')) {
    failBehind(
        "a quadratic term has two labels, '1(x, a)(y, b)': write the "
        "second, or 'type = linear'");
  }
}

// Behind the variable of a label.
void Reader::mendComma() {
  if (atSign(',')) {
    advance();
  } else if (atSign(')')) {
    fail("a label is a variable and a value: write '(" +
         tokens.previous().text + ", VALUE)'");
  } else if ((atSign('=') || atSign(':')) && !atSymbol(1)) {
    note("expected ','" + found());
    advance();
  } else if (atSymbol() || at().kind == Token::end || atSign(':', 1)) {
    fail("expected ','" + found());
  } else {
    noteBehind("',' is missing after '" + tokens.previous().text + "'");
  }
}

// Behind the value of a label.
void Reader::mendLabelClosing() {
  if (atSign(')')) {
    advance();
  } else if (atSign(',')) {
    fail("a label is one variable and one value: expected ')', found ','");
  } else if (at().kind == Token::number || atStatement() ||
             (atSymbol() && std::strchr("(<>=+", at().text[0]) != nullptr)) {
    noteBehind("')' is missing after '" + tokens.previous().text + "'");
  } else {
    fail("expected ')'" + found());
  }
}

void Reader::noteUnknownVariable() {
  if (reading.faults.size() < Reading::maxFaults &&
      unknown.size() < maxUnknown && !unknown.insert(at().text).second) {
    return;
  }
  if (reading.faults.size() >= Reading::maxFaults) {
    ++reading.numFaults;
    return;
  }
  std::string hint = didYouMean(at().text, model.variables);
  if (atSign(',', 1) && atSign(')', 3) &&
      model.variables.find(at(2).text) < model.variables.size()) {
    hint = ": a variable comes first, write '(" + at(2).text + ", " +
           at().text + ")'";
  }
  note("unknown variable '" + at().text + "'" + hint);
}

void Reader::noteUnknownValue(unsigned variable) {
  const std::string& name = model.variables[variable];
  const Names& values = model.values[variable];
  if (broken.count(variable) > 0) {
    return;
  }
  if (atSign(')') && !atSign(')', 1)) {
    fail("a label is a variable and a value: write '(" + name + ", VALUE)'");
  }
  if (reading.faults.size() < Reading::maxFaults &&
      unknown.size() < maxUnknown &&
      !unknown.insert(name + "," + at().text).second) {
    return;
  }
  if (reading.faults.size() >= Reading::maxFaults) {
    ++reading.numFaults;
    return;
  }
  std::string hint = didYouMean(at().text, values);
  if (hint.empty()) {
    constexpr unsigned maxListed = 5;
    for (unsigned a = 0; a < std::min(values.size(), maxListed); ++a) {
      hint += (a == 0 ? ": it has " : ", ") + values[a];
    }
    hint += values.size() > maxListed ? ", ..." : "";
  }
  note("'" + name + "' has no value '" + at().text + "'" + hint);
}

Constraint::Kind Reader::mendKind() {
  constexpr std::array<const char*, 3> kinds = {"linear", "quadratic",
                                                "alldiff"};
  if (atWord()) {
    for (std::size_t kind = 0; kind < kinds.size(); ++kind) {
      if (isNear(at().text, kinds[kind])) {
        note("unknown type '" + at().text + "': write '" + kinds[kind] + "'");
        return static_cast<Constraint::Kind>(kind);
      }
    }
    if (at().text.substr(0, 3) == "all" || at().text.substr(0, 3) == "All") {
      if (isJoined(1)) {
        fail("unknown type '" + std::string(runAt(text, at().begin)) +
             "': write 'alldiff'");
      }
      note("unknown type '" + at().text + "': write 'alldiff'");
      return Constraint::alldiff;
    }
  }
  if (atStatement()) {
    failBehind(
        "the type is missing: write 'linear', 'quadratic' or "
        "'alldiff'");
  }
  fail("expected 'linear', 'quadratic' or 'alldiff'" + found());
}

// In the list of an alldiff, at what is no sign.
void Reader::blameMissingEnd() {
  const bool isKnown = model.variables.find(at().text) < model.variables.size();
  const bool isName =
      atSign(':', 1) && (!isKnown || (atWord(2) && atSign('=', 3)));
  if (at().kind == Token::end || isName || (!isKnown && atStatement())) {
    failBehind("';' is missing after the variables of an alldiff");
  }
  if (!isKnown && isJoined(1)) {
    failJoined(1);
  }
}

}  // namespace check
