#include "tools/engines/child.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <system_error>

namespace engines {

namespace {

constexpr int notStarted = 127;

[[noreturn]] void fail(char const* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// The default effect of every signal that this program handles or holds back.
void resetSignals() {
  for (int const signal : {SIGINT, SIGTERM, SIGHUP, SIGALRM, SIGPIPE}) {
    static_cast<void>(std::signal(signal, SIG_DFL));
  }
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

struct Pipe {
  int ends[2] = {-1, -1};

  Pipe() {
    if (pipe2(ends, O_CLOEXEC) != 0) {
      fail("no pipe");
    }
  }
};

}  // namespace

Time after(double seconds) {
  return std::chrono::steady_clock::now() +
         std::chrono::duration_cast<std::chrono::steady_clock::duration>(
             std::chrono::duration<double>(seconds));
}

Child::Child(std::vector<std::string> const& command) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (std::string const& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  const Pipe in;
  const Pipe out;
  const pid_t parent = getpid();
  process = fork();
  if (process < 0) {
    fail("no process");
  }
  if (process == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
      _exit(notStarted);
    }
    setpgid(0, 0);
    resetSignals();
    int const nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (dup2(in.ends[0], 0) == 0 && dup2(out.ends[1], 1) == 1 &&
        dup2(nowhere, 2) == 2) {
      execvp(arguments[0], arguments.data());
    }
    _exit(notStarted);
  }
  setpgid(process, process);
  close(in.ends[0]);
  close(out.ends[1]);
  input = in.ends[1];
  output = out.ends[0];
  fcntl(input, F_SETFL, O_NONBLOCK);
  fcntl(output, F_SETFL, O_NONBLOCK);
}

Child::~Child() {
  kill(-process, SIGKILL);
  kill(process, SIGKILL);
  close(input);
  close(output);
  while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
  }
}

bool Child::isReady(int descriptor, short event, Time deadline) const {
  for (;;) {
    auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(
                          deadline - std::chrono::steady_clock::now())
                          .count();
    pollfd source{descriptor, event, 0};
    int const count = poll(&source, 1,
                           static_cast<int>(std::clamp<decltype(left)>(
                               left + 1, 0, std::numeric_limits<int>::max())));
    if (count > 0) {
      return true;
    }
    if (count == 0 ? left <= 0 : errno != EINTR) {
      return false;
    }
  }
}

bool Child::write(std::string_view text, Time deadline) {
  // A child that has ended must not end this process.
  sigset_t pipes;
  sigset_t previous;
  sigemptyset(&pipes);
  sigaddset(&pipes, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipes, &previous);
  while (!text.empty() && isReady(input, POLLOUT, deadline)) {
    const ssize_t count = ::write(input, text.data(), text.size());
    if (count < 0 && errno != EAGAIN && errno != EINTR) {
      break;
    }
    text.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
  }
  const timespec now{};
  while (sigtimedwait(&pipes, nullptr, &now) == SIGPIPE) {
  }
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  return text.empty();
}

std::string Child::read(std::size_t size, Time deadline) {
  std::string text;
  char buffer[65536];
  while (text.size() < size && isReady(output, POLLIN, deadline)) {
    const ssize_t count =
        ::read(output, buffer, std::min(size - text.size(), sizeof buffer));
    if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) {
      break;
    }
    text.append(buffer, count < 0 ? 0 : static_cast<std::size_t>(count));
  }
  return text;
}

std::string Child::readAll(Time deadline) {
  return read(std::numeric_limits<std::size_t>::max(), deadline);
}

// The remover makes the folder, too, so that there is no moment at which a
// signal leaves one behind.
Folder::Folder() {
  std::error_code error;
  const std::filesystem::path place =
      std::filesystem::temp_directory_path(error);
  path = (error ? "/tmp" : place) / "wcsp-XXXXXX";  // for mkdtemp()
  const Pipe living;
  const Pipe made;
  remover = fork();
  if (remover == 0) {
    setsid();
    for (int const signal : {SIGINT, SIGTERM, SIGHUP, SIGALRM, SIGPIPE}) {
      static_cast<void>(std::signal(signal, SIG_IGN));
    }
    // Nobody who waits for the end of these waits for this process.
    for (int const descriptor : {0, 1, 2, living.ends[1]}) {
      close(descriptor);
    }
    if (mkdtemp(path.data()) == nullptr ||
        ::write(made.ends[1], path.data(), path.size()) < 0) {
      _exit(EXIT_FAILURE);
    }
    char end = 0;
    while (::read(living.ends[0], &end, 1) < 0 && errno == EINTR) {
    }
    std::filesystem::remove_all(path, error);
    _exit(EXIT_SUCCESS);
  }
  life = living.ends[1];
  close(living.ends[0]);
  close(made.ends[1]);
  ssize_t count = 0;
  while (remover > 0 &&
         (count = ::read(made.ends[0], path.data(), path.size())) < 0 &&
         errno == EINTR) {
  }
  close(made.ends[0]);
  if (count <= 0) {
    close(life);
    if (remover > 0) {
      waitpid(remover, nullptr, 0);
    }
    throw std::runtime_error(
        "there can be no temporary folder in " +
        std::filesystem::path(path).parent_path().string());
  }
}

Folder::~Folder() {
  close(life);
  while (waitpid(remover, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace engines
