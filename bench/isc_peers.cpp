// JEDEC-to-ISC conversion by the fusekit tool and the ISC reader on a large file beside the I/O
// floors, in one run:
//   isc_peers TOOL DEVICE_DB JEDEC_FILE ISC_FILE FUSES
// times reading JEDEC_FILE and ISC_FILE with fread in 1 MiB blocks, `TOOL --device-db DEVICE_DB
// convert JEDEC_FILE ISC_FILE --device BENCH`, and ISC2SVFPlus of the result (best of three
// runs each), and prints each time with its ratio to the floor of the file it reads; beside
// them, the time of writing a file as large as the ISC file with fwrite and of the page faults
// of as much fresh memory as the read's result holds.
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

using fusekit::bench::BenchDevice;
using fusekit::bench::BestSeconds;
using fusekit::bench::FileSize;
using fusekit::bench::FreshMemoryFloor;
using fusekit::bench::ReadFloor;
using fusekit::bench::ResidentBytes;
using fusekit::bench::WriteFloor;

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) {
    std::fprintf(stderr, "usage: isc_peers TOOL DEVICE_DB JEDEC_FILE ISC_FILE FUSES\n");
    return 2;
  }
  const std::string tool = argv[1], db = argv[2], jedec = argv[3];
  std::string isc = argv[4];
  DeviceInfo device = BenchDevice(std::strtoul(argv[5], nullptr, 10));
  const std::string command =
      tool + " --device-db " + db + " convert " + jedec + " " + isc + " --device BENCH >/dev/null";
  int converted = 0;
  const double convert = BestSeconds([&] { converted = std::system(command.c_str()); });
  if (converted != 0) {
    std::fprintf(stderr, "conversion failed: %s\n", command.c_str());
    return 1;
  }
  int status = 0;
  char empty[] = "";
  // The memory the read's result holds, from one untimed read first.
  std::size_t model_bytes = 0;
  {
    const std::size_t before = ResidentBytes();
    SVFPlusData model;
    status = ISC2SVFPlus(isc.data(), &device, 1, &model, "", empty, "", empty,
                         static_cast<KvObjList*>(nullptr), nullptr, nullptr);
    const std::size_t after = ResidentBytes();
    model_bytes = after > before ? after - before : 0;
  }
  // The call alone is timed: the programming data it fills is made before and freed after.
  std::unique_ptr<SVFPlusData> data;
  const double read = BestSeconds(
      [&] {
        data = std::make_unique<SVFPlusData>();
        status = ISC2SVFPlus(isc.data(), &device, 1, data.get(), "", empty, "", empty,
                             static_cast<KvObjList*>(nullptr), nullptr, nullptr);
      },
      [&] { data.reset(); });
  if (status != 1) {
    std::fprintf(stderr, "ISC2SVFPlus failed: %d\n", status);
    return 1;
  }
  const double jedec_floor = ReadFloor(jedec);
  const double isc_floor = ReadFloor(isc);
  const double write_floor = WriteFloor(isc + ".write.tmp", FileSize(isc));
  const double fresh_floor = model_bytes != 0 ? FreshMemoryFloor(model_bytes) : 0.0;

  std::printf("%-44s %10s %10s %8s\n", "", "time (ms)", "x fread", "target");
  std::printf("%-44s %10.1f %10s\n", "fread of the JEDEC file (I/O floor)", jedec_floor * 1e3,
              "1.0");
  std::printf("%-44s %10.1f %10.2f\n", "fwrite of the ISC file's size", write_floor * 1e3,
              write_floor / jedec_floor);
  std::printf("%-44s %10.1f %10.2f %8s\n", "fusekit convert JEDEC -> ISC (whole process)",
              convert * 1e3, convert / jedec_floor, "<= 12");
  std::printf("%-44s %10.1f %10s\n", "fread of the ISC file (I/O floor)", isc_floor * 1e3, "1.0");
  std::printf(
      "%-44s %10.1f %10.2f\n",
      ("fresh memory for the result's " + std::to_string(model_bytes >> 20) + " MiB").c_str(),
      fresh_floor * 1e3, fresh_floor / isc_floor);
  std::printf("%-44s %10.1f %10.2f %8s\n", "ISC2SVFPlus of the result", read * 1e3,
              read / isc_floor, "<= 6");
  return 0;
}
