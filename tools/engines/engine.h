// Exact solvers of linear programs, which run as programs of their own.
//
// They compute with floating-point numbers: what they say is a claim, not a
// proof.

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/model/program.h"

namespace engines {

struct Request {
  double seconds = 0.0;  // of the clock
  // Values of all columns to start from, or none.
  std::vector<std::int64_t> start;
};

struct Answer {
  enum Kind {
    optimal,
    found,  // a solution, which may not be the best
    infeasible,
    nothing
  };

  Kind kind = nothing;
  std::vector<double> values;   // of the columns, if `optimal` or `found`
  std::optional<double> bound;  // no objective is below
  std::string error;            // why there is nothing, if the engine failed
};

class Engine {
 public:
  Engine() = default;
  virtual ~Engine() = default;
  Engine(Engine const&) = delete;
  Engine& operator=(Engine const&) = delete;

  virtual std::string name() const = 0;

  // Takes little longer than the seconds of the request. However this process
  // ends, the engine ends, too, and leaves no file.
  virtual Answer solve(lp::Program const& program, Request const& request) = 0;
};

// These throw std::runtime_error, with the package to install, if the engine is
// not there.
std::unique_ptr<Engine> makeCbc();
std::unique_ptr<Engine> makeHighs();

}  // namespace engines
