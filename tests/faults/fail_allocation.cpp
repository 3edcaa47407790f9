// A library to preload that makes one allocation of a program fail, or all from
// one on. It counts from the static initialisation of the program, after that
// of the libraries, so that the count is the same in every run. It replaces the
// functions behind operator new and the files of the C library.
//
// FAIL_ALLOCATION=k       the k-th allocation fails, counted from 1; with "k+"
//                         all later ones fail, too
// COUNT_ALLOCATIONS=file  at exit the count is written to this file

#include <dlfcn.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fstream>

extern "C" void* __libc_malloc(size_t size);

namespace {

long numAllocations = 0;
long firstFailure = 0;
long lastFailure = 0;

void writeCount() {
  long const count = numAllocations;  // opening the file allocates
  if (char const* name = std::getenv("COUNT_ALLOCATIONS")) {
    std::ofstream(name) << count << '\n';
  }
}

}  // namespace

extern "C" void* malloc(size_t size) {
  ++numAllocations;
  if (numAllocations < firstFailure || numAllocations > lastFailure) {
    return __libc_malloc(size);
  }
  errno = ENOMEM;
  return nullptr;
}

// The C library's entry: it runs the static initialisation, then main.
extern "C" int __libc_start_main(int (*main)(int, char**, char**), int argc,
                                 char** argv, void (*init)(), void (*fini)(),
                                 void (*unload)(), void* stackEnd) {
  auto* start = reinterpret_cast<decltype(&__libc_start_main)>(
      dlsym(RTLD_NEXT, "__libc_start_main"));
  std::atexit(writeCount);
  numAllocations = 0;
  if (char const* text = std::getenv("FAIL_ALLOCATION")) {
    char* end = nullptr;
    firstFailure = std::strtol(text, &end, 10);
    lastFailure = *end == '+' ? LONG_MAX : firstFailure;
  }
  return start(main, argc, argv, init, fini, unload, stackEnd);
}
