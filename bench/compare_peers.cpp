// The compares on two large files of each kind beside the floor of reading both, in one run:
//   compare_peers TOOL JEDEC_FILE ISC_FILE WORK_FOLDER FUSES
// copies each file (the compare reads two files, not one twice), makes a bitstream of FUSES
// bits, and times fnJEDFileCompare, fnJEDFileCompareByAddress, `TOOL compare --by-address`
// (whole process), fnISCFileCompare, `TOOL compare` of the ISC files (whole process) and
// fnBITFileCompare of each file with its copy, each with its ratio to the fread floor of the two
// files, the floor's runs taken in turn with the compare's. A report as large as a file (the
// JEDEC compare writes the read file back with its differences marked) also has its fwrite floor
// printed, and the ratio to both floors together. A whole-process compare also has the floor of
// a process that freads both files.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "fusekit/fusekit.h"

namespace {

using fusekit::bench::BestInTurn;
using fusekit::bench::FileSize;
using fusekit::bench::ReadWhole;
using fusekit::bench::WriteFloor;

// A copy of the file, written through to the disk before it is timed: the kernel's write-back of
// a fresh copy would otherwise run beside the compares and floors that follow.
std::string CopyOf(const std::string& path) {
  const std::string copy = path + ".copy";
  std::filesystem::copy_file(path, copy, std::filesystem::copy_options::overwrite_existing);
  const int descriptor = open(copy.c_str(), O_RDONLY);
  if (descriptor >= 0) {
    fsync(descriptor);
    close(descriptor);
  }
  return copy;
}

// A configuration bitstream of fuses bits, and its device.
DeviceInfo WriteBitstream(const std::string& path, unsigned long fuses) {
  const unsigned frames = static_cast<unsigned>(fuses / (fusekit::bench::kBenchFrameBytes * 8));
  DeviceInfo device = fusekit::bench::BitstreamBenchDevice(frames);
  if (fusekit::bench::WriteBenchBitstream(path, device, frames) != 0)
    std::fprintf(stderr, "cannot write %s\n", path.c_str());
  return device;
}

// One compare beside its floors: the fread of both files and the fwrite of its report.
void Row(const char* what, const std::string& a, double seconds, double read, double write,
         int result) {
  std::printf("%-30s %7.1f MB %8.1f %8.1f %9.1f %8.2f %10.2f %7s  (result %d)\n", what,
              static_cast<double>(FileSize(a)) / 1e6, read * 1e3, write * 1e3, seconds * 1e3,
              seconds / read, seconds / (read + write), "<= 2", result);
}

// A whole-process compare beside a process that only freads both files: what starting a
// process costs is in both.
void ProcessRow(double seconds, double process_read) {
  std::printf("%-30s %10s %8.1f %8s %9.1f %8.2f %10s %7s  (fread of both in a process)\n", "", "",
              process_read * 1e3, "", seconds * 1e3, seconds / process_read, "", "");
}

// Every figure, floors and compares alike, is the best of at least this many runs, taken in
// turn, and of more while the runs of one compare and its floors have taken less than a second
// (up to 99): a run of a few milliseconds swings by half its time on a shared virtual machine,
// and a compare that keeps two processors busy swings more than a read on one.
constexpr int kRuns = 9;
constexpr double kBudgetSeconds = 1.0;
constexpr int kMostRuns = 99;

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 2 && std::string(argv[1]) == "--read") {  // the floor of a whole process
    std::vector<char> block(1 << 20);
    for (int i = 2; i < argc; ++i) ReadWhole(argv[i], block);
    return 0;
  }
  if (argc != 6 && argc != 7) {
    std::fprintf(stderr,
                 "usage: compare_peers TOOL JEDEC_FILE ISC_FILE WORK_FOLDER FUSES [ONLY]\n"
                 "  ONLY: run only the compares whose name holds this text\n");
    return 2;
  }
  const std::string tool = argv[1], jedec = argv[2], isc = argv[3], folder = argv[4];
  const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
  const unsigned long fuses = std::strtoul(argv[5], nullptr, 10);
  const std::string bit = folder + "/compare-bench.bit";
  DeviceInfo device = WriteBitstream(bit, fuses);
  const std::string report = folder + "/compare-bench.report";
  std::printf("%-30s %10s %8s %8s %9s %8s %10s %7s\n", "two files of each kind", "each", "fread ms",
              "report", "time (ms)", "x fread", "x fread+rep", "target");
  const struct {
    const char* what;
    std::string file;
  } kinds[] = {{"fnJEDFileCompare", jedec},
               {"fnJEDFileCompareByAddress", jedec},
               {"fusekit compare --by-address", jedec},
               {"fnISCFileCompare", isc},
               {"fusekit compare (ISC)", isc},
               {"fnBITFileCompare", bit}};
  const std::string only = argc == 7 ? argv[6] : "";
  for (const auto& kind : kinds) {
    if (std::string(kind.what).find(only) == std::string::npos) continue;
    std::remove(report.c_str());  // each compare's report is measured alone
    const std::string copy = CopyOf(kind.file);
    // What the bench's earlier steps wrote (peers.sh runs the converters first, which write
    // files of 100 MB) is written out now, not by the kernel beside the timed runs.
    sync();
    int result = 0;
    std::size_t report_bytes = 0;
    const std::string what = kind.what;
    const bool whole_process = what.rfind("fusekit", 0) == 0;
    // The tool's figures are whole processes, whose memory is all fresh; a library call in this
    // long-running process may reuse what an earlier one freed. Their floor is a process too:
    // this program started again to fread both files and nothing else.
    std::vector<std::string> command = {tool, "compare"};
    if (what == "fusekit compare (ISC)") {
      command.insert(command.end(), {"-o", report});
    } else {
      command.push_back("--by-address");
    }
    command.insert(command.end(), {kind.file, copy});
    const std::vector<std::string> reading_process = {self, "--read", kind.file, copy};
    std::vector<char> block(1 << 20);
    const std::vector<double> best = BestInTurn(
        {{[&] { ReadWhole(kind.file, block); }, {}},
         {[&] { ReadWhole(copy, block); }, {}},
         {[&] {
            if (whole_process) fusekit::bench::RunQuietly(reading_process);
          },
          {}},
         {[&] {
            if (what == "fnJEDFileCompare") {
              result = fnJEDFileCompare(kind.file.c_str(), copy.c_str(), report.c_str());
            } else if (what == "fnJEDFileCompareByAddress") {
              JEDECAddressCompare compared;
              result =
                  fnJEDFileCompareByAddress(kind.file.c_str(), copy.c_str(), nullptr, &compared);
            } else if (whole_process) {
              result = fusekit::bench::RunQuietly(command);
            } else if (what == "fnISCFileCompare") {
              result = fnISCFileCompare(kind.file.c_str(), copy.c_str(), report.c_str());
            } else {
              result = fnBITFileCompare(kind.file.c_str(), copy.c_str(), &device, report.c_str());
            }
          },
          // Every run writes its report as a new file, as the write floor's best run does: a
          // file cut to nothing and written again is written out to the disk when it is closed.
          [&] {
            report_bytes = FileSize(report);
            std::remove(report.c_str());
          }}},
        kRuns, kBudgetSeconds, kMostRuns);
    const double floor = best[0] + best[1];
    const double seconds = best[3];
    const double write = WriteFloor(folder + "/compare-bench.floor", report_bytes, kRuns);
    Row(kind.what, kind.file, seconds, floor, write, result);
    if (whole_process) ProcessRow(seconds, best[2]);
    std::remove(copy.c_str());
  }
  std::remove(report.c_str());
  std::remove(bit.c_str());
  return 0;
}
