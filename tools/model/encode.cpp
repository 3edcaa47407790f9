#include "tools/model/encode.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <string>
#include <utility>

namespace lp {

namespace {

using check::Int128;
using check::Label;
using check::LabelSum;
using check::Range;

Range rangeOf(std::vector<LabelSum> const& terms,
              std::vector<unsigned> const& numValues) {
  std::map<std::pair<unsigned, unsigned>, std::vector<LabelSum>> pairs;
  for (LabelSum const& term : terms) {
    pairs[{term.label1.variable, term.label2.variable}].push_back(term);
  }
  Range range;
  for (auto const& [variables, pair] : pairs) {
    auto const [x, y] = variables;
    range.add(pair, std::size_t{numValues[x]} * (x == y ? 1 : numValues[y]));
  }
  return range;
}

// No two entries of one column.
std::vector<Entry> merged(std::vector<Entry> const& entries) {
  std::map<unsigned, std::int64_t> sums;
  for (auto const& [column, coefficient] : entries) {
    sums[column] += coefficient;
  }
  std::vector<Entry> result;
  result.reserve(sums.size());
  for (auto const& [column, coefficient] : sums) {
    result.push_back({column, coefficient});
  }
  return result;
}

class Encoder {
 public:
  Encoder(Source const& itsSource, Goal itsGoal)
      : source(itsSource), goal(itsGoal) {}

  Program encode() {
    addLabels();
    addProducts();
    forEach([this](Constraint const& constraint, Range const& range) {
      if (constraint.isAlldiff) {
        addAlldiff(constraint);
      } else {
        addSum(constraint, range);
      }
    });
    if (goal.kind == Goal::softWithin) {
      addRow(merged(hardSum), std::nullopt,
             goal.mostHard - static_cast<std::int64_t>(hardConstant));
    }
    if (numEntries > maxEntries) {
      throw Unsuitable(
          "the linear program would have " + std::to_string(numEntries) +
          " entries, and the limit is " + std::to_string(maxEntries));
    }
    return std::move(program);
  }

 private:
  // Two labels with a product, by the numbers of their columns.
  using Pair = std::pair<unsigned, unsigned>;

  Source const& source;
  const Goal goal;
  Program program;
  std::vector<unsigned> firstLabel;  // by variable
  std::vector<Pair> products;        // sorted
  unsigned firstProduct = 0;
  std::size_t numColumns = 0;
  std::size_t numEntries = 0;  // also of what is not stored above the limit
  std::vector<Entry> hardSum;
  Int128 hardConstant = 0;

  unsigned labelColumn(Label const& label) const {
    return firstLabel[label.variable] + label.value;
  }

  unsigned addColumn(Column const& column) {
    if (numEntries <= maxEntries) {
      program.columns.push_back(column);
    }
    return static_cast<unsigned>(numColumns++);
  }

  void addRow(std::vector<Entry> const& entries,
              std::optional<std::int64_t> lower,
              std::optional<std::int64_t> upper) {
    numEntries += entries.size();
    if (numEntries <= maxEntries) {
      program.entries.insert(program.entries.end(), entries.begin(),
                             entries.end());
      program.rows.push_back({program.entries.size(), lower, upper});
    }
  }

  // The constraints that matter, with the bounds that matter.
  void forEach(
      std::function<void(Constraint const&, Range const&)> const& act) const {
    source.forEach([&](Constraint constraint) {
      bool const isIgnored =
          constraint.weight == 0 ||
          (goal.kind == Goal::hard && constraint.weight != check::inf);
      if (isIgnored) {
        return;
      }
      const Range range = rangeOf(constraint.terms, source.numValues);
      if (constraint.lower && range.least >= *constraint.lower) {
        constraint.lower.reset();
      }
      if (constraint.upper && range.greatest <= *constraint.upper) {
        constraint.upper.reset();
      }
      if (constraint.lower || constraint.upper ||
          constraint.variables.size() > 1) {
        act(constraint, range);
      }
    });
  }

  void addLabels() {
    for (unsigned v = 0; v < source.numValues.size(); ++v) {
      firstLabel.push_back(static_cast<unsigned>(numColumns));
      std::vector<Entry> entries;
      for (unsigned a = 0; a < source.numValues[v]; ++a) {
        Column column;
        column.isBinary = true;
        column.meaning.label1 = {v, a};
        entries.push_back({addColumn(column), 1});
      }
      addRow(entries, 1, 1);
    }
  }

  static bool isProduct(LabelSum const& term) {
    return term.label1.variable != term.label2.variable;
  }

  void addProducts() {
    forEach([&](Constraint const& constraint, Range const&) {
      for (LabelSum const& term : constraint.terms) {
        if (isProduct(term)) {
          products.emplace_back(labelColumn(term.label1),
                                labelColumn(term.label2));
        }
      }
    });
    std::sort(products.begin(), products.end());
    products.erase(std::unique(products.begin(), products.end()),
                   products.end());
    firstProduct = static_cast<unsigned>(numColumns);
    for (std::size_t i = 0; i < products.size(); ++i) {
      Column column;
      column.meaning = {Meaning::product, 0, labelOf(products[i].first),
                        labelOf(products[i].second)};
      addColumn(column);
    }
    std::vector<unsigned> order(products.size());
    std::iota(order.begin(), order.end(), 0U);
    addGroups(order, &Pair::first, &Pair::second);
    std::sort(order.begin(), order.end(), [this](unsigned i, unsigned j) {
      return std::pair(products[i].second, products[i].first) <
             std::pair(products[j].second, products[j].first);
    });
    addGroups(order, &Pair::second, &Pair::first);
  }

  Label labelOf(unsigned column) const {
    auto const variable = static_cast<unsigned>(
        std::upper_bound(firstLabel.begin(), firstLabel.end(), column) -
        firstLabel.begin() - 1);
    return {variable, column - firstLabel[variable]};
  }

  // The rows of each label on one side and each variable on the other. The
  // lower bounds of the first side are enough.
  void addGroups(std::vector<unsigned> const& order, unsigned Pair::*side,
                 unsigned Pair::*other) {
    for (std::size_t i = 0; i < order.size();) {
      unsigned const column = products[order[i]].*side;
      unsigned const variable = labelOf(products[order[i]].*other).variable;
      std::vector<Entry> sum;
      std::vector<Entry> apart;
      for (; i < order.size() && products[order[i]].*side == column &&
             labelOf(products[order[i]].*other).variable == variable;
           ++i) {
        sum.push_back({firstProduct + order[i], 1});
        apart.push_back({products[order[i]].*other, -1});
      }
      bool const isWhole = sum.size() == source.numValues[variable];
      if (!isWhole && side == &Pair::first) {
        apart.insert(apart.end(), sum.begin(), sum.end());
        apart.push_back({column, -1});
        addRow(apart, -1, std::nullopt);
      }
      sum.push_back({column, -1});
      addRow(sum, isWhole ? std::optional<std::int64_t>(0) : std::nullopt, 0);
    }
  }

  unsigned columnOf(LabelSum const& term) const {
    unsigned const first = labelColumn(term.label1);
    if (!isProduct(term)) {
      return first;
    }
    const Pair pair{first, labelColumn(term.label2)};
    return firstProduct +
           static_cast<unsigned>(
               std::lower_bound(products.begin(), products.end(), pair) -
               products.begin());
  }

  bool isRow(Constraint const& constraint) const {
    return constraint.weight == check::inf && goal.kind == Goal::soft;
  }

  // A violation costs `factor` times the column.
  void charge(Constraint const& constraint, unsigned column,
              std::int64_t factor) {
    if (goal.kind == Goal::softWithin && constraint.weight == check::inf) {
      hardSum.push_back({column, factor});
    } else if (column < program.columns.size()) {
      program.columns[column].cost += Int128{costOf(constraint)} * factor;
    }
  }

  void chargeConstant(Constraint const& constraint, Int128 violation) {
    if (goal.kind == Goal::softWithin && constraint.weight == check::inf) {
      hardConstant += violation;
    } else {
      program.constant += costOf(constraint) * violation;
    }
  }

  static int costOf(Constraint const& constraint) {
    return constraint.weight == check::inf ? 1 : constraint.weight;
  }

  unsigned addSlack(Constraint const& constraint, Meaning::Kind kind,
                    Int128 most) {
    Column column;
    column.upper = static_cast<std::int64_t>(most);
    column.meaning.kind = kind;
    column.meaning.constraint = constraint.number;
    unsigned const slack = addColumn(column);
    charge(constraint, slack, 1);
    return slack;
  }

  void addSum(Constraint const& constraint, Range const& range) {
    auto const& lower = constraint.lower;
    auto const& upper = constraint.upper;
    std::vector<Entry> entries;
    for (LabelSum const& term : constraint.terms) {
      if (term.sum != 0) {
        entries.push_back({columnOf(term), term.sum});
      }
    }
    if (isRow(constraint)) {
      addRow(entries, lower, upper);
      return;
    }
    const Int128 mostAbove = upper ? range.greatest - *upper : 0;
    const Int128 mostBelow = lower ? *lower - range.least : 0;
    if (std::max(mostAbove, mostBelow) > check::inf) {
      throw Unsuitable("constraint '" + std::string(constraint.name) +
                       "' can be violated by more than 2147483647, where its "
                       "violation is capped");
    }
    bool const isAbove = upper && range.least >= *upper;
    bool const isBelow = lower && range.greatest <= *lower;
    if (isAbove || isBelow) {
      for (Entry const& entry : entries) {
        charge(constraint, entry.column,
               isAbove ? entry.coefficient : -entry.coefficient);
      }
      chargeConstant(constraint, isAbove ? -*upper : *lower);
      return;
    }
    std::vector<Entry> above = entries;
    if (upper) {
      above.push_back({addSlack(constraint, Meaning::above, mostAbove), -1});
    }
    if (lower) {
      const Entry slack{addSlack(constraint, Meaning::below, mostBelow), 1};
      entries.push_back(slack);
      above.push_back(slack);
    }
    if (upper && lower && *upper == *lower) {
      addRow(above, lower, upper);
      return;
    }
    if (lower) {
      above.pop_back();  // each row has the slack of its own bound
      addRow(entries, lower, std::nullopt);
    }
    if (upper) {
      addRow(above, std::nullopt, upper);
    }
  }

  void addAlldiff(Constraint const& constraint) {
    std::map<unsigned, std::vector<Entry>> takers;  // by value number
    for (unsigned const v : constraint.variables) {
      for (unsigned a = 0; a < source.numValues[v]; ++a) {
        takers[a].push_back({labelColumn({v, a}), 1});
      }
    }
    if (isRow(constraint)) {
      for (auto const& [value, entries] : takers) {
        if (entries.size() > 1) {
          addRow(entries, std::nullopt, 1);
        }
      }
      return;
    }
    chargeConstant(constraint,
                   static_cast<Int128>(constraint.variables.size()));
    for (auto& [value, entries] : takers) {
      if (entries.size() == 1) {
        charge(constraint, entries[0].column, -1);
        continue;
      }
      Column column;
      column.meaning.kind = Meaning::used;
      column.meaning.constraint = constraint.number;
      column.meaning.label1.value = value;
      unsigned const used = addColumn(column);
      charge(constraint, used, -1);
      entries.push_back({used, -1});
      addRow(entries, 0, std::nullopt);
    }
  }
};

}  // namespace

Source sourceOf(check::Model const& model) {
  Source source;
  for (auto const& values : model.values) {
    source.numValues.push_back(values.size());
  }
  source.forEach = [&model](std::function<void(Constraint)> const& act) {
    for (std::size_t c = 0; c < model.constraints.size(); ++c) {
      check::Constraint const& whole = model.constraints[c];
      Constraint constraint;
      constraint.number = c;
      constraint.name = whole.name;
      constraint.weight = whole.weight;
      if (whole.kind == check::Constraint::alldiff) {
        constraint.isAlldiff = true;
        constraint.variables = scopeOf(whole);
      } else {
        if (hasLower(whole)) {
          constraint.lower = whole.lower;
        }
        if (hasUpper(whole)) {
          constraint.upper = whole.upper;
        }
        forPairs(whole, [&](std::vector<LabelSum> const& pair) {
          constraint.terms.insert(constraint.terms.end(), pair.begin(),
                                  pair.end());
        });
      }
      act(std::move(constraint));
    }
  };
  return source;
}

Program encode(Source const& source, Goal goal) {
  if (source.numValues.empty()) {
    throw Unsuitable("the model has no variables");
  }
  return Encoder(source, goal).encode();
}

std::vector<std::int64_t> columnsOf(Program const& program,
                                    check::Assignment const& assignment) {
  std::vector<std::int64_t> values(program.columns.size());
  auto const isOn = [&](Label const& label) {
    return assignment[label.variable] == label.value;
  };
  for (std::size_t j = 0; j < values.size(); ++j) {
    Meaning const& meaning = program.columns[j].meaning;
    if (meaning.kind == Meaning::label) {
      values[j] = isOn(meaning.label1);
    } else if (meaning.kind == Meaning::product) {
      values[j] = isOn(meaning.label1) && isOn(meaning.label2);
    }
  }
  for (std::size_t i = 0; i < program.rows.size(); ++i) {
    Row const& row = program.rows[i];
    std::int64_t sum = 0;
    for (std::size_t k = program.firstOf(i); k < row.past; ++k) {
      auto const& [column, coefficient] = program.entries[k];
      sum += coefficient * values[column];
    }
    // Each of the other columns stands in one row that says what it must be.
    for (std::size_t k = program.firstOf(i); k < row.past; ++k) {
      unsigned const column = program.entries[k].column;
      Meaning::Kind const kind = program.columns[column].meaning.kind;
      if (kind == Meaning::above && row.upper && sum > *row.upper) {
        values[column] = sum - *row.upper;
      } else if (kind == Meaning::below && row.lower && sum < *row.lower) {
        values[column] = *row.lower - sum;
      } else if (kind == Meaning::used && row.lower) {
        values[column] = std::min<std::int64_t>(sum, 1);
      }
    }
  }
  return values;
}

}  // namespace lp
