// Programs that run as children, and a folder for their files.

#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace engines {

using Time = std::chrono::steady_clock::time_point;

// After so many seconds from now.
Time after(double seconds);

// A child in a process group of its own, which a signal from the terminal does
// not reach. It is killed with its group at the end of this object, and when
// this process ends.
class Child {
 public:
  // Looks the program up as a shell does. Throws std::system_error if no
  // process can be started. Its messages are dropped.
  explicit Child(std::vector<std::string> const& command);
  ~Child();
  Child(Child const&) = delete;
  Child& operator=(Child const&) = delete;

  // False if the child ended or the time came before all was written.
  bool write(std::string_view text, Time deadline);

  // The next bytes of its output; fewer if it ended or the time came.
  std::string read(std::size_t size, Time deadline);

  // All of its output; what there is if the time comes before it ends.
  std::string readAll(Time deadline);

 private:
  pid_t process = -1;
  int input = -1;
  int output = -1;

  bool isReady(int descriptor, short event, Time deadline) const;
};

// A temporary folder. A process of its own removes it, also when this one is
// killed.
class Folder {
 public:
  // Throws std::runtime_error if there can be none.
  Folder();
  ~Folder();
  Folder(Folder const&) = delete;
  Folder& operator=(Folder const&) = delete;

  std::string file(std::string const& name) const { return path + "/" + name; }

 private:
  std::string path;
  pid_t remover = -1;
  int life = -1;  // the remover sees its end
};

}  // namespace engines
