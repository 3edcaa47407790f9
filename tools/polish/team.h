// Several processes that polish one assignment, each with a seed of its own.
// They hand on their best through memory that their parent shares with them.

#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <vector>

#include "tools/polish/polisher.h"

namespace polish {

class Team {
 public:
  // Starts the processes; each makes its polisher by `make`, with a number from
  // 0 on, and may search the whole model before its steps. They stop after
  // `maxSteps` steps in all, and end with this process, however it ends. Throws
  // std::system_error if they cannot be started.
  Team(check::Model const& itsModel, unsigned numWorkers, Solution const& start,
       std::uint64_t maxSteps, bool searchesFirst,
       std::function<Polisher(unsigned)> const& make);
  ~Team();
  Team(Team const&) = delete;
  Team& operator=(Team const&) = delete;

  // Waits for news, at most this long. True if there is a better assignment
  // than at the last call, which `best` then is.
  bool wait(double seconds, Assignment& best);

  std::uint64_t numSteps() const;
  std::uint64_t numSkipped() const;

  // What some process worked on last: "rows of 168".
  PartKind kind() const;
  std::size_t partSize() const;

  // Whether some process is still at work.
  bool isAtWork();

  // Processes that ended otherwise than by their last step.
  unsigned numLost() const { return lost; }

 private:
  struct Board;

  check::Model const& model;
  Board* board = nullptr;
  std::size_t size = 0;  // of the shared memory
  int news[2] = {-1, -1};
  std::vector<pid_t> workers;
  std::uint64_t seen = 0;
  unsigned lost = 0;

  unsigned* cells() const;
  [[noreturn]] void work(Polisher polisher, Solution start,
                         std::uint64_t maxSteps, bool searchesFirst);
  // Takes the shared solution or shares that of the polisher, the better one.
  void exchange(Polisher& polisher, Solution& shared, std::uint64_t& version);
  // Takes the shared assignment if it is new; false if not.
  bool take(std::uint64_t& version, Assignment& assignment) const;
  // Shares an assignment unless a newer one than `version` is there.
  bool share(std::uint64_t& version, Assignment const& assignment);
};

}  // namespace polish
