// Runs a piece of a test in a child process whose address space is capped, so that a file that
// makes the library take gigabytes fails the test instead of swapping the machine.
#ifndef FUSEKIT_TESTS_SUPPORT_MEMORY_CAP_H
#define FUSEKIT_TESTS_SUPPORT_MEMORY_CAP_H

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>

namespace fusekit::testing {

// Whether the sanitizers are built in: their shadow memory needs more address space than any
// cap, so the cap is left off (the work still runs, in the child).
constexpr bool SanitizersBuiltIn() {
#if defined(__SANITIZE_ADDRESS__)
  return true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
  return true;
#else
  return false;
#endif
#else
  return false;
#endif
}

// Runs work in a child process limited to megabytes of address space. The result is what work
// returned (0 to 255), or -1 when the child did not end normally (killed, aborted: an allocation
// the cap refused that the library did not handle).
inline int RunWithMemoryCap(std::size_t megabytes, const std::function<int()>& work) {
  const pid_t child = fork();
  if (child < 0) return -2;
  if (child == 0) {
    if (!SanitizersBuiltIn()) {
      const rlimit cap{static_cast<rlim_t>(megabytes) << 20, static_cast<rlim_t>(megabytes) << 20};
      setrlimit(RLIMIT_AS, &cap);
    }
    _exit(work() & 0xFF);
  }
  int status = 0;
  if (waitpid(child, &status, 0) != child) return -2;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace fusekit::testing

#endif  // FUSEKIT_TESTS_SUPPORT_MEMORY_CAP_H
