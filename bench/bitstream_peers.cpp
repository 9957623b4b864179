// BIT2SVFPlus and BIT2ISC of a large generated bitstream beside the I/O floor, in one run:
//   bitstream_peers WORK_FOLDER [MIB]
// writes a configuration bitstream of MIB MiB (default 32) with the model library's generator,
// then prints the time of reading it with fread in 1 MiB blocks, of BIT2SVFPlus and of BIT2ISC
// (best of three runs each) and their ratios to the floor. Beside them, the time of allocating
// and writing as many bytes of memory once (the rows of the result cost at least that much),
// and the time of writing a file as large as the ISC file BIT2ISC writes.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "fusekit/fusekit.h"

namespace {

using fusekit::bench::BestSeconds;
using fusekit::bench::FileSize;
using fusekit::bench::MemoryFloor;
using fusekit::bench::ReadFloor;
using fusekit::bench::WriteFloor;

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: bitstream_peers WORK_FOLDER [MIB]\n");
    return 2;
  }
  const std::string folder = argv[1];
  const unsigned mib = argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : 32;
  const unsigned frames = mib * 1024;
  DeviceInfo device = fusekit::bench::BitstreamBenchDevice(frames);
  std::string bit = folder + "/bench-" + std::to_string(mib) + "mib.bit";
  if (fusekit::bench::WriteBenchBitstream(bit, device, frames) != 0) {
    std::fprintf(stderr, "cannot write %s\n", bit.c_str());
    return 1;
  }
  const double floor = ReadFloor(bit);
  const double touch = MemoryFloor(std::size_t{mib} << 20);
  int status = 0;
  // The call alone is timed: the programming data it fills is made before and freed after.
  std::unique_ptr<SVFPlusData> data;
  const double reader = BestSeconds(
      [&] {
        data = std::make_unique<SVFPlusData>();
        status = BIT2SVFPlus(bit.data(), &device, 0, data.get(), "", "", "", false);
      },
      [&] { data.reset(); });
  if (status != 0) std::fprintf(stderr, "BIT2SVFPlus: %d\n", status);
  std::string isc = folder + "/bench.isc";
  std::string entity = "BENCH";
  char empty[] = "";
  const double convert = BestSeconds([&] {
    status = BIT2ISC(bit.data(), &device, 0, "", folder.c_str(), empty, "", entity.data(),
                     isc.data(), 0, "bench");
  });
  if (status < 0) std::fprintf(stderr, "BIT2ISC: %d\n", status);
  const std::size_t isc_bytes = FileSize(isc);
  std::remove(isc.c_str());
  const double write = WriteFloor(folder + "/bench-write.tmp", isc_bytes);
  const std::string title = "bitstream of " + std::to_string(mib) + " MiB";
  std::printf("%-34s %10s %10s %8s\n", title.c_str(), "time (ms)", "x fread", "target");
  std::printf("%-34s %10.1f %10s\n", "fread, 1 MiB blocks (I/O floor)", floor * 1e3, "1.0");
  std::printf("%-34s %10.1f %10.2f\n", "malloc + memset of as many bytes", touch * 1e3,
              touch / floor);
  std::printf("%-34s %10.1f %10.2f %8s\n", "BIT2SVFPlus", reader * 1e3, reader / floor, "<= 4");
  std::printf("%-34s %10.1f %10.2f\n", "fwrite of the ISC file's size", write * 1e3, write / floor);
  std::printf("%-34s %10.1f %10.2f %8s\n", "BIT2ISC", convert * 1e3, convert / floor, "<= 10");
  return 0;
}
