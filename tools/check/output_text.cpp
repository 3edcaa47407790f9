// A violated constraint is explained by the terms that make up its sum, in the
// order of the model, or by the variables that share a value.

#include "tools/check/output.h"
#include "tools/check/shown_sum.h"
#include "tools/check/text.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "tools/check/namer.h"

namespace check {

namespace {

// "sum 3 is above 2"
std::string sumText(Constraint const& constraint, Int128 sum) {
  const ShownSum shown(constraint);
  bool const isAbove = hasUpper(constraint) && sum > constraint.upper;
  return "sum " + decimal(shown.value(sum)) +
         (isAbove ? " is above " : " is below ") +
         decimal(shown.value(isAbove ? constraint.upper : constraint.lower));
}

void writeTerm(std::ostream& out, Namer const& namer,
               Constraint const& constraint, Term const& term) {
  out << term.coefficient << " " << namer.label(term.label1);
  if (constraint.kind == Constraint::quadratic) {
    out << namer.label(term.label2);
  }
}

// If a sum is below its bound, prints the first missing terms that would raise
// it.
void writeLacking(std::ostream& out, Namer const& namer,
                  Constraint const& constraint, Assignment const& assignment) {
  constexpr std::size_t maxShown = 5;
  if (!hasLower(constraint) ||
      sumOf(constraint, assignment) >= constraint.lower) {
    return;
  }
  const ShownSum shown(constraint);
  std::size_t count = 0;
  for (Term const& term : constraint.terms) {
    bool const isTurned = shown.isTurned(term);
    if ((term.coefficient > 0 || isTurned) && !shown.counts(term, assignment) &&
        ++count <= maxShown) {
      out << (count == 1 ? "  lacks " : ", ");
      if (isTurned) {
        out << -std::int64_t{term.coefficient} << " ("
            << namer.variable(term.label1.variable) << ", not "
            << namer.value(term.label1) << ")";
      } else {
        writeTerm(out, namer, constraint, term);
      }
    }
  }
  out << (count > maxShown ? ", ...\n" : count > 0 ? "\n" : "");
}

void writeTerms(std::ostream& out, Namer const& namer,
                Constraint const& constraint, Assignment const& assignment) {
  const ShownSum shown(constraint);
  bool isAnyOn = false;
  out << "  " << sumText(constraint, sumOf(constraint, assignment));
  for (Term const& term : constraint.terms) {
    if (shown.counts(term, assignment)) {
      out << (isAnyOn ? "" : " with") << "\n    ";
      writeTerm(out, namer, constraint, shown.shown(term, assignment));
      isAnyOn = true;
    }
  }
  out << (isAnyOn ? "\n" : ", no term counts\n");
  writeLacking(out, namer, constraint, assignment);
}

void writeShared(std::ostream& out, Namer const& namer,
                 Constraint const& constraint, Assignment const& assignment) {
  for (auto const& variables : sharedValues(constraint, assignment)) {
    out << "  value number " << assignment[variables[0]] << " is shared by";
    for (unsigned const v : variables) {
      out << " " << namer.label({v, assignment[v]});
    }
    out << "\n";
  }
}

void writeViolated(std::ostream& out, Namer const& namer,
                   Constraint const& constraint, int violation,
                   Assignment const& assignment) {
  out << "violated: " << printable(constraint.name) << " (line "
      << constraint.line << ", " << kindNames[constraint.kind] << ", weight "
      << (constraint.weight == inf ? "inf" : std::to_string(constraint.weight))
      << ") by " << violation;
  if (constraint.weight != inf) {
    out << ", costs " << decimal(costOf(constraint, violation));
  }
  out << "\n";
  if (constraint.kind == Constraint::alldiff) {
    writeShared(out, namer, constraint, assignment);
  } else {
    writeTerms(out, namer, constraint, assignment);
  }
}

// "soft by group: over 408, idle 360"
void writeGroups(std::ostream& out, char const* kind,
                 std::vector<Group> const& groups, Int128 Penalty::*sum) {
  constexpr std::size_t maxShown = 20;
  std::size_t count = 0;
  for (Group const& group : groups) {
    if (group.penalty.*sum > 0 && ++count <= maxShown) {
      out << (count == 1 ? std::string(kind) + " by group: "
                         : std::string(", "))
          << printable(group.name) << " " << decimal(group.penalty.*sum);
    }
  }
  out << (count > maxShown ? ", ...\n" : count > 0 ? "\n" : "");
}

// "no change of one variable is better: the best, x from a to b, gives 0/3, and
// 's' rises most"
void writeMove(std::ostream& out, Model const& model, Result const& result,
               Move const& move, char const* what) {
  const Namer namer{model};
  Evaluation const& now = result.evaluation;
  bool const helps = move.penalty < now;
  out << (helps ? "a " : "no ") << what
      << (helps ? " is better: " : " is better: the best, ");
  for (std::size_t i = 0; i < move.labels.size(); ++i) {
    Label const& label = move.labels[i];
    unsigned const v = label.variable;
    out << (i > 0 ? " and " : "") << namer.variable(v) << " from "
        << namer.value({v, result.assignment[v]}) << " to "
        << namer.value(label);
  }
  out << (helps ? " gives " : ", gives ") << decimal(move.penalty.hard) << "/"
      << decimal(move.penalty.soft) << " (hard/soft)";
  auto const holder =
      helps ? std::nullopt : heldBy(model, result.assignment, now, move);
  if (holder) {
    out << ", blocked by " << printable(model.constraints[*holder].name);
  }
  out << "\n";
}

void writeNeighbours(std::ostream& out, Model const& model,
                     Result const& result) {
  Neighbours const& neighbours = *result.neighbours;
  if (neighbours.change) {
    writeMove(out, model, result, *neighbours.change, "change");
  } else {
    out << "no change is possible\n";
  }
  if (neighbours.swap) {
    writeMove(out, model, result, *neighbours.swap, "swap");
  } else {
    out << "no swap is better\n";
  }
  if (!neighbours.areSwapsAll) {
    out << "some swaps were not tried: there are too many\n";
  }
}

}  // namespace

void writeText(std::ostream& out, Model const& model, Result const& result) {
  if (result.isEvaluated) {
    out << "penalty: " << decimal(result.evaluation.hard) << "/"
        << decimal(result.evaluation.soft) << " (hard/soft)\n";
    writeGroups(out, "hard", result.groups, &Penalty::hard);
    writeGroups(out, "soft", result.groups, &Penalty::soft);
    for (const std::size_t c : violatedByCost(model, result.evaluation)) {
      writeViolated(out, {model}, model.constraints[c],
                    result.evaluation.violations[c], result.assignment);
    }
    if (result.neighbours) {
      writeNeighbours(out, model, result);
    }
  }
  for (std::string const& difference : result.differences) {
    out << "differs: " << printable(difference) << "\n";
  }
  out << result.verdict << "\n";
}

void writeFailing(std::ostream& out, Model const& model, Failing const& failing,
                  std::size_t numReports, std::size_t numSatisfying) {
  constexpr std::size_t maxShown = 20;
  auto const title = [&model](std::size_t c) {
    return printable(model.constraints[c].name) + " (line " +
           std::to_string(model.constraints[c].line) + ")";
  };
  for (std::size_t i = 0; i < std::min(failing.all.size(), maxShown); ++i) {
    out << "violated in " << failing.all[i].count << " of " << numReports
        << " reports: " << title(failing.all[i].constraint) << "\n";
  }
  if (failing.all.size() > maxShown) {
    out << failing.all.size() - maxShown << " more are violated less often\n";
  }
  if (numSatisfying > 0) {
    out << "no conflict: " << numSatisfying << " of " << numReports
        << " reports satisfy all hard constraints\n";
    return;
  }
  out << (failing.isSmallest ? "a smallest set" : "a set")
      << " of constraints with one violated in every report: ";
  auto const writeTitles = [&](std::vector<std::size_t> const& constraints) {
    constexpr std::size_t maxTitles = 10;
    for (std::size_t i = 0; i < std::min(constraints.size(), maxTitles); ++i) {
      out << (i > 0 ? ", " : "") << title(constraints[i]);
    }
    out << (constraints.size() > maxTitles ? ", ...\n" : "\n");
  };
  writeTitles(failing.set);
  auto const neighbours = hardNeighbours(model, failing.set);
  if (!neighbours.empty()) {
    out << "hard constraints that share a variable with it: ";
    writeTitles(neighbours);
  }
  out << "this suggests a conflict among them but does not prove one\n";
}

void writeWarnings(std::ostream& out, std::string const& fileName,
                   std::vector<Warning> const& warnings) {
  for (Warning const& warning : warnings) {
    out << printable(fileName) << ":";
    if (warning.line > 0) {
      out << warning.line << ":";
    }
    out << " warning: " << printable(warning.message) << " [" << warning.name
        << "]\n";
  }
}

}  // namespace check
