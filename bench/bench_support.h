// Timing helpers of the side-by-side benchmark programs.
#ifndef FUSEKIT_BENCH_BENCH_SUPPORT_H
#define FUSEKIT_BENCH_BENCH_SUPPORT_H

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "fusekit/bitstream_model.h"
#include "fusekit/devicedb.h"

namespace fusekit::bench {

// Runs a program with its output thrown away and no shell between, so that a timed run is the
// program's own process: its exit status, or -1 when it cannot be started or does not exit.
inline int RunQuietly(const std::vector<std::string>& arguments) {
  std::vector<char*> argv;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, 1, 2);
  pid_t child = 0;
  const int started = posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  if (started != 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

// The best of three runs (or of runs runs), in seconds; after, when given, runs untimed after
// each run (to free what the run made).
inline double BestSeconds(const std::function<void()>& run, const std::function<void()>& after = {},
                          int runs = 3) {
  double best = 1e30;
  for (int i = 0; i < runs; ++i) {
    const auto start = std::chrono::steady_clock::now();
    run();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    if (took.count() < best) best = took.count();
    if (after) after();
  }
  return best;
}

// One piece of work timed by BestInTurn, with what runs untimed after each run of it.
struct TimedWork {
  std::function<void()> run;
  std::function<void()> after;
};

// The best run of each piece of work, in seconds, the pieces run in turn, one run of each a
// round: at least min_rounds rounds, and more while all of them have taken less than
// budget_seconds, up to max_rounds. On a shared virtual machine the speed of memory and
// processors drifts from one second to the next: a floor timed in its own seconds before a
// compare may meet a faster or a slower machine than the compare does, and their ratio swings
// with it. Taken in turn, each best run comes from the same stretch of time as the others; and
// work of a millisecond, whose runs swing by half their time, gets as many runs as the budget
// allows, for floor and compare alike.
inline std::vector<double> BestInTurn(const std::vector<TimedWork>& work, int min_rounds,
                                      double budget_seconds = 0, int max_rounds = 0) {
  std::vector<double> best(work.size(), 1e30);
  const auto began = std::chrono::steady_clock::now();
  for (int round = 0;; ++round) {
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - began;
    if (round >= min_rounds && (spent.count() >= budget_seconds || round >= max_rounds)) break;
    for (std::size_t i = 0; i < work.size(); ++i) {
      const auto start = std::chrono::steady_clock::now();
      work[i].run();
      const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
      if (took.count() < best[i]) best[i] = took.count();
      if (work[i].after) work[i].after();
    }
  }
  return best;
}

// The memory floor: a block of bytes bytes allocated and written once, best of three, in
// seconds: the least that keeping a result of that size in memory costs. When the allocator
// has no pages to reuse the kernel's page faults come on top (about 0.4 ms a MiB on the
// machine of the figures in the notes).
inline double MemoryFloor(std::size_t bytes) {
  void* block = nullptr;
  volatile unsigned char sink = 0;
  return BestSeconds(
      [&] {
        block = std::malloc(bytes);
        if (block == nullptr) return;
        std::memset(block, 1, bytes);
        sink = static_cast<unsigned char*>(block)[bytes / 2];  // the writes are kept
      },
      [&] {
        std::free(block);
        block = nullptr;
      });
}

// The fresh-memory floor: bytes of memory the process has not used before, mapped and written
// one byte a page, best of three, in seconds: what the kernel's page faults alone cost a result
// of that size when the allocator has no pages to reuse, as in a process that reads one file.
inline double FreshMemoryFloor(std::size_t bytes) {
  return BestSeconds([&] {
    void* block = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) return;
    const long page = sysconf(_SC_PAGESIZE);
    for (std::size_t at = 0; at < bytes; at += static_cast<std::size_t>(page)) {
      static_cast<volatile unsigned char*>(block)[at] = 1;
    }
    munmap(block, bytes);
  });
}

// The bytes of memory the process holds now (its resident set), 0 when it cannot be told.
inline std::size_t ResidentBytes() {
  std::FILE* f = std::fopen("/proc/self/statm", "r");
  if (f == nullptr) return 0;
  unsigned long total = 0, resident = 0;
  const int read = std::fscanf(f, "%lu %lu", &total, &resident);
  std::fclose(f);
  return read == 2 ? resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) : 0;
}

// The file read with fread in blocks of block's size.
inline void ReadWhole(const std::string& path, std::vector<char>& block) {
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) return;
  while (std::fread(block.data(), 1, block.size(), f) == block.size()) {
  }
  std::fclose(f);
}

// The I/O floor: reading the file with fread in 1 MiB blocks, best of three (or of runs), in
// seconds.
inline double ReadFloor(const std::string& path, int runs = 3) {
  std::vector<char> block(1 << 20);
  return BestSeconds([&] { ReadWhole(path, block); }, {}, runs);
}

// The write floor: a file of bytes bytes written at path with fwrite in 1 MiB blocks (replacing
// what the path held, as a conversion does), best of three (or of runs), in seconds. The file
// is removed.
inline double WriteFloor(const std::string& path, std::size_t bytes, int runs = 3) {
  std::vector<char> block(1 << 20, 'W');
  const double best = BestSeconds(
      [&] {
        std::FILE* f = std::fopen(path.c_str(), "wb");
        if (f == nullptr) return;
        for (std::size_t left = bytes; left != 0;) {
          const std::size_t count = left < block.size() ? left : block.size();
          if (std::fwrite(block.data(), 1, count, f) != count) break;
          left -= count;
        }
        std::fclose(f);
      },
      {}, runs);
  std::remove(path.c_str());
  return best;
}

// The size of a file in bytes, 0 when it cannot be opened.
inline std::size_t FileSize(const std::string& path) {
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) return 0;
  std::fseek(f, 0, SEEK_END);
  const long size = std::ftell(f);
  std::fclose(f);
  return size > 0 ? static_cast<std::size_t>(size) : 0;
}

// A generic device of rows of 128 fuses, the record of the JEDEC and ISC figures.
inline DeviceInfo BenchDevice(unsigned long fuses) {
  DeviceInfo device;
  device.SetName("BENCH");
  device.SetFamily("generic");
  device.SetDataLength(128);
  device.SetAddressLength(static_cast<unsigned int>(fuses / 128));
  device.SetFuseNumber(static_cast<unsigned int>(fuses));
  device.SetIDLength(32);
  device.SetPhysicalUESLength(32);
  device.SetjtagLogicalUESLength(32);
  device.SaveDeviceBackupValue();
  return device;
}

// The device of the bitstream figures: frames of 1024 bytes.
constexpr unsigned kBenchFrameBytes = 1024;
inline DeviceInfo BitstreamBenchDevice(unsigned frames) {
  DeviceInfo device;
  device.SetName("BENCH");
  device.SetFamily("CorvaneTorvik4");
  device.SetDataLength(kBenchFrameBytes * 8);
  device.SetAddressLength(frames);
  device.SetFuseNumber(frames * kBenchFrameBytes * 8);
  device.SetIDLength(32);
  device.SetPhysicalUESLength(32);
  device.SetjtagLogicalUESLength(32);
  device.SaveDeviceBackupValue();
  return device;
}

// A configuration bitstream of frames data frames of pseudo-random bytes for device, written
// at path by the generator. 0 or the generator's result.
inline int WriteBenchBitstream(const std::string& path, const DeviceInfo& device, unsigned frames) {
  XFPBitstreamModel model;
  model.SetDevice(device);
  model.AddCommentEntry("Design: bench");
  std::vector<unsigned char> bytes(kBenchFrameBytes);
  unsigned seed = 1532;
  for (unsigned f = 0; f < frames; ++f) {
    for (unsigned char& b : bytes)
      b = static_cast<unsigned char>((seed = seed * 1103515245 + 12345) >> 16);
    XFPFrameModel frame("Data Frame", 0x41);
    frame.AddComponent(
        XFPFrameComponentModel("Data", bytes.data(), kBenchFrameBytes, kBenchFrameBytes * 8));
    model.AddFrame(frame);
  }
  return XFPGenerateBitstream::Generate(model, path.c_str());
}

}  // namespace fusekit::bench

#endif  // FUSEKIT_BENCH_BENCH_SUPPORT_H
