// MergeTavrelJedecFiles and SplitTavrelJedecFiles: the JEDEC files of the devices of one chain
// as one file, and back (docs/jedec-writer.md).
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <list>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/file_io.h"
#include "core/status.h"
#include "fusekit/jedec.h"
#include "jedec/field_stream.h"
#include "jedec/header_text.h"
#include "jedec/jedec_text.h"

namespace fusekit::jedec {
namespace {

constexpr char kDeviceNote[] = "NOTE DEVICE ";
constexpr std::uint64_t kFuseChunk = 64;  // fuses an L field of the written files

// What the merge keeps of one file: its header lines and every field it declares.
struct JedecContent {
  std::vector<std::string> header;  // the header text's lines: the design text first
  std::vector<std::uint8_t> fuses;  // one byte a fuse
  bool has_qp = false;
  long qp = 0;
  bool has_g = false;
  int g = 0;
  std::string e_bits;  // '0'/'1'
  std::string u_bits;
};

std::string Digits(const std::vector<std::uint8_t>& bits) {
  std::string text;
  for (const std::uint8_t b : bits) text += b != 0 ? '1' : '0';
  return text;
}

// Reads any JEDEC file whole, without a device: its QF says how many fuses. A QF beyond what a
// file of its size can describe (eight fuses a byte, at least a million) is refused with -2, so
// a small file never costs much memory.
int ReadContent(const char* path, JedecContent& out) {
  JEDECSummary summary;
  if (const int status = GetJEDECSummary(path, &summary); status != kStatusOk) return status;
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  const std::uint64_t most = std::max<std::uint64_t>(1u << 20, error ? 0 : size * 8);
  if (summary.hasFuseCount == 0 || summary.fuseCount > most) return kStatusReadFailed;
  core::UniqueFile file = core::OpenFile(path, "rb");
  if (!file) return kStatusOpenFailed;
  core::TextReader in(file.get());
  if (!SkipToStx(in)) return kStatusNoFuseData;
  FuseListLimits limits;
  limits.accept_any_count = true;
  limits.device_fuses = summary.fuseCount;
  limits.arch_length = summary.eLength;
  limits.capacity_bits = (summary.fuseCount + 7) / 8 * 8;
  limits.clear_value = 0x00;
  std::vector<std::uint8_t> linear(static_cast<std::size_t>(limits.capacity_bits / 8), 0);
  FieldStream stream;
  const int status = ReadFieldStream(in, limits, linear.data(), stream);
  if (status != kStatusOk) return status;
  ClearUpTo(linear.data(), stream, linear.size(), 0x00);
  out.fuses.resize(static_cast<std::size_t>(summary.fuseCount));
  for (std::size_t f = 0; f < out.fuses.size(); ++f)
    out.fuses[f] = (linear[f / 8] >> (7 - f % 8)) & 1u;
  out.has_qp = stream.has_qp;
  out.qp = stream.pin_count;
  out.has_g = stream.has_security;
  out.g = stream.security;
  out.e_bits = Digits(stream.e_bits);
  out.u_bits = Digits(stream.u_bits);
  std::string header;
  CollectHeaderText(path, false, header);
  out.header = LinesOf(header);
  return kStatusOk;
}

// The fields after the design text and notes: QP, QF, G, F0, the fuse list in fields of
// kFuseChunk fuses, C, E and U.
std::string Body(const JedecContent& c) {
  std::string text;
  const std::vector<std::uint8_t>& fuses = c.fuses;
  if (c.has_qp) text += "QP" + std::to_string(c.qp) + "*" + kEol;
  text += "QF" + std::to_string(fuses.size()) + "*" + kEol;
  if (c.has_g) text += "G" + std::to_string(c.g) + "*" + kEol;
  text += std::string("F0*") + kEol;
  for (std::uint64_t at = 0; at < fuses.size(); at += kFuseChunk)
    AppendFuseField(text, fuses, at, std::min<std::uint64_t>(at + kFuseChunk, fuses.size()));
  char checksum[16];
  std::snprintf(checksum, sizeof checksum, "C%.4X*", FuseChecksum(fuses));
  text += checksum + std::string(kEol);
  if (!c.e_bits.empty()) text += "E" + c.e_bits + "*" + kEol;
  if (!c.u_bits.empty()) text += "U" + UsercodeFieldText(c.u_bits) + "*" + kEol;
  return text;
}

int Merge(const std::vector<std::string>& inputs, const char* output) {
  if (inputs.empty() || output == nullptr || output[0] == '\0') return kStatusNullArgument;
  std::vector<JedecContent> devices(inputs.size());
  JedecContent chain;
  std::string notes;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    if (const int status = ReadContent(inputs[i].c_str(), devices[i]); status != kStatusOk)
      return status;
    const JedecContent& d = devices[i];
    const std::string prefix = kDeviceNote + std::to_string(i + 1);
    std::string fields = prefix + " QF" + std::to_string(d.fuses.size());
    if (d.has_qp) fields += " QP" + std::to_string(d.qp);
    if (d.has_g) fields += " G" + std::to_string(d.g);
    if (!d.e_bits.empty()) fields += " E" + d.e_bits;
    if (!d.u_bits.empty()) fields += " U" + d.u_bits;
    notes += fields + "*" + kEol;
    for (const std::string& line : d.header)
      notes += prefix + " TEXT " + AsNoteText(line) + "*" + kEol;
    chain.fuses.insert(chain.fuses.end(), d.fuses.begin(), d.fuses.end());
  }
  std::string text = "\x02Tavrel chain of " + std::to_string(inputs.size()) + " devices*" + kEol;
  text += "NOTE TAVREL CHAIN " + std::to_string(inputs.size()) + "*" + kEol + notes;
  text += Body(chain) + "\x03";
  const int written = WriteJedecText(output, text);
  return written < 0 ? written : kStatusOk;
}

// One device as the merged file describes it.
struct ChainDevice {
  JedecContent content;  // fields and header lines; the fuses are the chain's
  std::uint64_t fuses = 0;
  bool described = false;
};

// Reads "QF<n> QP<n> G<n> E<bits> U<bits>" of a device note.
void ReadDeviceFields(const std::string& text, ChainDevice& device) {
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t end = text.find(' ', at);
    if (end == std::string::npos) end = text.size();
    const std::string word = text.substr(at, end - at);
    if (word.compare(0, 2, "QF") == 0) {
      device.fuses = std::strtoull(word.c_str() + 2, nullptr, 10);
      device.described = true;
    } else if (word.compare(0, 2, "QP") == 0) {
      device.content.has_qp = true;
      device.content.qp = std::strtol(word.c_str() + 2, nullptr, 10);
    } else if (word[0] == 'G') {
      device.content.has_g = true;
      device.content.g = static_cast<int>(std::strtol(word.c_str() + 1, nullptr, 10));
    } else if (word[0] == 'E') {
      device.content.e_bits = word.substr(1);
    } else if (word[0] == 'U') {
      device.content.u_bits = word.substr(1);
    }
    at = end + 1;
  }
}

// The devices the merged file's notes describe, in order; empty when it describes none.
std::vector<ChainDevice> DevicesOf(const JedecContent& merged) {
  std::vector<ChainDevice> devices;
  for (const std::string& line : merged.header) {
    if (line.compare(0, sizeof kDeviceNote - 1, kDeviceNote) != 0) continue;
    char* rest = nullptr;
    const unsigned long index = std::strtoul(line.c_str() + sizeof kDeviceNote - 1, &rest, 10);
    if (index == 0 || index > merged.header.size() || rest == nullptr || *rest != ' ') continue;
    if (devices.size() < index) devices.resize(index);
    ChainDevice& device = devices[index - 1];
    const std::string what(rest + 1);
    if (what.compare(0, 5, "TEXT ") == 0) {
      device.content.header.push_back(what.substr(5));
    } else {
      ReadDeviceFields(what, device);
    }
  }
  return devices;
}

std::string PieceName(const std::string& input, std::size_t index) {
  const std::size_t dot = input.find_last_of('.');
  const std::size_t slash = input.find_last_of('/');
  const bool extension = dot != std::string::npos && (slash == std::string::npos || dot > slash);
  return (extension ? input.substr(0, dot) : input) + "_" + std::to_string(index + 1) + ".jed";
}

int Split(const char* input, std::list<std::string>& outputs) {
  if (input == nullptr) return kStatusNullArgument;
  JedecContent merged;
  if (const int status = ReadContent(input, merged); status != kStatusOk) return status;
  std::vector<ChainDevice> devices = DevicesOf(merged);
  std::uint64_t total = 0;
  for (const ChainDevice& device : devices) {
    if (!device.described) return kStatusReadFailed;  // a device without its fields
    total += device.fuses;
  }
  if (devices.empty() || total != merged.fuses.size()) return kStatusReadFailed;
  if (!outputs.empty() && outputs.size() != devices.size()) return kStatusReadFailed;
  if (outputs.empty()) {
    for (std::size_t i = 0; i < devices.size(); ++i) outputs.push_back(PieceName(input, i));
  }
  std::uint64_t first = 0;
  auto name = outputs.begin();
  for (std::size_t i = 0; i < devices.size(); ++i, ++name) {
    ChainDevice& device = devices[i];
    device.content.fuses.assign(
        merged.fuses.begin() + static_cast<std::ptrdiff_t>(first),
        merged.fuses.begin() + static_cast<std::ptrdiff_t>(first + device.fuses));
    first += device.fuses;
    const std::vector<std::string>& lines = device.content.header;
    std::string text = "\x02" + (lines.empty() ? std::string() : lines[0]) + "*" + kEol;
    for (std::size_t l = 1; l < lines.size(); ++l) {
      if (lines[l].empty()) continue;
      text +=
          (lines[l].compare(0, 1, "N") == 0 || lines[l].compare(0, 1, "n") == 0 ? "" : "NOTE ") +
          lines[l] + "*" + kEol;
    }
    text += Body(device.content) + "\x03";
    const int written = WriteJedecText(name->c_str(), text);
    if (written < 0) return written;
  }
  return kStatusOk;
}

std::vector<std::string> NamesOf(const KvObjList* list) {
  std::vector<std::string> names;
  if (list == nullptr) return names;
  for (int i = 0; i < list->GetCount(); ++i) {
    if (const auto* element = dynamic_cast<const DeviceStrElement*>(list->GetAt(i)))
      names.emplace_back(element->GetString());
  }
  return names;
}

template <class Work>
int Guarded(Work work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return kStatusNoMemory;
  } catch (const std::length_error&) {
    return kStatusNoMemory;
  }
}

}  // namespace
}  // namespace fusekit::jedec

int MergeTavrelJedecFiles(std::list<std::string>& inputs, const char* output) {
  return fusekit::jedec::Guarded([&] {
    return fusekit::jedec::Merge(std::vector<std::string>(inputs.begin(), inputs.end()), output);
  });
}

int MergeTavrelJedecFiles(KvObjList* inputs, const char* output) {
  return fusekit::jedec::Guarded(
      [&] { return fusekit::jedec::Merge(fusekit::jedec::NamesOf(inputs), output); });
}

int SplitTavrelJedecFiles(const char* input, std::list<std::string>& outputs) {
  return fusekit::jedec::Guarded([&] { return fusekit::jedec::Split(input, outputs); });
}
