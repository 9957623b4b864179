// Table-driven CRCs against their bit-serial references, in one run:
//   - GetDataCRC over a field of 64 Mbit (65536 rows of 1024 bits);
//   - GetCRCTramission over a 32 MiB text file (the marker "ZZZZ" sits at the end, so the whole
//   text is
//     searched and fed).
// After the runs, a summary prints each figure beside its reference and the speed-up.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "fusekit/fusekit.h"
#include "tests/support/crc_reference.h"

namespace {

constexpr int kRows = 65536;
constexpr unsigned kRowBits = 1024;
constexpr std::size_t kTextBytes = 32u << 20;

SVFPlusData& Field64Mbit() {
  static SVFPlusData* data = [] {
    auto* d = new SVFPlusData;
    SVFDataField* field = d->AddDataField();
    field->SetFieldName("FuseArray_TDI");
    std::mt19937 rng(1);
    for (int r = 0; r < kRows; ++r) {
      KvByteBuffer* row = field->AddRow(kRowBits);
      row->Reserve(kRowBits / 8);
      for (unsigned i = 0; i < kRowBits / 8; ++i) row->WriteData(static_cast<unsigned char>(rng()));
    }
    return d;
  }();
  return *data;
}

// An ISC-like text of 32 MiB: rows of hex digits with CR LF line ends, the marker at the end.
const std::string& TextFile() {
  static const std::string path = [] {
    std::string name = "/tmp/fusekit-bench-text.isc";
    std::FILE* file = std::fopen(name.c_str(), "wb");
    std::mt19937 rng(2);
    std::string line;
    std::size_t written = 0;
    while (written < kTextBytes) {
      line = "\t\t";
      for (int i = 0; i < 64; ++i) line += "0123456789ABCDEF"[rng() % 16];
      line += "\r\n";
      std::fwrite(line.data(), 1, line.size(), file);
      written += line.size();
    }
    std::fputs("ZZZZ", file);
    std::fclose(file);
    return name;
  }();
  return path;
}

void BM_DataCrc_TableDriven(benchmark::State& state) {
  SVFDataField* field = Field64Mbit().GetDataField(0);
  char text[9];
  for (auto _ : state) {
    field->ResetRowPointer();
    GetDataCRC(nullptr, field, nullptr, nullptr, true, text);
    benchmark::DoNotOptimize(text);
  }
  state.SetBytesProcessed(state.iterations() * kRows * (kRowBits / 8));
}

void BM_DataCrc_BitSerial(benchmark::State& state) {
  SVFDataField* field = Field64Mbit().GetDataField(0);
  for (auto _ : state) {
    std::uint32_t reg = 0;
    for (int r = 1; r <= kRows; ++r) {
      const KvByteBuffer* row = field->GetRow(r);
      reg = fusekit::reference::DataCrcRow(reg, row->GetBuffer(), row->GetTotalSize(), kRowBits);
    }
    benchmark::DoNotOptimize(reg);
  }
  state.SetBytesProcessed(state.iterations() * kRows * (kRowBits / 8));
}

void BM_FileCrc_TableDriven(benchmark::State& state) {
  std::string path = TextFile();
  char marker[] = "ZZZZ";
  for (auto _ : state) benchmark::DoNotOptimize(GetCRCTramission(path.data(), marker));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kTextBytes));
}

void BM_FileCrc_BitSerial(benchmark::State& state) {
  const std::string& path = TextFile();
  for (auto _ : state) benchmark::DoNotOptimize(fusekit::reference::FileCrc(path, "ZZZZ"));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kTextBytes));
}

BENCHMARK(BM_DataCrc_TableDriven)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DataCrc_BitSerial)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FileCrc_TableDriven)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FileCrc_BitSerial)->Unit(benchmark::kMillisecond);

// Console output as usual, and the mean real time of each benchmark kept for the summary.
class SummaryReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && run.iterations > 0) {
        milliseconds_[run.benchmark_name()] =
            run.real_accumulated_time * 1e3 / static_cast<double>(run.iterations);
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }

  void PrintSummary() const {
    std::printf("\n%-30s %14s %14s %10s\n", "computation", "table (ms)", "bit-serial (ms)",
                "speed-up");
    Line("data CRC, 64 Mbit field", "BM_DataCrc_TableDriven", "BM_DataCrc_BitSerial");
    Line("file CRC, 32 MiB text", "BM_FileCrc_TableDriven", "BM_FileCrc_BitSerial");
  }

 private:
  void Line(const char* what, const std::string& fast, const std::string& slow) const {
    const auto f = milliseconds_.find(fast);
    const auto s = milliseconds_.find(slow);
    if (f == milliseconds_.end() || s == milliseconds_.end()) return;
    std::printf("%-30s %14.2f %14.2f %9.1fx\n", what, f->second, s->second, s->second / f->second);
  }
  std::map<std::string, double> milliseconds_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  SummaryReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintSummary();
  std::remove(TextFile().c_str());
  benchmark::Shutdown();
  return 0;
}
