#include "tools/fusekit/progress.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace fusekit::cli {
namespace {

// The bytes the process has read so far (the kernel's count of read calls), 0 when unknown.
unsigned long long BytesRead() {
  std::ifstream io("/proc/self/io");
  std::string key;
  unsigned long long value = 0;
  while (io >> key >> value) {
    if (key == "rchar:") return value;
  }
  return 0;
}

long DelayMilliseconds() {
  const char* text = std::getenv("FUSEKIT_PROGRESS_AFTER_MS");
  return text != nullptr ? std::strtol(text, nullptr, 10) : 1000;
}

}  // namespace

Progress::Progress(std::string label, unsigned long long input_bytes, bool wanted)
    : label_(std::move(label)), input_bytes_(input_bytes) {
  if (!wanted || !isatty(STDERR_FILENO)) return;
  read_at_start_ = BytesRead();
  thread_ = std::thread([this] { Run(); });
}

Progress::~Progress() {
  done_ = true;
  if (thread_.joinable()) thread_.join();
  if (shown_) std::fprintf(stderr, "\r\033[K");
}

void Progress::Run() {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  const auto first = start + std::chrono::milliseconds(DelayMilliseconds());
  while (!done_ && Clock::now() < first) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  while (!done_) {
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    const unsigned long long read = BytesRead() - read_at_start_;
    if (input_bytes_ != 0) {
      const double part = static_cast<double>(read) / static_cast<double>(input_bytes_);
      std::fprintf(stderr, "\r\033[Kfusekit: %s: %.0f%% read, %.1f s", label_.c_str(),
                   100.0 * (part < 0.99 ? part : 0.99), seconds);
    } else {
      std::fprintf(stderr, "\r\033[Kfusekit: %s: %.1f s", label_.c_str(), seconds);
    }
    std::fflush(stderr);
    shown_ = true;
    for (int i = 0; i < 10 && !done_; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

}  // namespace fusekit::cli
