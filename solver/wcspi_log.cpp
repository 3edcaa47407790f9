// The search log, one operation per line. Every finished line is flushed, so
// that a log file is complete up to its last line at any moment.
//
// The formatting modes of the stream carry over from line to line: a line sets
// what it needs and restores nothing.

#include <iomanip>
#include <ostream>

#include "solver/wcspi.h"

namespace {

/// Times have two decimals.
std::ostream& timeMode(std::ostream& stream) {
  return stream << std::fixed << std::setprecision(2);
}

std::ostream& generalMode(std::ostream& stream) {
  stream.unsetf(std::ios_base::fixed);
  return stream;
}

std::ostream& operator<<(std::ostream& stream,
                         RealWcsp::Solution const& solution) {
  return stream << saturated(solution.hardPenalty) << "/"
                << saturated(solution.softPenalty);
}

}  // namespace

void RealWcsp::logBest(unsigned iteration) {
  *log << "penalty = " << best << " (hard/soft), " << timeMode
       << "time = " << best.time << "(s), " << generalMode
       << "iteration = " << iteration << std::endl;
}

void RealWcsp::logGreedy() {
  *log << "# improving the initial solution greedily" << std::endl;
}

void RealWcsp::logStart() {
  *log << "# start tabu search" << std::endl;
}

bool RealWcsp::showsProgress(unsigned iteration) const {
  return interval != 0 && iteration % interval == 0;
}

void RealWcsp::logProgress(unsigned iteration, Label const& label,
                           unsigned from) {
  *log << timeMode << iteration << ", " << cpuTime() << "(s), " << generalMode
       << std::setprecision(5);
  if ((display & displayMoves) != 0) {
    *log << label.variable << ": " << from << "->" << label.value << ", "
         << current.weightedPenalty << " ";
  }
  *log << current << ", " << best;
}

void RealWcsp::logNoNeighbor(unsigned iteration) {
  *log << iteration << ": No neighbor" << std::endl;
}

void RealWcsp::logKick(unsigned numExtra) {
  *log << "Kick (" << numExtra << " variables)" << std::endl;
}

void RealWcsp::logRun(Search const& search, double bound) {
  Run const& run = search.run;
  *log << search.iteration << ", " << timeMode << cpuTime() << "(s), "
       << "#phases= " << run.numPhases << ", #runs= " << run.numRuns
       << ", length= " << run.length << ", " << generalMode
       << std::setprecision(6) << "best/ub= " << run.best.weightedPenalty << "/"
       << bound;
}

void RealWcsp::logPhase(Run const& run) {
  *log << ", avg./max #iterations= " << run.averageIterations() << "/"
       << run.maxIterations;
}

void RealWcsp::logRecalculate() {
  *log << "sum squares = 0; recalculate" << std::endl;
}

void RealWcsp::logSummary() {
  *log << std::endl << std::endl;
  *log << "# penalty = " << best << " (hard/soft)" << std::endl;
  *log << timeMode << "# cpu time = " << best.time << "/" << cpuTime() << "(s)"
       << std::endl;
  *log << generalMode << "# iteration = " << best.iteration << "/"
       << current.iteration << std::endl;
}

void RealWcsp::logEndOfLine() {
  *log << std::endl;
}
