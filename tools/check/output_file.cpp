#include "tools/check/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace check {

namespace {

[[noreturn]] void fail(std::string const& path) {
  throw std::runtime_error(path + ": " + std::strerror(errno));
}

// Closes the descriptor in any case.
bool writeAll(int descriptor, std::string const& content) {
  std::size_t written = 0;
  while (written < content.size()) {
    const ssize_t count =
        write(descriptor, content.data() + written, content.size() - written);
    if (count < 0 && errno != EINTR) {
      int const error = errno;
      close(descriptor);
      errno = error;
      return false;
    }
    written += count < 0 ? 0 : static_cast<std::size_t>(count);
  }
  return close(descriptor) == 0;
}

unsigned usualMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666U & ~mask;
}

// Links followed; the last part may not be there yet.
std::string targetOf(std::string const& path) {
  std::error_code error;
  auto const target = std::filesystem::weakly_canonical(
      std::filesystem::absolute(path, error), error);
  if (error) {
    errno = error.value();
    fail(path);
  }
  return target.string();
}

}  // namespace

OutputFile::OutputFile(std::string const& path)
    : goal(targetOf(path)), mode(usualMode()) {
  struct stat status = {};
  if (stat(goal.c_str(), &status) != 0 && errno != ENOENT) {
    fail(path);
  }
  if (status.st_mode != 0) {
    isRegular = S_ISREG(status.st_mode);
    mode = status.st_mode & 07777U;
    if (S_ISDIR(status.st_mode)) {
      errno = EISDIR;
      fail(path);
    }
  }
  if (isRegular) {
    const std::string folder = std::filesystem::path(goal).parent_path();
    if (access(folder.c_str(), W_OK | X_OK) != 0) {
      fail(path);
    }
  }
}

void OutputFile::replace(std::string const& content) const {
  if (!isRegular) {
    return;
  }
  const std::filesystem::path path(goal);
  std::string beside =  // mkostemp() replaces the Xs
      path.parent_path() / ("." + path.filename().string() + ".XXXXXX");
  int const descriptor = mkostemp(beside.data(), O_CLOEXEC);
  if (descriptor < 0) {
    fail(goal);
  }
  if (!writeAll(descriptor, content) || chmod(beside.c_str(), mode) != 0 ||
      rename(beside.c_str(), goal.c_str()) != 0) {
    int const error = errno;
    unlink(beside.c_str());
    errno = error;
    fail(goal);
  }
}

void OutputFile::finish(std::string const& content) const {
  if (isRegular) {
    replace(content);
    return;
  }
  int const descriptor = open(goal.c_str(), O_WRONLY | O_CLOEXEC);
  if (descriptor < 0 || !writeAll(descriptor, content)) {
    fail(goal);
  }
}

}  // namespace check
