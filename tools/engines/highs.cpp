#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>

#include "highs_script.h"
#include "tools/engines/child.h"
#include "tools/engines/engine.h"

namespace engines {

namespace {

// Numbers of eight bytes, as the script takes them.
class Message {
 public:
  void add(std::int64_t number) { append(&number); }
  void add(double number) { append(&number); }
  std::string const& bytes() const { return text; }

 private:
  std::string text;

  void append(void const* number) {
    text.append(static_cast<char const*>(number), 8);
  }
};

std::string questionOf(lp::Program const& program, double seconds) {
  Message message;
  for (const std::size_t size :
       {program.columns.size(), program.rows.size(), program.entries.size()}) {
    message.add(static_cast<std::int64_t>(size));
  }
  message.add(seconds);
  for (lp::Column const& column : program.columns) {
    message.add(static_cast<double>(column.cost));
  }
  for (lp::Column const& column : program.columns) {
    message.add(static_cast<double>(column.upper));
  }
  constexpr double infinity = std::numeric_limits<double>::infinity();
  for (lp::Row const& row : program.rows) {
    message.add(row.lower ? static_cast<double>(*row.lower) : -infinity);
  }
  for (lp::Row const& row : program.rows) {
    message.add(row.upper ? static_cast<double>(*row.upper) : infinity);
  }
  for (lp::Row const& row : program.rows) {
    message.add(static_cast<std::int64_t>(row.past));
  }
  for (lp::Entry const& entry : program.entries) {
    message.add(std::int64_t{entry.column});
  }
  for (lp::Entry const& entry : program.entries) {
    message.add(static_cast<double>(entry.coefficient));
  }
  return message.bytes();
}

// One child answers many questions; one that does not answer in time is
// replaced.
class Highs : public Engine {
 public:
  Highs() {
    constexpr double patience = 60.0;
    const Time deadline = after(patience);
    start(deadline);
    if (!child) {
      throw std::runtime_error(
          std::chrono::steady_clock::now() < deadline
              ? "the engine HiGHS is missing; install the package python3-scipy"
              : "the engine HiGHS has not started within a minute");
    }
  }

  std::string name() const override { return "HiGHS"; }

  Answer solve(lp::Program const& program, Request const& request) override {
    const Time end = after(request.seconds);
    if (!child) {
      start(end);
    }
    double const left =
        std::chrono::duration<double>(end - std::chrono::steady_clock::now())
            .count();
    if (child &&
        child->write(questionOf(program, std::max(left * 0.9, 0.1)), end)) {
      const std::string head = child->read(16, end);
      if (head.size() == 16) {
        return answerOf(head, program.columns.size(), end);
      }
    }
    child.reset();
    return {Answer::nothing, {}, std::nullopt, "HiGHS did not answer"};
  }

 private:
  std::unique_ptr<Child> child;

  void start(Time deadline) {
    child = std::make_unique<Child>(std::vector<std::string>{
        "/usr/bin/python3", "-I", "-B", "-c", highsScript});
    if (child->read(8, deadline).size() < 8) {
      child.reset();
    }
  }

  Answer answerOf(std::string const& head, std::size_t numColumns,
                  Time deadline) {
    std::int64_t kind = 0;
    double bound = 0.0;
    std::memcpy(&kind, head.data(), 8);
    std::memcpy(&bound, head.data() + 8, 8);
    Answer answer;
    answer.kind = static_cast<Answer::Kind>(kind);
    if (std::isfinite(bound)) {
      answer.bound = bound;
    }
    if (answer.kind == Answer::optimal || answer.kind == Answer::found) {
      const std::string values = child->read(8 * numColumns, deadline);
      if (values.size() < 8 * numColumns) {
        child.reset();
        return {Answer::nothing, {}, std::nullopt, "HiGHS did not answer"};
      }
      answer.values.resize(numColumns);
      std::memcpy(answer.values.data(), values.data(), values.size());
    }
    return answer;
  }
};

}  // namespace

std::unique_ptr<Engine> makeHighs() {
  return std::make_unique<Highs>();
}

}  // namespace engines
