// Fuzzes fnJEDFileCompare with two files cut from one input at a point its first byte chooses.
// Each pair is compared again with every line feed before an "L" made CR LF: a line's end and
// the next field's start are then walked character by character instead of being passed over
// whole where they are alike, and the report must not change.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>

#include "fusekit/jedec.h"
#include "fuzz/fuzz_support.h"

namespace {

std::string WithCrBeforeL(const std::uint8_t* data, std::size_t size) {
  std::string text;
  for (std::size_t i = 0; i < size; ++i) {
    if (data[i] == '\n' && i + 1 < size && data[i + 1] == 'L') text += '\r';
    text += static_cast<char>(data[i]);
  }
  return text;
}

struct Compared {
  int result;
  std::string report;
};

Compared Compare(const std::string& read_bytes, const std::string& ref_bytes) {
  const auto bytes = [](const std::string& text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
  };
  const std::string read =
      fusekit::fuzzing::WriteInput(bytes(read_bytes), read_bytes.size(), "read");
  const std::string ref = fusekit::fuzzing::WriteInput(bytes(ref_bytes), ref_bytes.size(), "ref");
  const std::string report = fusekit::fuzzing::WriteInput(nullptr, 0, "report");
  Compared c;
  c.result = fnJEDFileCompare(read.c_str(), ref.c_str(), report.c_str());
  std::ifstream in(report, std::ios::binary);
  c.report.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  for (const std::string& file : {read, ref, report}) std::remove(file.c_str());
  return c;
}

// The report without its header (which names the files) and with its dates (the C library's
// asctime form, which may tick over between the two compares) left out.
std::string Body(const std::string& report) {
  static const std::regex date(
      "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}");
  const std::size_t at = report.find("]\n//Key:");
  return std::regex_replace(at == std::string::npos ? report : report.substr(at), date, "");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::size_t split = 1 + data[0] * (size - 1) / 256;
  const std::string read(reinterpret_cast<const char*>(data + 1), split - 1);
  const std::string ref(reinterpret_cast<const char*>(data + split), size - split);
  const Compared plain = Compare(read, ref);
  if (plain.result < -4 || plain.result == -3) std::abort();
  const Compared walked =
      Compare(WithCrBeforeL(data + 1, split - 1), WithCrBeforeL(data + split, size - split));
  if (walked.result != plain.result || Body(walked.report) != Body(plain.report)) std::abort();
  return 0;
}
