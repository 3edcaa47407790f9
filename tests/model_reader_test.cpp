// Model text against what reaches the solver, or against the whole message with
// its line; and the lenient reader of initial solutions over one model.

#include "front/model_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string>

#include "constraints/wcsp_alldiff.h"
#include "constraints/wcsp_linear.h"
#include "constraints/wcsp_quadratic.h"
#include "front/initial_solution.h"
#include "solver/wcspi.h"

namespace {

std::string bounds(int lower, int upper) {
  return std::to_string(lower) + ".." + std::to_string(upper);
}

std::string body(WcspConstraint const& constraint) {
  std::ostringstream out;
  if (auto const* linear = dynamic_cast<WcspLinear const*>(&constraint)) {
    for (auto const& t : linear->terms) {
      out << t.coefficient << '(' << t.variable << ',' << t.value << ") ";
    }
    out << bounds(linear->lower, linear->upper);
  } else if (auto const* quadratic =
                 dynamic_cast<WcspQuadratic const*>(&constraint)) {
    for (auto const& t : quadratic->terms) {
      out << t.coefficient << '(' << t.variable1 << ',' << t.value1 << ")("
          << t.variable2 << ',' << t.value2 << ") ";
    }
    out << bounds(quadratic->lower, quadratic->upper);
  } else {
    auto const& alldiff = dynamic_cast<WcspAlldiff const&>(constraint);
    for (unsigned const v : alldiff.variables) {
      out << v << ' ';
    }
    out << "max " << alldiff.maxValue;
  }
  return out.str();
}

struct Model {
  RealWcsp solver;
  Dictionary variables;
  std::vector<Dictionary*> values;
  std::vector<std::string> names;
  int target = -1;

  ~Model() { deleteAll(values); }

  // The model that `text` describes, or line and message of its error.
  std::string read(std::string const& text) {
    std::istringstream stream(text);
    Lexer lexer(stream, 1, Wcsp::inf);
    try {
      readModel(lexer, solver, variables, values, names, target);
    } catch (std::runtime_error const& error) {
      return std::to_string(lexer.tokenLine) + ": " + error.what();
    }
    EXPECT_TRUE(solver.isDeclared);
    return dump();
  }

  std::string dump() const {
    std::ostringstream out;
    for (unsigned v = 0; v < variables.names.size(); ++v) {
      EXPECT_EQ(solver.getNumValues(v), values[v]->names.size());
      out << *variables.names[v] << '{';
      for (auto const* name : values[v]->names) {
        out << ' ' << *name;
      }
      out << " } ";
    }
    for (auto const& record : solver.constraints) {
      auto const* c = record.constraint;
      out << names[c->id] << '*' << c->weight << ": " << body(*c) << "; ";
    }
    out << "target " << target;
    return out.str();
  }
};

struct Row {
  char const* text;
  char const* expected;
};

const std::string xy = "variable x in {a, b, c} variable y in {a, 1}\n";

TEST(Dictionary, FindsEachOfManyNames) {
  constexpr unsigned numNames = 1024;
  Dictionary names;
  for (unsigned k = 0; k < numNames; ++k) {
    EXPECT_EQ(names.add(std::to_string(k)), k);
  }
  for (unsigned k = 0; k < numNames; ++k) {
    EXPECT_EQ(names.getId(std::to_string(k), false), k);
  }
  EXPECT_EQ(names.getId("x", true), numNames);
}

TEST(ModelReader, BuildsWhatTheTextSays) {
  const Row bare[] = {
      {"", "target -1"},
      {"# nothing", "target -1"},
      {"target = inf", "target 2147483647"},
      {"target = -1 target = 5 target = 6", "target 5"},
      {"target = -7 target = 5", "target -7"},
      {"variable x in {0, 007, -1, inf, =, in} variable EOF in{};",
       "x{ 0 7 -1 inf = in } EOF{ } } target -1"},
      {"variable b in {x; target=1 variable a in {x)",
       "b{ x } a{ x } target 1"},
  };
  for (auto const& row : bare) {
    EXPECT_EQ(Model().read(row.text), row.expected) << row.text;
  }
  const Row rows[] = {
      {"c1: weight=inf type=linear 1(x,b) -2(y,a)<= 1",
       "c1*2147483647: 1(0,1) -2(1,0) -2147483647..1; "},
      {"1: weight=-3 type=linear inf(x,a) 1(x,a) > = -2",
       "1*0: 2147483647(0,0) 1(0,0) -2..2147483647; "},
      {"c: weight=0 type=linear = -2147483648",
       "c*0: -2147483648..-2147483648; "},
      {"c: weight=5 type=quadratic 4(x,c)(y,1) +3(x,a)(x,a) 2(x,a)(x,b) <= 0",
       "c*5: 4(0,2)(1,1) 3(0,0)(0,0) 2(0,0)(0,1) "
       "-2147483647..0; "},
      {"d: weight=1 type=alldiff y x y , d: weight=1 type=alldiff y. "
       "variable: weight=1 type=alldiff : 99999999999: weight=1 type=linear=0",
       "d*1: 1 0 1 max 2; d*1: 1 max 1; variable*1: max 0; 99999999999*1: "
       "0..0; "},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(
        Model().read(xy + row.text),
        "x{ a b c } y{ a 1 } " + (row.expected + std::string("target -1")))
        << row.text;
  }
}

TEST(ModelReader, LetsOnlyEqualDomainsInARowShareADictionary) {
  // Variables with these domains, and whether each shares the one before.
  const struct {
    char const* domains[4];
    std::vector<bool> isShared;
  } rows[] = {
      {{"a, b", "a, b", "a, b", "a, b"}, {true, true, true}},
      {{"a, b", "b, a", "a, b", "a, b"}, {false, false, true}},
      {{"a, b", "a", "a, b, c", "a, b, c"}, {false, false, true}},
      {{"7", "07", "007", "7, 8"}, {true, true, false}},
      {{"a, b, c", "a, c, b", "a, b", "a, c"}, {false, false, false}},
  };
  for (auto const& row : rows) {
    std::string text;
    for (char const* const domain : row.domains) {
      text += "variable v" + std::to_string(text.size()) + " in {";
      text += domain + std::string("}\n");
    }
    Model model;
    const std::string dump = model.read(text);
    for (std::size_t v = 0; v < 4; ++v) {
      Model alone;  // a domain read by itself shares nothing
      alone.read("variable v in {" + std::string(row.domains[v]) + "}");
      ASSERT_EQ(model.values.size(), 4U) << dump;
      EXPECT_TRUE(std::equal(
          alone.values[0]->names.begin(), alone.values[0]->names.end(),
          model.values[v]->names.begin(), model.values[v]->names.end(),
          [](auto const* a, auto const* b) { return *a == *b; }))
          << dump;
      if (v > 0) {
        EXPECT_EQ(model.values[v] == model.values[v - 1], row.isShared[v - 1])
            << dump;
      }
    }
  }
}

TEST(ModelReader, NamesTheOffendingToken) {
  // After a first line that declares x and y; "@" stands for the parse error.
  const Row rows[] = {
      {"target 3", "2: @3'"},
      {"target = x", "2: @x'"},
      {"target = 1\ntarget = 2147483648", "3: @2147483648'"},
      {"variable 3 in {a}", "2: @3'"},
      {"variable x", "2: x: already defined\n"},
      {"variable z\nof", "3: @of'"},
      {"variable z in (", "2: @('"},
      {"variable z in {00,\n0}", "3: 0: already defined\n"},
      {"variable z in {a, 1, 1}", "2: 1: already defined\n"},
      {"variable z in {a, a}", "2: a: already defined\n"},
      {"variable z in {a b}", "2: @b'"},
      {"variable z in {a #", "3: @EOF'"},
      {"variable z in {}", "2: @EOF'"},
      {"target : weight", "2: @:'"},
      {"c weight", "2: @weight'"},
      {"c: weigth", "2: @weigth'"},
      {"c: weight 1", "2: @1'"},
      {"c: weight = high", "2: @high'"},
      {"c: weight = -2147483649", "2: @-2147483649'"},
      {"c: weight = 1\n\ntipe", "4: @tipe'"},
      {"c: weight = 1 type linear", "2: @linear'"},
      {"c: weight = 1 type = 7", "2: @7'"},
      {"c: weight = 1 type = cubic 1", "2: cubic: unknown constraint type\n"},
      {"c: weight = 1 type = linear 1 x", "2: @x'"},
      {"c: weight = 1 type = linear 9999999999(x", "2: @9999999999'"},
      {"c: weight = 1 type = linear 1(zz\n(",
       "2: zz: unknown variable/value\n"},
      {"c: weight = 1 type = linear 1(7", "2: @7'"},
      {"c: weight = 1 type = linear 1(x a", "2: @a'"},
      {"c: weight = 1 type = linear 1(x,1\n)",
       "2: 1: unknown variable/value\n"},
      {"c: weight = 1 type = linear 1(x,a 1", "2: @1'"},
      {"c: weight = 1 type = linear 1(x,a) == 1", "2: @='"},
      {"c: weight = 1 type = linear < 1", "2: @1'"},
      {"c: weight = 1 type = linear >= +", "2: @+'"},
      {"c: weight = 1 type = linear <= 3000000000", "2: @3000000000'"},
      {"c: weight = 1 type = linear 1(x,a)", "2: @EOF'"},
      {"c: weight = 1 type = quadratic 1(x,a) <= 1", "2: @<'"},
      {"c: weight = 1 type = quadratic 1(x,a)(y,b)",
       "2: b: unknown variable/value\n"},
      {"c: weight = 1 type = alldiff x, y ;", "2: @;'"},
      {"c: weight = 1 type = alldiff x 7 ;", "2: 7: unknown variable/value\n"},
      {"c: weight = 1 type = alldiff x\n", "3: EOF: unknown variable/value\n"},
      {"variable EOF in {a} c: weight = 1 type = alldiff EOF\n", "3: @EOF'"},
  };
  for (auto const& row : rows) {
    std::string expected = row.expected;
    if (auto const at = expected.find('@'); at != std::string::npos) {
      expected.replace(at, 1, "parse error befor/at `");
    }
    EXPECT_EQ(Model().read(xy + row.text), expected) << row.text;
  }
  EXPECT_EQ(
      Model().read("c: weight = 1 type = linear = 0"),
      "1: Error in RealWcsp::addConstraint(...): wcsp has no variable.\n");
}

TEST(Dictionary, NumbersNamesInTheOrderOfAddition) {
  Dictionary names;
  EXPECT_EQ(names.getId("a", true), 0u);
  EXPECT_EQ(names.add("b"), 0u);
  EXPECT_EQ(names.add("a"), 1u);
  EXPECT_EQ(names.add("A"), 2u);
  EXPECT_THROW(names.add("a"), std::runtime_error);
  EXPECT_EQ(names.getId("a", false), 1u);
  EXPECT_EQ(names.getId("a ", true), 3u);
  EXPECT_EQ(*names.names[2], "A");
}

TEST(InitialSolution, PicksPairsOutOfAnyText) {
  Model model;
  model.read(xy);
  const struct {
    char const* text;
    std::vector<unsigned> expected;
  } rows[] = {
      {"", {0, 0}},
      {"x: c", {2, 0}},
      {"x : b # y: 1\ny:01", {1, 1}},
      {"x c", {0, 0}},
      {"x: zz y: 1", {0, 1}},
      {"x: c x: zz x", {2, 0}},
      {"x: a x: b", {1, 0}},
      {"x x : b", {0, 0}},  // the second x is dropped
      {"x: y: 1", {0, 0}},  // y is the value of x
      {"[best solution] x: b\ny: 1\npenalty: 0/2 (hard/soft)", {1, 1}},
      {"99999999999999 x: b", {1, 0}},
  };
  for (auto const& row : rows) {
    std::istringstream stream(row.text);
    Lexer lexer(stream, 1, Wcsp::inf);
    EXPECT_EQ(readInitialSolution(lexer, model.variables, model.values),
              row.expected)
        << row.text;
  }
}

}  // namespace
