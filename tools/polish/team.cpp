#include "tools/polish/team.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <new>
#include <system_error>
#include <utility>

#include "tools/polish/signals.h"

namespace polish {

// What the processes share; the best assignment stands behind it. The lock
// outlives a process that dies with it in its hand.
struct Team::Board {
  pthread_mutex_t lock;
  std::atomic<std::uint64_t> begun;  // steps
  std::atomic<std::uint64_t> finished;
  std::atomic<std::uint64_t> skipped;
  std::atomic<PartKind> kind;
  std::atomic<std::size_t> partSize;
  std::uint64_t version;  // of the assignment, from 0
};

namespace {

class Locked {
 public:
  explicit Locked(pthread_mutex_t& itsLock) : lock(itsLock) {
    if (pthread_mutex_lock(&lock) == EOWNERDEAD) {
      pthread_mutex_consistent(&lock);
    }
  }
  ~Locked() { pthread_mutex_unlock(&lock); }
  Locked(Locked const&) = delete;
  Locked& operator=(Locked const&) = delete;

 private:
  pthread_mutex_t& lock;
};

[[noreturn]] void fail(char const* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

unsigned* Team::cells() const {
  return reinterpret_cast<unsigned*>(board + 1);
}

Team::Team(check::Model const& itsModel, unsigned numWorkers,
           Solution const& start, std::uint64_t maxSteps, bool searchesFirst,
           std::function<Polisher(unsigned)> const& make)
    : model(itsModel),
      size(sizeof(Board) + start.assignment.size() * sizeof(unsigned)) {
  void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED || pipe2(news, O_CLOEXEC | O_NONBLOCK) != 0) {
    fail("no memory to share");
  }
  board = new (memory) Board{};
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  pthread_mutex_init(&board->lock, &attributes);
  pthread_mutexattr_destroy(&attributes);
  std::copy(start.assignment.begin(), start.assignment.end(), cells());
  const pid_t parent = getpid();
  const SignalsHeld held;
  for (unsigned i = 0; i < numWorkers; ++i) {
    const pid_t child = fork();
    if (child < 0) {
      fail("no process");
    }
    if (child == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      if (getppid() != parent) {
        _exit(EXIT_FAILURE);
      }
      try {
        work(make(i), start, maxSteps, searchesFirst);
      } catch (...) {
        _exit(EXIT_FAILURE);
      }
    }
    workers.push_back(child);
  }
}

Team::~Team() {
  for (const pid_t worker : workers) {
    kill(worker, SIGKILL);
    waitpid(worker, nullptr, 0);
  }
  close(news[0]);
  close(news[1]);
  munmap(board, size);
}

bool Team::take(std::uint64_t& version, Assignment& assignment) const {
  const Locked locked(board->lock);
  if (board->version == version) {
    return false;
  }
  version = board->version;
  std::copy(cells(), cells() + assignment.size(), assignment.begin());
  return true;
}

bool Team::share(std::uint64_t& version, Assignment const& assignment) {
  const Locked locked(board->lock);
  if (board->version != version) {
    return false;
  }
  std::copy(assignment.begin(), assignment.end(), cells());
  version = ++board->version;
  return true;
}

void Team::work(Polisher polisher, Solution start, std::uint64_t maxSteps,
                bool searchesFirst) {
  polisher.setSolution(start);
  std::uint64_t version = 0;
  if (searchesFirst) {
    polisher.search();
    exchange(polisher, start, version);
  }
  while (board->begun.fetch_add(1) < maxSteps) {
    std::uint64_t const skipped = polisher.numSkipped();
    polisher.step();
    board->skipped += polisher.numSkipped() - skipped;
    board->kind = polisher.kind();
    board->partSize = polisher.size();
    ++board->finished;
    exchange(polisher, start, version);
  }
  _exit(EXIT_SUCCESS);
}

// What a dying process has half written is still an assignment, so whoever
// takes it evaluates it.
void Team::exchange(Polisher& polisher, Solution& shared,
                    std::uint64_t& version) {
  for (;;) {
    if (take(version, shared.assignment)) {
      shared.evaluation = evaluate(model, shared.assignment);
      if (shared.isBetterThan(polisher.solution())) {
        polisher.setSolution(shared);
      }
    }
    if (!polisher.solution().isBetterThan(shared)) {
      return;
    }
    if (share(version, polisher.solution().assignment)) {
      shared = polisher.solution();
      char const sign = 1;
      // A full pipe holds news enough.
      if (write(news[1], &sign, 1) < 0 && errno != EAGAIN) {
        _exit(EXIT_FAILURE);
      }
      return;
    }
  }
}

bool Team::wait(double seconds, Assignment& best) {
  pollfd source{news[0], POLLIN, 0};
  poll(&source, 1, static_cast<int>(seconds * 1000.0));
  char signs[256];
  while (read(news[0], signs, sizeof signs) > 0) {
  }
  return take(seen, best);
}

std::uint64_t Team::numSteps() const {
  return board->finished.load();
}

std::uint64_t Team::numSkipped() const {
  return board->skipped.load();
}

PartKind Team::kind() const {
  return board->kind.load();
}

std::size_t Team::partSize() const {
  return board->partSize.load();
}

bool Team::isAtWork() {
  std::erase_if(workers, [this](pid_t worker) {
    int status = 0;
    if (waitpid(worker, &status, WNOHANG) == 0) {
      return false;
    }
    lost += WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0U : 1U;
    return true;
  });
  return !workers.empty();
}

}  // namespace polish
