// The JEDEC reader and compare on a large file beside the I/O floor, in one run:
//   jedec_peers FILE FUSES
// prints the time of reading FILE with fread in 1 MiB blocks, of JEDEC2SVFPlus and of
// fnJEDFileCompare of FILE with itself (best of three runs each), their ratios to the floor, and
// the peak memory the conversion added, in bytes per fuse.
#include <sys/resource.h>
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
  return 0;
}
