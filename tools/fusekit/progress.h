// Progress on a terminal: work that runs longer than about a second shows, on standard error,
// how much of its input the process has read and how long it has run; nothing at all when
// standard error is not a terminal.
#ifndef FUSEKIT_TOOLS_PROGRESS_H
#define FUSEKIT_TOOLS_PROGRESS_H

#include <atomic>
#include <string>
#include <thread>

namespace fusekit::cli {

class Progress {
 public:
  // label: what is being done ("convert big.jed"); input_bytes: the size of the inputs, 0 when
  // not known (then only the time is shown). FUSEKIT_PROGRESS_AFTER_MS sets the delay before
  // the first line (1000 by default). Nothing is shown when wanted is false (--quiet).
  Progress(std::string label, unsigned long long input_bytes, bool wanted);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  void Run();

  std::string label_;
  unsigned long long input_bytes_;
  unsigned long long read_at_start_ = 0;
  std::atomic<bool> done_{false};
  std::atomic<bool> shown_{false};
  std::thread thread_;
};

}  // namespace fusekit::cli

#endif  // FUSEKIT_TOOLS_PROGRESS_H
