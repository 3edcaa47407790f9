// A second, plain program with the same command line, language, search, log and report, written
// independently of the solver. Penalties and diffs come from naive.h, and every move reevaluates
// everything. It reproduces what decides the search path: the order of candidates, of random draws
// and of additions to each double. It does not handle signals or lack of memory.

#include <cerrno>
#include <cfloat>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <map>
#include <utility>

#include "naive.h"

namespace {
using naive::inf, naive::Label, naive::Kind, naive::Assignment, naive::Totals;
using std::string, std::vector, std::int64_t, std::fprintf, std::min, std::to_string;
FILE* const nowhere = std::fopen("/dev/null", "w");

// Times are never compared, so any clock of the processor will do.
double cpuTime() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

[[noreturn]] void quit(int status, string const& message) {
  std::cout << message << std::flush;
  std::exit(status == 0 && std::ferror(stdout) ? -1 : status);
}

unsigned find(vector<string> const& names, string const& name) {  // names.size() when unknown
  return static_cast<unsigned>(std::find(names.begin(), names.end(), name) - names.begin());
}

// The last entry takes the place of x.
void swapOut(vector<unsigned>& list, unsigned x) {
  auto const place = std::find(list.begin(), list.end(), x);
  if (place == list.end()) return;
  *place = list.back();
  list.pop_back();
}

string toText(Totals const& t) {
  const naive::Int128 most = inf;
  return to_string(int(min(t.hard, most))) + "/" + to_string(int(min(t.soft, most)));
}

const string usage = R"( [-options...]
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

struct Options : std::map<string, string> {  // holds what was given
  bool parse(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
      const string name = argv[i];  // as the usage lists it: one word, then a space
      if (name.find(' ') < name.size() || usage.find("\n  " + name + " ") > usage.size())
        return false;
      if (name != "-noadjust" && ++i == argc) return false;
      (*this)[name] = argv[i];
    }
    return true;
  }
  string get(string const& key, char const* usual) const { return contains(key) ? at(key) : usual; }
  int integer(string const& name, char const* usual) const {
    return static_cast<int>(std::strtol(get(name, usual).c_str(), nullptr, 10));
  }
};

struct Lexer {
  string bytes = {}, text = {};  // the input and the current token
  std::size_t place = 0;
  int line = 0;                    // where the current token ends
  char kind = 'e';                 // end, number, identifier or symbol
  bool isBroken = false;           // the input failed after these bytes
  bool load(string const& name) {  // false when there is no such file; a folder counts as none
    FILE* const file = name.empty() ? stdin : std::fopen(name.c_str(), "r");
    if (file == nullptr) return false;
    for (int c; (c = std::getc(file)) != EOF;) bytes += static_cast<char>(c);
    isBroken = std::ferror(file);
    return name.empty() || !(isBroken && errno == EISDIR);
  }
  int peek() const { return place < bytes.size() ? static_cast<unsigned char>(bytes[place]) : -1; }
  static bool isLead(int c) { return (c >= 0x81 && c <= 0x9f) || (c >= 0xe0 && c <= 0xfc); }
  static bool isMark(int c) { return c == '_' || c == '[' || c == ']' || c == '@'; }
  static bool isWord(int c) { return std::isalnum(c) || isMark(c) || isLead(c); }
  void take() { text += bytes[place++]; }
  void require(bool condition, string const& message) const {
    if (!condition) quit(5, "\n" + to_string(line) + ": " + message + "\n");
  }
  void check(bool isRight) const { require(isRight, "parse error befor/at `" + text + "'"); }
  string const& next(char expected = 0) {  // 0: any kind
    for (; std::isspace(peek()) || peek() == '#'; ++place)
      if (peek() == '#') place = min(bytes.find('\n', place), bytes.size());
    require(peek() >= 0 || !isBroken, "cannot read the model");
    text = peek() < 0 ? "EOF" : "";
    kind = peek() < 0 ? 'e' : isWord(peek()) ? 'i' : 's';
    if (kind == 's') take();
    if (std::isdigit(peek()) && (kind == 'i' || text == "+" || text == "-")) {
      const std::size_t sign = text.size();
      while (std::isdigit(peek())) take();
      text.erase(sign, min(text.find_first_not_of('0', sign), text.size() - 1) - sign);
      kind = kind == 's' || !isWord(peek()) ? 'n' : 'i';
    }
    for (; kind == 'i' && isWord(peek()); take())
      if (isLead(peek()) && place + 1 < bytes.size()) take();
    if (text == "inf") kind = 'n';
    bool const isEndInComment = place > bytes.size();  // counts as one more line
    line = 1 + isEndInComment + int(std::count(bytes.data(), bytes.data() + place, '\n'));
    check(expected == 0 || kind == expected);
    return text;
  }
  void expect(std::initializer_list<string> texts) {
    for (string const& expected : texts) check(next() == expected);
  }
  int value() const {
    int x = inf;
    char const *first = text.data() + (text[0] == '+'), *last = text.data() + text.size();
    check(text == "inf" || std::from_chars(first, last, x).ec == std::errc());
    return x;
  }
  int nextValue() { return next('n'), value(); }
};

struct Problem : Lexer {
  naive::Model model = {};
  vector<string> variables = {}, constraints = {};
  vector<vector<string>> values = {};
  unsigned get(vector<string> const& names) const {  // the number of the current token
    require(find(names, text) < names.size(), text + ": unknown variable/value\n");
    return find(names, text);
  }
  void add(vector<string>& names) const {
    require(find(names, text) == names.size(), text + ": already defined\n");
    names.push_back(text);
  }
  void readVariable() {
    next('i'), add(variables), values.emplace_back();
    expect({"in", "{"});
    do next(), add(values.back());
    while (next('s') == ",");
    model.sizes.push_back(static_cast<unsigned>(values.back().size()));
  }
  Label readLabel() {
    expect({"("}), next('i');
    unsigned const v = get(variables);
    expect({","}), next();
    unsigned const a = get(values[v]);
    return expect({")"}), Label{v, a};
  }
  void readTerms(naive::Constraint& c) {
    for (next(); kind == 'n'; next()) {
      int const coefficient = value();
      const Label first = readLabel();
      c.terms.push_back({coefficient, first, c.kind == Kind::linear ? first : readLabel()});
    }
    const string relation = text;
    if (relation == "<" || relation == ">") next();
    check(text == "=");
    int const bound = nextValue();
    if (relation != "<") c.lower = bound;
    if (relation != ">") c.upper = bound;
  }
  void readConstraint() {
    constraints.push_back(text);
    expect({":", "weight", "="});
    naive::Constraint c{Kind::alldiff, std::max(nextValue(), 0)};
    expect({"type", "="});
    const string type = next('i');
    if (type == "linear") c.kind = Kind::linear;
    if (type == "quadratic") c.kind = Kind::quadratic;
    require(c.kind != Kind::alldiff || type == "alldiff", type + ": unknown constraint type\n");
    require(!variables.empty(), "Error in RealWcsp::addConstraint(...): wcsp has no variable.\n");
    if (c.kind != Kind::alldiff)
      readTerms(c);
    else
      for (; next(), kind != 's'; check(kind != 'e')) c.variables.push_back(get(variables));
    model.constraints.push_back(c);
  }
  void readTarget(int& target) {
    expect({"="}), nextValue();
    if (target == -1) target = value();
  }
  void read(int& target) {
    while (next() == "target" || text == "variable")
      text == "variable" ? readVariable() : readTarget(target);
    for (; kind != 'e'; next()) readConstraint();
  }
  Assignment readStart(Lexer& in) const {
    Assignment assignment(variables.size(), 0);
    while (in.next(), in.kind != 'e') {
      unsigned const v = find(variables, in.text);
      if (in.kind != 'i' || v == variables.size() || in.next() != ":") continue;
      unsigned const a = find(values[v], in.next());
      if (a < values[v].size()) assignment[v] = a;
    }
    return assignment;
  }
};

struct Tabulist {
  struct Attribute {
    int64_t stamp = -inf - 1, numTouched = 0;
    double value = 0.0, delta = 0.0;
  };
  vector<Attribute> attributes = {};
  vector<unsigned> marked = {};
  int64_t clock = 0, resetClock = 0, tenure = 1, numTouched = 0;
  bool diversify = false;
  void reset(int64_t newTenure) {
    tenure = newTenure;
    resetClock = clock += 2 * tenure;
    marked.clear();
    numTouched = 0, diversify = false;
  }
  bool isTabu(unsigned v) const { return clock <= attributes[v].stamp + tenure; }
  bool forbids(unsigned v, double after, double delta) const {
    Attribute const& a = attributes[v];
    return isTabu(v) &&
           (a.value <= after + 0.0001 || a.delta > 0.0 || delta > 0.0 || delta + a.delta >= 0.0);
  }
  bool review(unsigned v, double delta, FILE* notes) {  // true if it resets
    bool isSelected = false, isOtherSeen = false;
    for (std::size_t m = 0; m < marked.size();) {
      unsigned const b = marked[m];
      m += isTabu(b);
      if (isTabu(b)) continue;
      swapOut(marked, b);
      (b == v ? isSelected : isOtherSeen) = true;
      fprintf(notes, "[attribute %u %sselected]", b, b == v ? "" : "not ");
    }
    tenure += isSelected;
    bool const isReset = isOtherSeen && !isSelected;
    bool const isMarked = !isReset && attributes[v].stamp <= resetClock && delta > 0.0;
    if (isReset) reset(tenure), fprintf(notes, "[Reset]");
    if (isMarked) marked.push_back(v), fprintf(notes, "[attribute %u marked]", v);
    return isReset;
  }
  void update(unsigned v, double after, double delta, int64_t noise, FILE* notes) {
    Attribute& a = attributes[v];
    numTouched += a.stamp <= resetClock;
    fprintf(notes, ", t= %jd, <%u>(%jd/%zu) %s", intmax_t{tenure}, v, intmax_t{numTouched},
            attributes.size(), diversify ? "[div]" : "");
    if (numTouched >= std::ssize(attributes)) reset(1), fprintf(notes, "[reset all]");
    bool const isAspired = isTabu(v);
    if (isAspired) swapOut(marked, v), fprintf(notes, "[aspiration]");
    bool const isReset = diversify && review(v, delta, notes);
    bool const isIncreased = !isReset && a.stamp > resetClock && a.numTouched == numTouched;
    if (isIncreased) diversify = true, fprintf(notes, "[increase]");
    tenure = std::max<int64_t>(tenure + isIncreased - isAspired, 1);
    a = {clock++ + noise, numTouched, after, delta};
  }
};

struct Solution {
  Assignment value = {};
  Totals totals = {};
  double weighted = 0.0, time = 0.0;
  unsigned iteration = 0;
};

// Labels are numbered by variable and value; c, v and l number a constraint, variable and label.
struct Search {
  naive::Model const& model;
  Options const& options;
  FILE* log;
  int64_t seed, target;
  unsigned numVariables = static_cast<unsigned>(model.sizes.size());
  int display = options.integer("-display", "0");
  Solution best = {}, now = {}, runBest = {};
  vector<int> penalty = {}, improvingCount = {};
  vector<double> weight = {}, score = {};
  vector<Label> labels = {};
  vector<vector<int>> diff = {};  // by constraint and label
  vector<unsigned> candidates = {}, ties = {};
  Tabulist tabu = {};
  unsigned runStart = 0, numRuns = 0, sumRun = 0, maxRun = 0, numPhases = 0, numKicks = 0;
  unsigned lastNoNeighbor = 0;
  double runLength = 30.0, leastScore = DBL_MAX;
  Totals phaseStart = {};
  FILE* onlyIf(bool condition) const { return condition ? log : nowhere; }
  unsigned randomInt(std::size_t k) {
    seed = 48271 * (seed % 44488) - 3399 * (seed / 44488);
    if (seed <= 0) seed += inf;
    return static_cast<unsigned>(seed / (2147483646 / static_cast<int>(k) + 1));
  }
  void evaluate() {
    now.totals = naive::totalsOf(model, now.value);
    for (unsigned c = 0; c < weight.size(); ++c) {
      int const p = naive::violation(model.constraints[c], now.value);
      now.weighted += double(int64_t{p} - std::exchange(penalty[c], p)) * weight[c];
      for (unsigned l = 0; l < labels.size(); ++l) {
        Assignment moved = now.value;
        moved[labels[l].variable] = labels[l].value;
        int const d = naive::violation(model.constraints[c], moved) - p;
        int const old = std::exchange(diff[c][l], d);
        if (old < 0 && d >= 0 && --improvingCount[l] == 0) swapOut(candidates, l);
        if (old >= 0 && d < 0 && ++improvingCount[l] == 1) candidates.push_back(l);
        score[l] += double(int64_t{d} - old) * weight[c];
      }
    }
  }
  void initialize() {
    now.weighted = 0.0, candidates.clear();
    score.assign(labels.size(), 0.0);
    improvingCount.assign(labels.size(), 0);
    penalty.assign(weight.size(), 0);
    diff.assign(weight.size(), vector<int>(labels.size(), 0));
    evaluate();
  }
  Label moveToTie() {
    const Label label = labels[ties[randomInt(ties.size())]];
    now.value[label.variable] = label.value;
    return evaluate(), label;
  }
  void recordBest() {
    best = now, best.time = cpuTime();
    fprintf(log, "penalty = %s (hard/soft), time = %.2f(s), iteration = %u\n",
            toText(best.totals).c_str(), best.time, best.iteration);
  }
  void clearTies() { leastScore = DBL_MAX, ties.clear(); }
  void consider(unsigned l) {
    if (score[l] < leastScore) ties.clear();
    leastScore = min(leastScore, score[l]);
    if (score[l] == leastScore) ties.push_back(l);
  }
  void improveGreedily() {
    fprintf(log, "# improving the initial solution greedily\n");
    vector<unsigned> order;
    for (unsigned v = 0; v < numVariables; ++v) order.push_back(v);
    for (unsigned k = 0; k < numVariables; ++k) {
      std::swap(order[k], order[k + randomInt(numVariables - k)]);
      clearTies();
      for (unsigned l = 0; l < labels.size(); ++l)
        if (labels[l].variable == order[k]) consider(l);
      if (leastScore < 0.0) moveToTie();
    }
    recordBest();
  }
  bool isStopped(unsigned i) const {
    return (best.totals.hard == 0 && best.totals.soft <= target) ||
           int64_t{i} > options.integer("-iteration", "2147483647") ||
           int64_t{i} - best.iteration > options.integer("-noimprovement", "2147483647") ||
           !(cpuTime() < std::strtod(options.get("-time", "600").c_str(), nullptr));
  }
  bool kick(unsigned i) {  // false when it only resets the tabu list
    fprintf(onlyIf(display > 0), "%u: No neighbor\n", i);
    bool const isReset = i >= numVariables / 10 + lastNoNeighbor;
    if (isReset) tabu.reset(1), lastNoNeighbor = i;
    if (isReset) return false;
    unsigned const k = min(numKicks++, numVariables / 2);
    fprintf(onlyIf(display > 0), "Kick (%u variables)\n", k);
    while (ties.size() < k + 1) {
      unsigned const v = randomInt(numVariables);
      ties.push_back(randomInt(model.sizes[v]));
      for (unsigned u = 0; u < v; ++u) ties.back() += model.sizes[u];
    }
    return true;
  }
  bool iterate(unsigned i) {  // true when the search ends with it
    clearTies();
    for (unsigned l : candidates) {
      bool const isFree = !naive::isOn(labels[l], now.value);
      unsigned const v = labels[l].variable;
      if (isFree && !tabu.forbids(v, now.weighted + score[l], score[l])) consider(l);
    }
    if (ties.empty() && !kick(i)) return false;
    now.iteration = i;
    const Assignment old = now.value;
    auto const [v, a] = moveToTie();
    if (now.totals < best.totals) recordBest();
    int const interval = options.integer("-interval", "0");
    bool const isShown = interval > 0 && int64_t{i} % interval == 0;
    FILE *const line = onlyIf(isShown), *const details = onlyIf(isShown && (display & 1));
    fprintf(line, "%u, %.2f(s), ", i, cpuTime());
    fprintf(details, "%u: %u->%u, %.5g ", v, old[v], a, now.weighted);
    fprintf(line, "%s, %s", toText(now.totals).c_str(), toText(best.totals).c_str());
    tabu.update(v, now.weighted, leastScore, int64_t{randomInt(3)} - 1, details);
    fprintf(line, "\n");
    if (options.contains("-noadjust")) return false;
    if (runBest.weighted > now.weighted) runBest = now;
    return i >= runStart + static_cast<unsigned>(runLength) && runBest.iteration < i && endRun(i);
  }
  bool endRun(unsigned i) {
    double const ub = double(best.totals.hard) * inf + double(best.totals.soft);
    FILE* const line = onlyIf(display & 2);
    fprintf(line, "%u, %.2f(s), #phases= %u, #runs= %u, length= %.2f, best/ub= %g/%g", i, cpuTime(),
            numPhases, numRuns, runLength, runBest.weighted, ub);
    unsigned const run = runBest.iteration - runStart;
    ++numRuns, sumRun += run, maxRun = std::max(maxRun, run);
    now.value = runBest.value, evaluate();
    if (now.weighted >= ub * (1 - 0.000001) && endPhase(line)) return true;
    fprintf(line, "\n");
    raiseWeights(ub - now.weighted);
    runBest.iteration = runStart = i, runBest.weighted = now.weighted;
    tabu.reset(tabu.tenure);
    return false;
  }
  bool endPhase(FILE* line) {
    double largest = now.weighted;
    for (double w : weight) largest = std::max(largest, w);
    if (largest != 0.0) {
      double const scale = 0.5 * now.weighted / largest;
      now.weighted = 0.0;
      for (unsigned c = 0; c < weight.size(); ++c)
        now.weighted += penalty[c] * (weight[c] *= scale);
      for (double& s : score) s *= scale;
    }
    bool const isImproved = best.totals != phaseStart;
    if (numPhases = isImproved ? 0 : numPhases + 1; numPhases == 30) return true;
    double const average = static_cast<double>(sumRun) / numRuns;
    runLength = isImproved ? std::max(runLength / 2.0, 30.0) : std::max(average, runLength * 1.2);
    fprintf(line, ", avg./max #iterations= %g/%u", average, maxRun);
    maxRun = sumRun = numRuns = 0;
    phaseStart = best.totals;
    return false;
  }
  void raiseWeights(double gap) {
    double squares = 0.0;
    vector<unsigned> raised;
    for (unsigned c = 0; c < weight.size(); ++c)
      if (penalty[c] > 0 && model.constraints[c].weight > weight[c]) raised.push_back(c);
    for (unsigned c : raised) squares += static_cast<double>(penalty[c]) * penalty[c];
    if (raised.empty()) fprintf(log, "sum squares = 0; recalculate\n"), initialize();
    for (unsigned c : raised) {
      double const most = model.constraints[c].weight, old = weight[c];
      weight[c] = min(old + penalty[c] * (gap / squares), most);
      if (weight[c] <= 0.0) quit(-1, "Negative weight; Overflow\n");
      now.weighted += penalty[c] * (weight[c] - old);
      for (unsigned l = 0; l < labels.size(); ++l) score[l] += diff[c][l] * (weight[c] - old);
    }
  }
  void run(Assignment const& start) {
    now.value = start;
    for (unsigned v = 0; v < numVariables; ++v) {
      if (start.empty()) now.value.push_back(randomInt(model.sizes[v]));
      for (unsigned a = 0; a < model.sizes[v]; ++a) labels.push_back({v, a});
    }
    for (naive::Constraint const& c : model.constraints) weight.push_back(c.weight);
    initialize();
    recordBest();
    if (start.empty()) improveGreedily();
    fprintf(log, "# start tabu search\n");
    tabu.attributes.resize(numVariables), tabu.reset(1);
    runBest = {Assignment(numVariables), {}, DBL_MAX};
    phaseStart = best.totals;
    for (unsigned i = 1; !isStopped(i) && !iterate(i);) ++i;
    fprintf(log, "\n\n# penalty = %s (hard/soft)\n# cpu time = %.2f/%.2f(s)\n# iteration = %u/%u\n",
            toText(best.totals).c_str(), best.time, cpuTime(), best.iteration, now.iteration);
  }
};

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!options.parse(argc, argv)) quit(0, string("Usage: ") + argv[0] + usage);
  std::cout << "# reading data ...";
  const string unreadable = "\n# cannot read data from ", model = options.get("-inputfile", "");
  Problem problem;
  if (!problem.load(model)) quit(2, unreadable + model + "\n");
  int target = options.integer("-target", "-1");
  problem.read(target);
  fprintf(stdout, " done: %.2f(s)\n", cpuTime());
  auto const print = [&](Assignment const& values, char const* separator) {
    for (unsigned v = 0; v < values.size(); ++v)
      std::cout << problem.variables[v] << separator << problem.values[v][values[v]] << "\n";
  };
  Assignment start;
  if (const string name = options.get("-initsolfile", ""); !name.empty()) {
    Lexer in;
    if (!in.load(name) || in.isBroken) quit(3, unreadable + name + "\n");
    start = problem.readStart(in);
  }
  print(start, " = ");
  const string logName = options.get("-logfile", "");
  FILE* const log = logName.empty() ? stdout : std::fopen(logName.c_str(), "w");
  if (log == nullptr) quit(4, "Cannot open log file.\n");
  int const seed = options.integer("-seed", "1");
  Search search{problem.model, options, log, seed % inf == 0 ? 1 : seed, std::max(target, 0)};
  search.run(start);
  std::cout << "\n[best solution]\n";
  print(search.best.value, ": ");
  std::cout << "\npenalty: " << toText(search.best.totals)
            << " (hard/soft)\n\n[Violated constraints]\n";
  for (unsigned c = 0; c < problem.constraints.size(); ++c)
    if (int const p = naive::violation(problem.model.constraints[c], search.best.value); p > 0)
      std::cout << problem.constraints[c] << ": " << p << "\n";
  quit(0, "");
}
