// A second, plain program with the command line, reading, search, log and
// report of the solver, written apart from its code. Every penalty and diff
// comes from naive.h; kept exactly is only what decides the path: the order of
// candidates, of draws and of the additions to each double. After a move all
// constraints on the moved variable are evaluated, since an unaffected one
// changes nothing. Signals and running out of memory are not handled.

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iostream>
#include <limits>
#include <map>
#include <numeric>
#include <stdexcept>
#include <utility>

#include "naive.h"

namespace {

using naive::inf, naive::Label, naive::Kind, naive::Assignment, naive::Totals;
using std::string, std::vector, std::int64_t, std::fprintf;

constexpr double dinf = std::numeric_limits<double>::max();
FILE* const nowhere = std::fopen("/dev/null", "w");

// Times are never compared, so any clock of the processor will do.
double cpuTime() {
  return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

int hard(const Totals& t) {
  return int(std::min(t.hard, naive::Int128{inf}));
}
int soft(const Totals& t) {
  return int(std::min(t.soft, naive::Int128{inf}));
}

struct Options : std::map<string, string> {  // holds what was given
  bool parse(int argc, char** argv) {
    const string names =
        "-display -iteration -initsolfile -inputfile -interval -logfile "
        "-noimprovement -seed -target -time ";
    for (int i = 1; i < argc; ++i) {
      const string name = argv[i];
      const bool isSwitch = name == "-noadjust";
      const bool isOther = name.find(' ') == string::npos && name[0] == '-' &&
                           names.find(name + " ") != string::npos;
      if (!isSwitch && (!isOther || ++i == argc)) return false;
      (*this)[name] = argv[i];
    }
    return true;
  }
  string text(const string& name) const {
    return contains(name) ? at(name) : "";
  }
  int integer(const string& name, int usual) const {
    if (!contains(name)) return usual;
    return static_cast<int>(std::strtol(at(name).c_str(), nullptr, 10));
  }
  unsigned count(const string& name, int usual) const {
    return static_cast<unsigned>(std::max(integer(name, usual), 0));
  }
};

const char* const usage = R"( [-options...]
  -noadjust         deactivate weight adjustment mechanism
  -display #        set log display level
  -iteration #      set iteration limit
  -initsolfile file set initial solution file name
  -inputfile file   set input file name
  -interval #       set log display interval
  -logfile file     set log file name
  -noimprovement #  set iteration limit for no improvement
  -seed #           set random seed
  -logfile file     set log file name
  -target #         set target
  -time #.#         set cpu time limit in second

)";

struct Lexer {
  string bytes, text;  // the input and the current token
  std::size_t place = 0;
  int line = 1, tokenLine = 0;
  char kind = 'e';        // end, number, identifier or symbol
  bool isBroken = false;  // the input failed after these bytes

  // False when there is no such file; a folder counts as none.
  bool load(const string& name) {
    FILE* const file = name.empty() ? stdin : std::fopen(name.c_str(), "r");
    if (file == nullptr) return false;
    for (int c; (c = std::getc(file)) != EOF;) bytes += static_cast<char>(c);
    isBroken = std::ferror(file);
    return name.empty() || !(isBroken && errno == EISDIR);
  }
  int peek() const {
    return place < bytes.size() ? static_cast<unsigned char>(bytes[place]) : -1;
  }
  static bool isLead(int c) {
    return (c >= 0x81 && c <= 0x9f) || (c >= 0xe0 && c <= 0xfc);
  }
  static bool isWord(int c) {
    return std::isalnum(c) || (c > 0 && std::strchr("_[]@", c)) || isLead(c);
  }
  void take() {
    line += peek() == '\n';
    if (peek() >= 0) text += bytes[place++];
  }
  void next() {
    for (; std::isspace(peek()) || peek() == '#'; ++place) {
      if (peek() == '#')
        place = std::min(bytes.find('\n', place), bytes.size());
      line += peek() == '\n' || peek() < 0;
    }
    if (peek() < 0 && isBroken)
      throw std::runtime_error("cannot read the model");
    const bool isSign = peek() == '+' || peek() == '-';
    text = peek() < 0 ? "EOF" : "";
    kind = peek() < 0 ? 'e' : isWord(peek()) ? 'i' : 's';
    if (kind == 's') take();
    if (std::isdigit(peek()) && (kind == 'i' || isSign)) {
      const std::size_t sign = text.size();
      while (std::isdigit(peek())) take();
      const std::size_t digit = text.find_first_not_of('0', sign);
      text.erase(sign, std::min(digit, text.size() - 1) - sign);
      kind = isSign || !isWord(peek()) ? 'n' : 'i';
    }
    for (; kind == 'i' && isWord(peek()); take())
      if (isLead(peek())) take();
    kind = text == "inf" ? 'n' : kind;
    tokenLine = line;
  }
  void check(bool isRight) const {
    if (!isRight)
      throw std::runtime_error("parse error befor/at `" + text + "'");
  }
  string next(char expected) {
    next();
    check(kind == expected);
    return text;
  }
  void expect(std::initializer_list<string> texts) {
    for (const string& expected : texts) next(), check(text == expected);
  }
  int value() const {
    int x = inf;
    const char *first = text.data() + (text[0] == '+'),
               *last = text.data() + text.size();
    check(text == "inf" || std::from_chars(first, last, x).ec == std::errc());
    return x;
  }
  int nextValue() { return next('n'), value(); }
};

struct Names : vector<string> {
  unsigned find(const string& name) const {  // size() when unknown
    return static_cast<unsigned>(std::find(begin(), end(), name) - begin());
  }
  unsigned get(const string& name) const {
    if (find(name) < size()) return find(name);
    throw std::runtime_error(name + ": unknown variable/value\n");
  }
  void add(const string& name) {
    push_back(name);
    if (find(name) + 1 < size())
      throw std::runtime_error(name + ": already defined\n");
  }
};

struct Problem : Lexer {
  naive::Model model = {};
  Names variables = {}, constraints = {};
  vector<Names> values = {};

  void readVariable() {
    variables.add(next('i'));
    values.emplace_back();
    expect({"in", "{"});
    do next(), values.back().add(text);
    while (next('s') == ",");
    model.sizes.push_back(static_cast<unsigned>(values.back().size()));
  }
  Label readLabel() {
    expect({"("});
    const unsigned v = variables.get(next('i'));
    expect({","});
    next();
    const unsigned a = values[v].get(text);
    expect({")"});
    return {v, a};
  }
  void readTerms(naive::Constraint& c) {
    for (next(); kind == 'n'; next()) {
      const int coefficient = value();
      const Label first = readLabel();
      c.terms.push_back(
          {coefficient, first, c.kind == Kind::linear ? first : readLabel()});
    }
    const string relation = text;
    if (relation == "<" || relation == ">") next();
    check(text == "=");
    c.lower = c.upper = nextValue();
    if (relation == "<") c.lower = -inf;
    if (relation == ">") c.upper = inf;
  }
  void readConstraint() {
    constraints.push_back(text);
    expect({":", "weight", "="});
    naive::Constraint c{Kind::alldiff, std::max(nextValue(), 0)};
    expect({"type", "="});
    const string type = next('i');
    if (type != "linear" && type != "quadratic" && type != "alldiff")
      throw std::runtime_error(type + ": unknown constraint type\n");
    if (variables.empty())
      throw std::runtime_error(
          "Error in RealWcsp::addConstraint(...): wcsp has no variable.\n");
    if (type == "alldiff") {
      for (next(); kind != 's'; check(kind != 'e'), next())
        c.variables.push_back(variables.get(text));
    } else {
      c.kind = type == "linear" ? Kind::linear : Kind::quadratic;
      readTerms(c);
    }
    model.constraints.push_back(c);
  }
  void read(int& target) {
    for (next(); text == "target" || text == "variable"; next()) {
      if (text == "variable") {
        readVariable();
      } else {
        expect({"="});
        const int x = nextValue();
        if (target == -1) target = x;
      }
    }
    for (; kind != 'e'; next()) readConstraint();
  }
  Assignment readStart(Lexer& in) const {
    Assignment assignment(variables.size(), 0);
    for (in.next(); in.kind != 'e'; in.next()) {
      const unsigned v = variables.find(in.text);
      if (in.kind != 'i' || v == variables.size()) continue;
      in.next();
      if (in.text != ":") continue;
      in.next();
      const unsigned a = values[v].find(in.text);
      if (a < values[v].size()) assignment[v] = a;
    }
    return assignment;
  }
};

struct Tabulist {
  struct Attribute {
    int64_t stamp = std::numeric_limits<int>::min();
    double value = 0.0, delta = 0.0;
    std::size_t numTouched = 0;
  };

  vector<Attribute> attributes = {};
  vector<unsigned> marked = {};
  int64_t clock = 0, resetClock = 0, tenure = 1;
  std::size_t numTouched = 0;
  bool diversify = false;

  void reset(int64_t newTenure, int64_t jump) {
    tenure = newTenure;
    numTouched = 0;
    resetClock = clock += jump;
    marked.clear();
    diversify = false;
  }
  bool isTabu(unsigned v) const {
    return clock <= attributes[v].stamp + tenure;
  }
  bool forbids(unsigned v, double after, double delta) const {
    const Attribute& a = attributes[v];
    return isTabu(v) && (a.value <= after + 0.0001 || a.delta > 0.0 ||
                         delta > 0.0 || delta + a.delta >= 0.0);
  }
  void unmark(vector<unsigned>::iterator mark) {
    *mark = marked.back();
    marked.pop_back();
  }
  bool review(unsigned v, double delta, FILE* notes) {  // true if it resets
    bool isSelected = false, isOtherSeen = false;
    for (auto mark = marked.begin(); mark != marked.end();) {
      const unsigned b = *mark;
      if (isTabu(b)) {
        ++mark;
        continue;
      }
      unmark(mark);
      (b == v ? isSelected : isOtherSeen) = true;
      fprintf(notes, "[attribute %u %sselected]", b, b == v ? "" : "not ");
    }
    tenure += isSelected;
    if (isOtherSeen && !isSelected) {
      reset(tenure, 2 * tenure);
      fprintf(notes, "[Reset]");
      return true;
    }
    if (attributes[v].stamp <= resetClock && delta > 0.0) {
      marked.push_back(v);
      fprintf(notes, "[attribute %u marked]", v);
    }
    return false;
  }
  void update(unsigned v, double after, double delta, int noise, FILE* notes) {
    Attribute& a = attributes[v];
    numTouched += a.stamp <= resetClock;
    fprintf(notes, ", t= %jd, <%u>(%zu/%zu) %s", intmax_t{tenure}, v,
            numTouched, attributes.size(), diversify ? "[div]" : "");
    int step = 0;
    if (numTouched >= attributes.size()) {
      reset(1, 2);
      fprintf(notes, "[reset all]");
    }
    if (isTabu(v)) {
      fprintf(notes, "[aspiration]");
      step = -1;
      const auto mark = std::find(marked.begin(), marked.end(), v);
      if (mark != marked.end()) unmark(mark);
    }
    const bool isReset = diversify && review(v, delta, notes);
    if (!isReset && a.stamp > resetClock && a.numTouched == numTouched) {
      ++step;
      fprintf(notes, "[increase]");
      diversify = true;
    }
    tenure = std::max<int64_t>(tenure + step, 1);
    a = {clock + noise, after, delta, numTouched};
    ++clock;
  }
};

struct Solution {
  Assignment value = {};
  Totals totals = {};
  double weighted = 0.0, time = 0.0;
  unsigned iteration = 0;
};

// Labels are numbered by variable and value; c, v and l stand for the numbers
// of a constraint, a variable and a label.
struct Search {
  const naive::Model& model;
  const Options& options;
  FILE* log;
  int64_t seed;
  int target;
  unsigned numVariables = static_cast<unsigned>(model.sizes.size());
  double maxTime = options.contains("-time")
                       ? std::strtod(options.at("-time").c_str(), nullptr)
                       : 600.0;
  int display = options.integer("-display", 0);
  Solution best = {}, now = {}, runBest = {};
  vector<int> penalty = {}, bestPenalty = {}, improvingCount = {};
  vector<double> weight = {}, score = {};
  vector<Label> labels = {};
  vector<vector<unsigned>> seen = {};  // the labels of a constraint's variables
  vector<vector<int>> diff = {};       // by constraint and label
  vector<unsigned> candidates = {}, ties = {};
  Tabulist tabu = {};
  unsigned runStart = 0, numRuns = 0, sumRun = 0, maxRun = 0, numPhases = 0;
  unsigned numKicks = 0, lastNoNeighbor = 0;
  double runLength = 30.0;
  Totals phaseStart = {};

  FILE* onlyIf(bool condition) const { return condition ? log : nowhere; }
  unsigned randomInt(std::size_t k) {
    seed = 48271 * (seed % 44488) - 3399 * (seed / 44488);
    if (seed <= 0) seed += inf;
    return static_cast<unsigned>(seed / (2147483646 / static_cast<int>(k) + 1));
  }
  void evaluate(unsigned c) {
    const int p = naive::violation(model.constraints[c], now.value);
    const int64_t delta = int64_t{p} - penalty[c];
    naive::add(model.constraints[c], delta, now.totals);
    now.weighted += static_cast<double>(delta) * weight[c];
    penalty[c] = p;
    for (unsigned l : seen[c]) {
      Assignment moved = now.value;
      moved[labels[l].variable] = labels[l].value;
      const int old = diff[c][l];
      const int d = naive::violation(model.constraints[c], moved) - p;
      if (old < 0 && d >= 0 && --improvingCount[l] == 0) {
        *std::find(candidates.begin(), candidates.end(), l) = candidates.back();
        candidates.pop_back();
      }
      if (old >= 0 && d < 0 && ++improvingCount[l] == 1)
        candidates.push_back(l);
      score[l] += static_cast<double>(int64_t{d} - old) * weight[c];
      diff[c][l] = d;
    }
  }
  void initialize() {
    now.totals = {};
    now.weighted = 0.0;
    candidates.clear();
    score.assign(labels.size(), 0.0);
    improvingCount.assign(labels.size(), 0);
    penalty.assign(weight.size(), 0);
    diff.assign(weight.size(), vector<int>(labels.size(), 0));
    for (unsigned c = 0; c < weight.size(); ++c) evaluate(c);
  }
  void change(const Assignment& value) {
    const Assignment old = std::exchange(now.value, value);
    for (unsigned c = 0; c < weight.size(); ++c)
      if (std::any_of(seen[c].begin(), seen[c].end(), [&](unsigned l) {
            return old[labels[l].variable] != value[labels[l].variable];
          }))
        evaluate(c);
  }
  Label moveToTie() {
    const Label label = labels[ties[randomInt(ties.size())]];
    Assignment value = now.value;
    value[label.variable] = label.value;
    change(value);
    return label;
  }
  void recordBest() {
    best = now;
    best.time = cpuTime();
    bestPenalty = penalty;
    fprintf(log,
            "penalty = %d/%d (hard/soft), time = %.2f(s), iteration = %u\n",
            hard(best.totals), soft(best.totals), best.time, best.iteration);
  }
  double leastScore = dinf;
  void consider(unsigned l) {
    if (score[l] < leastScore) ties.clear();
    leastScore = std::min(leastScore, score[l]);
    if (score[l] == leastScore) ties.push_back(l);
  }
  void clearTies() {
    leastScore = dinf;
    ties.clear();
  }
  void improveGreedily() {
    fprintf(log, "# improving the initial solution greedily\n");
    vector<unsigned> order(numVariables);
    std::iota(order.begin(), order.end(), 0);
    for (unsigned k = 0; k < numVariables; ++k) {
      unsigned& place = order[k + randomInt(numVariables - k)];
      const unsigned v = std::exchange(place, order[k]);
      clearTies();
      for (unsigned l = 0; l < labels.size(); ++l)
        if (labels[l].variable == v) consider(l);
      if (leastScore < 0.0) moveToTie();
    }
    recordBest();
  }
  bool isStopped(unsigned i) const {
    return (best.totals.hard == 0 && best.totals.soft <= target) ||
           i > options.count("-iteration", inf) ||
           i - best.iteration > options.count("-noimprovement", inf) ||
           !(cpuTime() < maxTime);
  }
  bool kick(unsigned i) {  // false when it only resets the tabu list
    fprintf(onlyIf(display > 0), "%u: No neighbor\n", i);
    if (i >= numVariables / 10 + lastNoNeighbor) {
      tabu.reset(1, 2);
      lastNoNeighbor = i;
      return false;
    }
    const unsigned k = std::min(numKicks++, numVariables / 2);
    fprintf(onlyIf(display > 0), "Kick (%u variables)\n", k);
    while (ties.size() < k + 1) {
      const unsigned v = randomInt(numVariables);
      ties.push_back(randomInt(model.sizes[v]));
      for (unsigned u = 0; u < v; ++u) ties.back() += model.sizes[u];
    }
    return true;
  }
  bool iterate(unsigned i) {  // true when the search ends with it
    clearTies();
    for (unsigned l : candidates)
      if (!naive::isOn(labels[l], now.value) &&
          !tabu.forbids(labels[l].variable, now.weighted + score[l], score[l]))
        consider(l);
    if (ties.empty() && !kick(i)) return false;
    now.iteration = i;
    const Assignment old = now.value;
    const auto [v, a] = moveToTie();
    if (now.totals < best.totals) recordBest();
    const unsigned interval = options.count("-interval", 0);
    const bool isShown = interval != 0 && i % interval == 0;
    FILE* const details = onlyIf(isShown && (display & 1));
    fprintf(onlyIf(isShown), "%u, %.2f(s), ", i, cpuTime());
    fprintf(details, "%u: %u->%u, %.5g ", v, old[v], a, now.weighted);
    fprintf(onlyIf(isShown), "%d/%d, %d/%d", hard(now.totals), soft(now.totals),
            hard(best.totals), soft(best.totals));
    const int noise = static_cast<int>(randomInt(3)) - 1;
    tabu.update(v, now.weighted, leastScore, noise, details);
    fprintf(onlyIf(isShown), "\n");
    if (options.contains("-noadjust")) return false;
    if (runBest.weighted > now.weighted) runBest = now;
    return i >= runStart + static_cast<unsigned>(runLength) &&
           runBest.iteration < i && endRun(i);
  }
  bool endRun(unsigned i) {
    const double ub = static_cast<double>(best.totals.hard) * 2147483647.0 +
                      static_cast<double>(best.totals.soft);
    FILE* const line = onlyIf(display & 2);
    fprintf(line, "%u, %.2f(s), #phases= %u, #runs= %u, length= %.2f, ", i,
            cpuTime(), numPhases, numRuns, runLength);
    fprintf(line, "best/ub= %g/%g", runBest.weighted, ub);
    sumRun += runBest.iteration - runStart;
    maxRun = std::max(maxRun, runBest.iteration - runStart);
    ++numRuns;
    change(runBest.value);
    if (now.weighted >= ub * (1 - 0.000001) && endPhase(line)) return true;
    fprintf(line, "\n");
    raiseWeights(ub - now.weighted);
    runBest.iteration = runStart = i;
    runBest.weighted = now.weighted;
    tabu.reset(tabu.tenure, 2 * tabu.tenure);
    return false;
  }
  bool endPhase(FILE* line) {
    double largest = now.weighted;
    for (double w : weight) largest = std::max(largest, w);
    if (largest != 0.0) {
      const double factor = 0.5 * now.weighted / largest;
      now.weighted = 0.0;
      for (unsigned c = 0; c < weight.size(); ++c)
        now.weighted += penalty[c] * (weight[c] *= factor);
      for (double& s : score) s *= factor;
    }
    const double average = static_cast<double>(sumRun) / numRuns;
    const bool isImproved = best.totals != phaseStart;
    numPhases = isImproved ? 0 : numPhases + 1;
    if (numPhases == 30) return true;
    runLength = isImproved ? std::max(runLength / 2.0, 30.0)
                           : std::max(average, runLength * 1.2);
    fprintf(line, ", avg./max #iterations= %g/%u", average, maxRun);
    maxRun = sumRun = numRuns = 0;
    phaseStart = best.totals;
    return false;
  }
  void raiseWeights(double gap) {
    double squares = 0.0;
    vector<unsigned> raised;
    for (unsigned c = 0; c < weight.size(); ++c)
      if (penalty[c] > 0 && model.constraints[c].weight > weight[c]) {
        raised.push_back(c);
        squares += static_cast<double>(penalty[c]) * penalty[c];
      }
    if (raised.empty()) {
      fprintf(log, "sum squares = 0; recalculate\n");
      initialize();
    }
    for (unsigned c : raised) {
      const double most = model.constraints[c].weight, old = weight[c];
      weight[c] = std::min(old + penalty[c] * (gap / squares), most);
      if (weight[c] <= 0.0)
        throw std::runtime_error("Negative weight; Overflow");
      now.weighted += penalty[c] * (weight[c] - old);
      for (unsigned l : seen[c]) score[l] += diff[c][l] * (weight[c] - old);
    }
  }
  void run(Assignment start) {
    const bool isGiven = !start.empty();
    for (unsigned v = 0; v < numVariables; ++v) {
      if (!isGiven) start.push_back(randomInt(model.sizes[v]));
      for (unsigned a = 0; a < model.sizes[v]; ++a) labels.push_back({v, a});
    }
    for (const naive::Constraint& c : model.constraints) {
      weight.push_back(c.weight);
      vector<bool> isSeen(numVariables, false);
      for (unsigned v : c.variables) isSeen[v] = true;
      for (const naive::Term& t : c.terms)
        isSeen[t.first.variable] = isSeen[t.second.variable] = true;
      seen.emplace_back();
      for (unsigned l = 0; l < labels.size(); ++l)
        if (isSeen[labels[l].variable]) seen.back().push_back(l);
    }
    now.value = start;
    initialize();
    recordBest();
    if (!isGiven) improveGreedily();
    fprintf(log, "# start tabu search\n");
    tabu.attributes.resize(numVariables);
    tabu.reset(1, 2);
    runBest.value.resize(numVariables);
    runBest.weighted = dinf;
    phaseStart = best.totals;
    unsigned i = 1;
    while (!isStopped(i) && !iterate(i)) ++i;
    fprintf(log, "\n\n# penalty = %d/%d (hard/soft)\n", hard(best.totals),
            soft(best.totals));
    fprintf(log, "# cpu time = %.2f/%.2f(s)\n", best.time, cpuTime());
    fprintf(log, "# iteration = %u/%u\n", best.iteration, now.iteration);
  }
};

[[noreturn]] void quit(int status, const string& message) {
  std::cout << message;
  std::fflush(stdout);
  std::exit(status == 0 && std::ferror(stdout) ? -1 : status);
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!options.parse(argc, argv)) quit(0, string("Usage: ") + argv[0] + usage);
  std::cout << "# reading data ...";
  const string unreadable = "\n# cannot read data from ";
  const string model = options.text("-inputfile");
  Problem problem;
  if (!problem.load(model)) quit(2, unreadable + model + "\n");
  int target = options.integer("-target", -1);
  try {
    problem.read(target);
  } catch (const std::runtime_error& e) {
    quit(5, "\n" + std::to_string(problem.tokenLine) + ": " + e.what() + "\n");
  }
  fprintf(stdout, " done: %.2f(s)\n", cpuTime());
  Assignment start;
  if (const string name = options.text("-initsolfile"); !name.empty()) {
    Lexer in;
    if (!in.load(name) || in.isBroken) quit(3, unreadable + name + "\n");
    start = problem.readStart(in);
  }
  for (unsigned v = 0; v < start.size(); ++v)
    std::cout << problem.variables[v] << " = " << problem.values[v][start[v]]
              << "\n";
  const string logName = options.text("-logfile");
  FILE* const log = logName.empty() ? stdout : fopen(logName.c_str(), "w");
  if (log == nullptr) quit(4, "Cannot open log file.\n");
  const int seed = options.integer("-seed", 1);
  Search search{problem.model, options, log, seed % inf == 0 ? 1 : seed,
                std::max(target, 0)};
  try {
    search.run(start);
  } catch (const std::runtime_error& e) {
    quit(-1, string(e.what()) + "\n");
  }
  std::cout << "\n[best solution]\n";
  for (unsigned v = 0; v < problem.variables.size(); ++v)
    std::cout << problem.variables[v] << ": "
              << problem.values[v][search.best.value[v]] << "\n";
  fprintf(stdout, "\npenalty: %d/%d (hard/soft)\n\n[Violated constraints]\n",
          hard(search.best.totals), soft(search.best.totals));
  for (unsigned c = 0; c < problem.constraints.size(); ++c)
    if (const int p = search.bestPenalty[c]; p > 0)
      std::cout << problem.constraints[c] << ": " << p << "\n";
  quit(0, "");
}
