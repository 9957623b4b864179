// Record files to binaries with fusekit, srec_cat and objcopy, in one run:
//   image_peers FUSEKIT PREFIX
// reads PREFIX.hex, PREFIX.s37 and PREFIX.xtek (objcopy: PREFIX.objcopy.xtek, which carries the
// section record it needs) as written by bench/gen_image.py, and prints for each format the
// fread floor of the input, each tool's time (best of three runs of the whole process) and its
// ratio to the floor and to fusekit. Every output is checked against PREFIX.bin: a .bin that
// fusekit writes holds the image's bytes as they stand, as the other tools' do.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "bench/bench_support.h"

namespace {

using fusekit::bench::BestSeconds;
using fusekit::bench::ReadFloor;

std::string Contents(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

struct Format {
  const char* name;
  const char* extension;
  const char* srec_cat_format;
  const char* objcopy_format;
  const char* objcopy_extension;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: image_peers FUSEKIT PREFIX\n");
    return 2;
  }
  const std::string fusekit = argv[1], prefix = argv[2];
  const std::string out = "/dev/shm/fusekit-image-peers.bin";
  const std::string image = Contents(prefix + ".bin");
  const Format formats[] = {
      {"Intel hex", ".hex", "-Intel", "ihex", ".hex"},
      {"S3 records", ".s37", "-Motorola", "srec", ".s37"},
      {"extended Tektronix", ".xtek", "-Tektronix-Extended", "tekhex", ".objcopy.xtek"},
  };
  std::printf("%-20s %9s %12s %12s %12s %10s %10s\n", "format", "fread ms", "fusekit ms",
              "srec_cat ms", "objcopy ms", "srec/fk", "objcopy/fk");
  int failures = 0;
  for (const Format& f : formats) {
    const std::string in = prefix + f.extension;
    const double floor = ReadFloor(in);
    int status = 0;
    const std::string ours = fusekit + " convert " + in + " " + out + " >/dev/null";
    const double fk = BestSeconds([&] { status = std::system(ours.c_str()); });
    const bool fk_ok = status == 0 && Contents(out) == image;
    const std::string srec = std::string("srec_cat ") + in + " " + f.srec_cat_format + " -o " +
                             out + " -Binary 2>/dev/null";
    const double sc = BestSeconds([&] { status = std::system(srec.c_str()); });
    const bool sc_ok = status == 0 && Contents(out) == image;
    const std::string objcopy = std::string("objcopy -I ") + f.objcopy_format + " -O binary " +
                                prefix + f.objcopy_extension + " " + out + " 2>/dev/null";
    const double oc = BestSeconds([&] { status = std::system(objcopy.c_str()); });
    const bool oc_ok = status == 0 && Contents(out) == image;
    std::printf("%-20s %9.1f %9.1f %-2s %9.1f %-2s %9.1f %-2s %10.2f %10.2f\n", f.name, floor * 1e3,
                fk * 1e3, fk_ok ? "" : "!", sc * 1e3, sc_ok ? "" : "!", oc * 1e3, oc_ok ? "" : "!",
                sc / fk, oc / fk);
    std::printf("%-20s %9s %9.1fx %12.1fx %11.1fx   (times the fread floor)\n", "", "", fk / floor,
                sc / floor, oc / floor);
    failures += !fk_ok + !sc_ok + !oc_ok;
  }
  std::remove(out.c_str());
  if (failures != 0) std::printf("! marks an output that did not match the image\n");
  return failures == 0 ? 0 : 1;
}
