#include <cstddef>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <vector>

#include "tools/check/namer.h"
#include "tools/check/output.h"
#include "tools/check/shown_sum.h"
#include "tools/check/text.h"

namespace check {

namespace {

// A printable string; only strings are made, whose end needs no memory.
std::string textOf(std::string_view raw) {
  return nlohmann::json(printable(raw)).dump();
}

class Writer {
 public:
  Writer(std::ostream& itsOut, Model const& itsModel, Result const& itsResult)
      : out(itsOut), model(itsModel), result(itsResult) {}

  void write();

 private:
  // Calls act for each item that is wanted, with a comma between two calls.
  template <class Items>
  void list(Items const& items, auto act, auto isWanted) {
    char const* separator = "";
    out << '[';
    for (auto const& item : items) {
      if (isWanted(item)) {
        out << separator;
        act(item);
        separator = ",";
      }
    }
    out << ']';
  }
  template <class Items>
  void list(Items const& items, auto act) {
    list(items, act, [](auto const&) { return true; });
  }
  void texts(std::vector<std::string> const& raw) {
    list(raw, [&](std::string const& text) { out << textOf(text); });
  }
  void label(Label const& label);
  void term(Constraint const& constraint, Term const& term);
  void valuesInUse(Constraint const& constraint);
  void violated(Constraint const& constraint, int violation);
  void sum(Constraint const& constraint);
  void domains();
  void grids(Grids const& grids);
  void layout();
  void penalty(Penalty const& penalty);
  void move(std::optional<Move> const& move);
  void earlier(Earlier const& before);
  void evaluation();

  std::ostream& out;
  Model const& model;
  Result const& result;
};

// [variable, value]
void Writer::label(Label const& label) {
  auto const [v, a] = label;
  out << '[' << textOf(model.variables[v]) << ',' << textOf(model.values[v][a])
      << ']';
}

void Writer::term(Constraint const& constraint, Term const& term) {
  out << R"({"coefficient":)" << term.coefficient << R"(,"labels":[)";
  label(term.label1);
  if (constraint.kind == Constraint::quadratic) {
    out << ',';
    label(term.label2);
  }
  out << "]}";
}

// What a constraint is about: [variable, [values]], each variable once and in
// the order of the model. The values are those in its terms with a coefficient
// other than 0; an all-different is about all of them and names none.
void Writer::valuesInUse(Constraint const& constraint) {
  std::map<unsigned, std::vector<unsigned>> scope;
  for (auto const& [coefficient, label1, label2] : constraint.terms) {
    if (coefficient != 0) {
      scope[label1.variable].push_back(label1.value);
      scope[label2.variable].push_back(label2.value);
    }
  }
  for (unsigned const v : constraint.variables) {
    scope[v];
  }
  list(scope, [&](auto const& entry) {
    std::set<unsigned> const values(entry.second.begin(), entry.second.end());
    out << '[' << textOf(model.variables[entry.first]) << ',';
    list(values,
         [&](unsigned a) { out << textOf(model.values[entry.first][a]); });
    out << ']';
  });
}

void Writer::sum(Constraint const& constraint) {
  const ShownSum shown(constraint);
  auto const bound = [&](bool isThere, int number) {
    return isThere ? decimal(shown.value(number)) : std::string("null");
  };
  out << R"(,"sum":")"
      << decimal(shown.value(sumOf(constraint, result.assignment)))
      << R"(","lower":)" << bound(hasLower(constraint), constraint.lower)
      << R"(,"upper":)" << bound(hasUpper(constraint), constraint.upper)
      << R"(,"terms":)";
  list(
      constraint.terms,
      [&](Term const& on) {
        term(constraint, shown.shown(on, result.assignment));
      },
      [&](Term const& any) { return shown.counts(any, result.assignment); });
}

// Exact numbers that may pass 64 bits are strings.
void Writer::violated(Constraint const& constraint, int violation) {
  out << R"({"name":)" << textOf(constraint.name) << R"(,"line":)"
      << constraint.line << R"(,"kind":")" << kindNames[constraint.kind]
      << R"(","weight":)" << constraint.weight << R"(,"hard":)"
      << (constraint.weight == inf ? "true" : "false") << R"(,"violation":)"
      << violation;
  if (constraint.kind == Constraint::alldiff) {
    out << R"(,"shared":)";
    list(sharedValues(constraint, result.assignment),
         [&](std::vector<unsigned> const& variables) {
           out << R"({"number":)" << result.assignment[variables[0]]
               << R"(,"labels":)";
           list(variables, [&](unsigned v) {
             label({v, result.assignment[v]});
           });
           out << '}';
         });
  } else {
    sum(constraint);
  }
  out << R"(,"scope":)";
  valuesInUse(constraint);
  out << '}';
}

// [first variable, [values]] for each run of variables with the same values.
void Writer::domains() {
  std::vector<unsigned> firsts;
  for (unsigned v = 0; v < model.variables.size(); ++v) {
    if (v == 0 || !(model.values[v] == model.values[v - 1])) {
      firsts.push_back(v);
    }
  }
  list(firsts, [&](unsigned v) {
    out << '[' << textOf(model.variables[v]) << ',';
    list(model.values[v].all(),
         [&](std::string const* value) { out << textOf(*value); });
    out << ']';
  });
}

// The cells by row, each the position of a name or null.
void Writer::grids(Grids const& grids) {
  list(grids.grids, [&](Grid const& grid) {
    out << R"({"rows":)";
    texts(grid.rows);
    out << R"(,"columns":)";
    texts(grid.columns);
    out << R"(,"cells":)";
    list(grid.cells, [&](std::vector<std::size_t> const& row) {
      list(row, [&](std::size_t name) {
        out << (name == Grid::none ? "null" : std::to_string(name));
      });
    });
    out << '}';
  });
}

void Writer::layout() {
  out << R"(,"grids":)";
  grids(result.layout.variables);
  out << R"(,"rest":)";
  list(result.layout.variables.rest, [&](std::size_t name) { out << name; });
  out << R"(,"valueGrids":)";
  list(result.layout.values, [&](Grids const& values) { grids(values); });
  out << R"(,"families":)";
  list(result.layout.families,
       [&](std::vector<std::string> const& family) { texts(family); });
  out << R"(,"places":)";
  list(result.layout.places, [&](Places const& places) {
    out << '[' << textOf(places.value) << ',' << places.limit << ']';
  });
}

void Writer::penalty(Penalty const& penalty) {
  out << R"("hard":")" << decimal(penalty.hard) << R"(","soft":")"
      << decimal(penalty.soft) << '"';
}

void Writer::move(std::optional<Move> const& move) {
  if (!move) {
    out << "null";
    return;
  }
  out << '{';
  penalty(move->penalty);
  out << R"(,"labels":)";
  list(move->labels, [&](Label const& changed) { label(changed); });
  out << '}';
}

// With the names of this model where it has them.
void Writer::earlier(Earlier const& before) {
  out << R"(,"before":{"hard":")" << before.hard << R"(","soft":")"
      << before.soft << R"(","assignment":)";
  list(before.assignment, [&](Earlier::Value const& value) {
    auto const [v, a] = value.label;
    bool const isKnown = v < model.variables.size();
    out << '[' << textOf(isKnown ? model.variables[v] : value.variable) << ','
        << textOf(isKnown && a < model.values[v].size() ? model.values[v][a]
                                                        : value.value)
        << ']';
  });
  out << R"(,"violated":)";
  list(before.violated, [&](Earlier::Violation const& violation) {
    bool const isKnown = violation.constraint < model.constraints.size();
    out << '['
        << textOf(isKnown ? model.constraints[violation.constraint].name
                          : violation.name)
        << ",\"" << violation.amount << "\"]";
  });
  out << '}';
}

void Writer::evaluation() {
  out << R"(,"penalty":{"capped":")" << penaltyText(result.evaluation)
      << R"(",)";
  penalty(result.evaluation);
  out << R"(},"assignment":)";
  list(result.assignment, [&, v = 0U](unsigned value) mutable {
    label({v++, value});
  });
  out << R"(,"domains":)";
  domains();
  layout();
  out << R"(,"groups":)";
  list(result.groups, [&](Group const& group) {
    out << R"({"name":)" << textOf(group.name) << ',';
    penalty(group.penalty);
    out << '}';
  });
  if (result.neighbours) {
    out << R"(,"improve":{"change":)";
    move(result.neighbours->change);
    out << R"(,"swap":)";
    move(result.neighbours->swap);
    out << R"(,"all":)" << (result.neighbours->areSwapsAll ? "true" : "false")
        << '}';
  }
  out << R"(,"violated":)";
  list(violatedByCost(model, result.evaluation), [&](std::size_t c) {
    violated(model.constraints[c], result.evaluation.violations[c]);
  });
  if (result.before) {
    earlier(*result.before);
  }
}

void Writer::write() {
  out << R"({"status":)" << static_cast<int>(result.status) << R"(,"verdict":)"
      << textOf(result.verdict) << R"(,"differences":)";
  texts(result.differences);
  out << R"(,"errors":)";
  list(result.errors, [&](LocatedError const& error) {
    out << R"({"line":)" << error.line << R"(,"column":)" << error.column
        << R"(,"length":)" << error.length << R"(,"message":)"
        << textOf(error.message) << '}';
  });
  out << R"(,"warnings":)";
  list(result.warnings, [&](Warning const& warning) {
    out << R"({"kind":)" << textOf(warning.name) << R"(,"line":)"
        << warning.line << R"(,"message":)" << textOf(warning.message) << '}';
  });
  if (result.isEvaluated) {
    evaluation();
  }
  out << "}\n";
}

}  // namespace

void writeJson(std::ostream& out, Model const& model, Result const& result) {
  Writer(out, model, result).write();
}

}  // namespace check
