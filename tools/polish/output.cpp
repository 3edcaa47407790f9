#include "tools/polish/output.h"

#include <iomanip>
#include <string>

#include "tools/check/report.h"

namespace polish {

void writeProgress(std::ostream& out, Solution const& solution, double seconds,
                   std::uint64_t step) {
  out << "penalty = " << check::penaltyText(solution.evaluation)
      << " (hard/soft), time = " << std::fixed << std::setprecision(2)
      << seconds << "(s), iteration = " << step << std::endl;
}

void writeReport(std::ostream& out, check::Model const& model,
                 Solution const& solution) {
  out << "[best solution]\n";
  for (unsigned v = 0; v < model.variables.size(); ++v) {
    out << model.variables[v] << ": " << model.values[v][solution.assignment[v]]
        << "\n";
  }
  for (std::string const& line :
       linesAfterAssignment(model, solution.evaluation)) {
    out << line << "\n";
  }
  out.flush();
}

}  // namespace polish
