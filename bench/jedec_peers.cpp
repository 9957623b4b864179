// The JEDEC reader and compare on a large file beside the I/O floor, in one run:
//   jedec_peers FILE FUSES
// prints the time of reading FILE with fread in 1 MiB blocks, of JEDEC2SVFPlus and of
// fnJEDFileCompare of FILE with itself (best of three runs each), their ratios to the floor, and
// the peak memory the conversion added, in bytes per fuse; then SVFPlus2JEDEC writing the data
// back beside its own floors (fwrite of a file of that size, fread of what it wrote) and the
// memory it adds.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "fusekit/fusekit.h"

namespace {

using fusekit::bench::BestSeconds;
using fusekit::bench::ReadFloor;

long PeakKilobytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: jedec_peers FILE FUSES\n");
    return 2;
  }
  std::string path = argv[1];
  const unsigned long fuses = std::strtoul(argv[2], nullptr, 10);
  DeviceInfo device = fusekit::bench::BenchDevice(fuses);

  // Memory first, while the process is still small: the conversion's own peak.
  const long before = PeakKilobytes();
  int status;
  {
    SVFPlusData data;
    status = JEDEC2SVFPlus(path.data(), &device, 1, &data, "", "", "", "");
  }
  const long peak = PeakKilobytes() - before;
  if (status != 0) {
    std::fprintf(stderr, "JEDEC2SVFPlus failed: %d\n", status);
    return 1;
  }

  const double floor = ReadFloor(path);
  const double reader = BestSeconds([&] {
    SVFPlusData data;
    JEDEC2SVFPlus(path.data(), &device, 1, &data, "", "", "", "");
  });
  // The report is as large as the file; it goes to memory where the system has a memory file
  // system, so that the disk's write-back does not blur the figure (the floor is read from the
  // page cache too).
  const std::string report =
      access("/dev/shm", W_OK) == 0 ? "/dev/shm/fusekit-bench-report.txt" : path + ".report";
  int differing = -1;
  const double compare = BestSeconds(
      [&] { differing = fnJEDFileCompare(path.c_str(), path.c_str(), report.c_str()); });
  std::remove(report.c_str());

  std::printf("%-34s %10s %12s\n", "JEDEC file of", "time (ms)", "x fread");
  std::printf("%-34s %10.1f %12s\n", "fread, 1 MiB blocks (I/O floor)", floor * 1e3, "1.0");
  std::printf("%-34s %10.1f %12.2f\n", "JEDEC2SVFPlus", reader * 1e3, reader / floor);
  std::printf("%-34s %10.1f %12.2f   (%d differing; report to %s)\n",
              "fnJEDFileCompare, file with itself", compare * 1e3, compare / floor, differing,
              report.c_str());
  std::printf("peak memory added by JEDEC2SVFPlus: %.1f MiB, %.3f bytes per fuse\n", peak / 1024.0,
              static_cast<double>(peak) * 1024.0 / static_cast<double>(fuses));

  // The writer: the data read back out as a JEDEC file, beside the floors of the same work
  // (writing a file of the written file's size, and reading it back).
  SVFPlusData data;
  JEDEC2SVFPlus(path.data(), &device, 1, &data, "", "", "", "");
  const std::string written =
      access("/dev/shm", W_OK) == 0 ? "/dev/shm/fusekit-bench-written.jed" : path + ".written";
  const double writer =
      BestSeconds([&] { SVFPlus2JEDEC(&data, &device, 1, written.c_str(), "fusekit bench"); });
  const std::size_t written_bytes = fusekit::bench::FileSize(written);
  const double read_back = ReadFloor(written);
  const double write_floor = fusekit::bench::WriteFloor(written + ".floor", written_bytes);
  std::printf("%-34s %10.1f %12.2f   (x the sum of its floors: %.2f)\n", "SVFPlus2JEDEC, same file",
              writer * 1e3, writer / floor, writer / (write_floor + read_back));
  std::printf("%-34s %10.1f\n", "  floor: fwrite of its size", write_floor * 1e3);
  std::printf("%-34s %10.1f\n", "  floor: fread of what it wrote", read_back * 1e3);
  // Its memory, measured in a child that starts with the data already in memory.
  int channel[2];
  if (pipe(channel) == 0) {
    const pid_t child = fork();
    if (child == 0) {
      const long start = PeakKilobytes();
      SVFPlus2JEDEC(&data, &device, 1, written.c_str(), "fusekit bench");
      const long added = PeakKilobytes() - start;
      if (write(channel[1], &added, sizeof added) != sizeof added) _exit(1);
      _exit(0);
    }
    long added = -1;
    if (read(channel[0], &added, sizeof added) == sizeof added) {
      std::printf("peak memory added by SVFPlus2JEDEC: %.1f MiB, %.3f bytes per fuse\n",
                  added / 1024.0, static_cast<double>(added) * 1024.0 / static_cast<double>(fuses));
    }
    waitpid(child, nullptr, 0);
  }
  std::remove(written.c_str());
  return 0;
}
