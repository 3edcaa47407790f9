#include <algorithm>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <tuple>

#include "tools/check/namer.h"
#include "tools/check/output.h"
#include "tools/check/text.h"

namespace check {

namespace {

// A string of JSON; only a string is made, whose end needs no memory.
std::string jsonText(std::string_view text) {
  return nlohmann::json(std::string(text)).dump();
}

// Calls act for each index, with a comma between two calls.
void writeList(std::ostream& out, std::size_t size, auto act) {
  out << '[';
  for (std::size_t i = 0; i < size; ++i) {
    out << (i > 0 ? "," : "");
    act(i);
  }
  out << ']';
}

// [variable, value]
void writeJsonLabel(std::ostream& out, Namer const& namer, Label const& label) {
  out << '[' << jsonText(namer.variable(label.variable)) << ','
      << jsonText(namer.value(label)) << ']';
}

void writeJsonTerms(std::ostream& out, Namer const& namer,
                    Constraint const& constraint,
                    Assignment const& assignment) {
  char const* separator = "";
  out << '[';
  for (Term const& term : constraint.terms) {
    if (isOn(term, assignment)) {
      out << separator << R"({"coefficient":)" << term.coefficient
          << R"(,"labels":[)";
      writeJsonLabel(out, namer, term.label1);
      if (constraint.kind == Constraint::quadratic) {
        out << ',';
        writeJsonLabel(out, namer, term.label2);
      }
      out << "]}";
      separator = ",";
    }
  }
  out << ']';
}

void writeJsonShared(std::ostream& out, Namer const& namer,
                     Constraint const& constraint,
                     Assignment const& assignment) {
  auto const shared = sharedValues(constraint, assignment);
  writeList(out, shared.size(), [&](std::size_t i) {
    const std::vector<unsigned>& variables = shared[i];
    out << R"({"number":)" << assignment[variables[0]] << R"(,"labels":)";
    writeList(out, variables.size(), [&](std::size_t k) {
      writeJsonLabel(out, namer, {variables[k], assignment[variables[k]]});
    });
    out << '}';
  });
}

// The scope of a constraint: [variable, [values]], each variable once and in
// the order of the model. The values are those in terms with a coefficient
// other than 0; for an all-different, all values count and none are listed.
void writeJsonScope(std::ostream& out, Namer const& namer,
                    Constraint const& constraint) {
  std::vector<Label> labels;
  for (Term const& term : constraint.terms) {
    if (term.coefficient != 0) {
      labels.push_back(term.label1);
      labels.push_back(term.label2);
    }
  }
  for (unsigned const variable : constraint.variables) {
    labels.push_back({variable, 0});
  }
  auto const key = [](Label const& label) {
    return std::tie(label.variable, label.value);
  };
  std::sort(labels.begin(), labels.end(),
            [&](Label const& a, Label const& b) { return key(a) < key(b); });
  labels.erase(std::unique(labels.begin(), labels.end(),
                           [&](Label const& a, Label const& b) {
                             return key(a) == key(b);
                           }),
               labels.end());
  char const* separator = "";
  out << '[';
  for (auto first = labels.begin(); first != labels.end();) {
    auto const last = std::find_if(first, labels.end(), [&](Label const& l) {
      return l.variable != first->variable;
    });
    out << separator << '[' << jsonText(namer.variable(first->variable)) << ',';
    const std::size_t numValues = constraint.kind == Constraint::alldiff
                                      ? 0
                                      : static_cast<std::size_t>(last - first);
    writeList(out, numValues, [&](std::size_t i) {
      out << jsonText(namer.value(first[static_cast<std::ptrdiff_t>(i)]));
    });
    out << ']';
    separator = ",";
    first = last;
  }
  out << ']';
}

// Exact numbers that may exceed 64 bits are strings.
void writeJsonViolated(std::ostream& out, Namer const& namer,
                       Constraint const& constraint, int violation,
                       Assignment const& assignment) {
  out << R"({"name":)" << jsonText(printable(constraint.name)) << R"(,"line":)"
      << constraint.line << R"(,"kind":")" << kindNames[constraint.kind]
      << R"(","weight":)" << constraint.weight << R"(,"hard":)"
      << (constraint.weight == inf ? "true" : "false") << R"(,"violation":)"
      << violation;
  if (constraint.kind == Constraint::alldiff) {
    out << R"(,"shared":)";
    writeJsonShared(out, namer, constraint, assignment);
  } else {
    auto const bound = [](bool isThere, int number) {
      return isThere ? std::to_string(number) : std::string("null");
    };
    out << R"(,"sum":")" << decimal(sumOf(constraint, assignment))
        << R"(","lower":)" << bound(hasLower(constraint), constraint.lower)
        << R"(,"upper":)" << bound(hasUpper(constraint), constraint.upper)
        << R"(,"terms":)";
    writeJsonTerms(out, namer, constraint, assignment);
  }
  out << R"(,"scope":)";
  writeJsonScope(out, namer, constraint);
  out << '}';
}

// [first variable, [values]] for each run of variables with the same values.
void writeJsonDomains(std::ostream& out, Model const& model,
                      Namer const& namer) {
  char const* separator = "";
  out << '[';
  for (unsigned v = 0; v < model.variables.size(); ++v) {
    if (v > 0 && model.values[v] == model.values[v - 1]) {
      continue;
    }
    out << separator << '[' << jsonText(namer.variable(v)) << ',';
    writeList(out, model.values[v].size(), [&](std::size_t a) {
      out << jsonText(namer.value({v, static_cast<unsigned>(a)}));
    });
    out << ']';
    separator = ",";
  }
  out << ']';
}

void writeJsonTexts(std::ostream& out, std::vector<std::string> const& texts) {
  writeList(out, texts.size(),
            [&](std::size_t i) { out << jsonText(printable(texts[i])); });
}

// The cells by row, each the position of a name or null.
void writeJsonGrids(std::ostream& out, Grids const& grids) {
  writeList(out, grids.grids.size(), [&](std::size_t i) {
    const Grid& grid = grids.grids[i];
    out << R"({"rows":)";
    writeJsonTexts(out, grid.rows);
    out << R"(,"columns":)";
    writeJsonTexts(out, grid.columns);
    out << R"(,"cells":)";
    writeList(out, grid.cells.size(), [&](std::size_t r) {
      writeList(out, grid.cells[r].size(), [&](std::size_t c) {
        const std::size_t name = grid.cells[r][c];
        out << (name == Grid::none ? "null" : std::to_string(name));
      });
    });
    out << '}';
  });
}

void writeJsonLayout(std::ostream& out, Layout const& layout) {
  out << R"(,"grids":)";
  writeJsonGrids(out, layout.variables);
  out << R"(,"rest":)";
  writeList(out, layout.variables.rest.size(),
            [&](std::size_t i) { out << layout.variables.rest[i]; });
  out << R"(,"valueGrids":)";
  writeList(out, layout.values.size(),
            [&](std::size_t i) { writeJsonGrids(out, layout.values[i]); });
  out << R"(,"families":)";
  writeList(out, layout.families.size(),
            [&](std::size_t i) { writeJsonTexts(out, layout.families[i]); });
}

void writeJsonMove(std::ostream& out, Namer const& namer,
                   std::optional<Move> const& move) {
  if (!move) {
    out << "null";
    return;
  }
  out << R"({"hard":")" << decimal(move->hard) << R"(","soft":")"
      << decimal(move->soft) << R"(","labels":)";
  writeList(out, move->labels.size(), [&](std::size_t i) {
    writeJsonLabel(out, namer, move->labels[i]);
  });
  out << '}';
}

void writeJsonEvaluation(std::ostream& out, Model const& model,
                         Result const& result) {
  const Namer namer{model};
  out << R"(,"penalty":{"capped":")" << penaltyText(result.evaluation)
      << R"(","hard":")" << decimal(result.evaluation.hard) << R"(","soft":")"
      << decimal(result.evaluation.soft) << R"("},"assignment":)";
  writeList(out, model.variables.size(), [&](std::size_t i) {
    const auto v = static_cast<unsigned>(i);
    writeJsonLabel(out, namer, {v, result.assignment[v]});
  });
  out << R"(,"domains":)";
  writeJsonDomains(out, model, namer);
  writeJsonLayout(out, result.layout);
  const std::vector<std::size_t> violated =
      violatedByCost(model, result.evaluation);
  out << R"(,"groups":)";
  writeList(out, result.groups.size(), [&](std::size_t i) {
    const Group& group = result.groups[i];
    out << R"({"name":)" << jsonText(printable(group.name)) << R"(,"hard":")"
        << decimal(group.hard) << R"(","soft":")" << decimal(group.soft)
        << R"("})";
  });
  if (result.neighbours) {
    out << R"(,"improve":{"change":)";
    writeJsonMove(out, namer, result.neighbours->change);
    out << R"(,"swap":)";
    writeJsonMove(out, namer, result.neighbours->swap);
    out << R"(,"all":)" << (result.neighbours->areSwapsAll ? "true" : "false")
        << '}';
  }
  out << R"(,"violated":)";
  writeList(out, violated.size(), [&](std::size_t i) {
    const std::size_t c = violated[i];
    writeJsonViolated(out, namer, model.constraints[c],
                      result.evaluation.violations[c], result.assignment);
  });
}

}  // namespace

void writeJson(std::ostream& out, Model const& model, Result const& result) {
  out << R"({"status":)" << static_cast<int>(result.status) << R"(,"verdict":)"
      << jsonText(printable(result.verdict)) << R"(,"differences":)";
  writeList(out, result.differences.size(), [&](std::size_t i) {
    out << jsonText(printable(result.differences[i]));
  });
  out << R"(,"errors":)";
  writeList(out, result.errors.size(), [&](std::size_t i) {
    const LocatedError& error = result.errors[i];
    out << R"({"line":)" << error.line << R"(,"column":)" << error.column
        << R"(,"length":)" << error.length << R"(,"message":)"
        << jsonText(printable(error.message)) << '}';
  });
  out << R"(,"warnings":)";
  writeList(out, result.warnings.size(), [&](std::size_t i) {
    const Warning& warning = result.warnings[i];
    out << R"({"kind":)" << jsonText(warning.name) << R"(,"line":)"
        << warning.line << R"(,"message":)"
        << jsonText(printable(warning.message)) << '}';
  });
  if (result.isEvaluated) {
    writeJsonEvaluation(out, model, result);
  }
  out << "}\n";
}

}  // namespace check
