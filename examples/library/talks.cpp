// Five talks get their hours: builds a model with every kind of constraint and
// the kind of spread.h, solves it, and reads the result.

#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "constraints/wcsp_alldiff.h"
#include "constraints/wcsp_linear.h"
#include "constraints/wcsp_quadratic.h"
#include "solver/wcsp.h"
#include "spread.h"

namespace {

enum Talk : unsigned { opening, theory, practice, demo, closing, numTalks };
const std::string talkName[] = {"opening", "theory", "practice", "demo",
                                "closing"};
constexpr unsigned firstHour = 9;  // the hour of value 0
constexpr unsigned numHours = 6;

// The solver owns each constraint from its construction on, hence `new`.
void build(Wcsp& solver, std::vector<std::string>& constraintName) {
  std::vector<unsigned> numValues(numTalks, numHours);
  solver.initialize(numTalks, numValues);

  auto* oneAtATime = new WcspAlldiff(&solver, Wcsp::inf);  // hard
  constraintName.push_back("one at a time");
  for (unsigned talk = 0; talk < numTalks; ++talk) {
    oneAtATime->variables.push_back(talk);
  }
  oneAtATime->maxValue = numHours - 1;

  auto* openingFirst = new WcspLinear(&solver, 5);
  constraintName.push_back("opening first");
  openingFirst->terms.push_back({1, opening, 0});
  openingFirst->lower = 1;

  auto* closingLate = new WcspLinear(&solver, 1);  // 1 for each hour short
  constraintName.push_back("closing at 14");
  for (unsigned hour = 0; hour < numHours; ++hour) {
    closingLate->terms.push_back({hour, closing, hour});
  }
  closingLate->lower = numHours - 1;

  auto* demoAfterTheory = new WcspQuadratic(&solver, 3);
  constraintName.push_back("demo right after theory");
  for (unsigned hour = 0; hour + 1 < numHours; ++hour) {
    demoAfterTheory->terms.push_back({1, theory, hour, demo, hour + 1});
  }
  demoAfterTheory->lower = 1;

  auto* together = new Spread(&solver, 4);
  constraintName.push_back("all but the opening within 3 hours");
  together->variables = {closing, practice, theory, demo};
  together->limit = 2;
}

}  // namespace

int main() {
  try {
    const std::unique_ptr<Wcsp> solver(Wcsp::makeWcsp());
    std::vector<std::string> constraintName;
    build(*solver, constraintName);
    solver->setLogFileName("/dev/null", false);  // else standard output
    solver->setMaxIteration(10000);
    solver->solve();

    for (unsigned talk = 0; talk < numTalks; ++talk) {
      std::cout << talkName[talk] << ": " << firstHour + solver->getValue(talk)
                << " h\n";
    }
    std::cout << "penalty: " << solver->getHardPenalty() << "/"
              << solver->getSoftPenalty() << " (hard/soft)\n";
    for (unsigned c = 0; c < solver->getNumConstraints(); ++c) {
      if (solver->getPenalty(c) > 0) {
        std::cout << constraintName[c] << ": violated by "
                  << solver->getPenalty(c) << "\n";
      }
    }
  } catch (std::exception const& error) {
    std::cerr << error.what() << "\n";
    return 1;
  }
  return 0;
}
