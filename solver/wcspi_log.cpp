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

/// Changes how the stream formats. Its buffer keeps the locale that it has: to
/// change that, it would have to write, which can fail.
void imbueFormat(std::ostream& stream, std::locale const& locale) {
  const std::ios_base::iostate exceptions = stream.exceptions();
  const std::ios_base::iostate state = stream.rdstate();
  stream.exceptions(std::ios_base::goodbit);
  std::streambuf* const buffer = stream.rdbuf(nullptr);
  stream.imbue(locale);
  stream.rdbuf(buffer);
  stream.clear(state);
  stream.exceptions(exceptions);
}

}  // namespace

// The flag of flushing stays: it is about the stream and not its format.
RealWcsp::LogFormat::LogFormat(std::ostream& log)
    : stream(log),
      flags(log.flags()),
      precision(log.precision()),
      width(log.width(0)),
      fill(log.fill(' ')),
      locale(log.getloc()) {
  stream.flags((flags & std::ios_base::unitbuf) | std::ios_base::dec |
               std::ios_base::skipws);
  imbueFormat(stream, std::locale::classic());
}

RealWcsp::LogFormat::~LogFormat() {
  imbueFormat(stream, locale);
  stream.fill(fill);
  stream.width(width);
  stream.precision(precision);
  stream.flags(flags);
}

void RealWcsp::logBest(std::uint64_t iteration) {
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

bool RealWcsp::showsProgress(std::uint64_t iteration) const {
  return interval != 0 && iteration % interval == 0;
}

void RealWcsp::logProgress(std::uint64_t iteration, unsigned label,
                           unsigned from) {
  *log << timeMode << iteration << ", " << cpuTime() << "(s), " << generalMode
       << std::setprecision(5);
  if ((display & displayMoves) != 0) {
    *log << labels.variable(label) << ": " << from << "->"
         << labels.value(label) << ", " << current.weightedPenalty << " ";
  }
  *log << current << ", " << best;
}

void RealWcsp::logNoNeighbor(std::uint64_t iteration) {
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
