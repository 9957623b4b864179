// The image conversions and listings of the tool.
#include "tools/fusekit/image_support.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace fusekit::cli {
namespace {

int RecordsToBinary(char kind, std::string input, std::string output, unsigned int* start,
                    int alignment) {
  switch (kind) {
    case 'm':
      return MOT2BIN(input.data(), start, output.data(), alignment);
    case 't':
      return TEKHEX2BIN(input.data(), start, output.data(), alignment);
    default:
      return HEX2BIN(input.data(), start, output.data(), alignment);
  }
}

bool IsIscLayoutFamily(const DeviceInfo& device) {
  return IsMarskFamily(device.GetFamily()) || IsZentivFamily(device.GetFamily());
}

// Reads an image into data for the device: binary images directly, hex text as digit pairs,
// Intel hex and MCS through HEX2BIN first (which mirrors each byte, as MCS2SVFPlus expects).
int ReadImage(const std::string& input, DeviceInfo& device, SVFPlusData& data,
              TemporaryFolderOf& scratch) {
  std::string name = input;
  char empty[] = "";
  const std::string extension = Extension(input);
  const char kind = ImageKind(input);
  const bool intel_records = CheckValidIntelHexFile(name.data()) == 0;
  if (kind == 'm' || kind == 't' || (kind == 'i' && intel_records)) {
    const std::string binary = scratch.Path("image.bin");
    unsigned int start = 0;
    const int converted = RecordsToBinary(kind, input, binary, &start, 1);
    if (converted != 0) return converted;
    std::string binary_name = binary;
    if (extension == ".mcs")
      return MCS2SVFPlus(binary_name.data(), &device, 0, &data, empty, empty, empty);
    return BIN2SVFPlus(binary_name.data(), &device, 0, &data, empty, empty, empty);
  }
  if (kind == 'i') {  // hex digit pairs without records
    return IsIscLayoutFamily(device)
               ? HEX2ISCSVFPlus(name.data(), &device, 0, &data, empty, empty,
                                scratch.Folder().data())
               : HEX2SVFPlus(name.data(), &device, 0, &data, empty, empty, scratch.Folder().data());
  }
  return IsIscLayoutFamily(device)
             ? BIN2ISCSVFPlus(name.data(), &device, 0, &data, empty, empty, empty)
             : BIN2SVFPlus(name.data(), &device, 0, &data, empty, empty, empty);
}

// The most bytes an image for the device may hold: its arrays twice over, and 64 KiB for
// headers and padding. An image is read into rows as long as it is, so this bound keeps a small
// file that declares a wide address span from costing gigabytes.
unsigned long long MostImageBytes(const DeviceInfo& device) {
  const unsigned long long bits = static_cast<unsigned long long>(device.GetFuseNumber()) +
                                  device.GetELength() +
                                  static_cast<unsigned long long>(device.GetARCHLength()) *
                                      std::max<unsigned>(1, device.GetARCHRow());
  return 2 * ((bits + 7) / 8) + 65536;
}

// Whether the image is small enough for the device; complains when it is not.
bool ImageFitsDevice(const std::string& input, const DeviceInfo& device) {
  ImageSummary summary;
  if (GetImageSummary(input.c_str(), &summary) != 0) return true;  // the reader says what is wrong
  const unsigned long long span =
      summary.hasData ? summary.highestAddress - summary.lowestAddress + 1 : 0;
  const unsigned long long bytes = std::max(span, summary.dataBytes);
  const unsigned long long most = MostImageBytes(device);
  if (bytes <= most) return true;
  char where[96] = "";
  if (summary.hasData) {
    std::snprintf(where, sizeof where, " (addresses 0x%llX to 0x%llX)", summary.lowestAddress,
                  summary.highestAddress);
  }
  Complain(input, "is an image of " + std::to_string(bytes) + " bytes" + where + ", more than " +
                      device.GetName() + " can hold (at most " + std::to_string(most) +
                      " bytes with headers)");
  return false;
}

}  // namespace

std::string Extension(const std::string& path) {
  const std::size_t dot = path.find_last_of('.');
  const std::size_t slash = path.find_last_of('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
  std::string extension = path.substr(dot);
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension;
}

char ImageKind(const std::string& path) {
  const std::string e = Extension(path);
  if (e == ".hex" || e == ".mcs" || e == ".ihex" || e == ".ihx") return 'i';
  if (e == ".mot" || e == ".s19" || e == ".s28" || e == ".s37" || e == ".srec" || e == ".exo")
    return 'm';
  if (e == ".xtek" || e == ".tek") return 't';
  if (e == ".bin") return 'b';
  return 0;
}

namespace {

unsigned char Mirrored(unsigned char byte) {
  unsigned char out = 0;
  for (int i = 0; i < 8; ++i)
    out = static_cast<unsigned char>(out | (((byte >> i) & 1u) << (7 - i)));
  return out;
}

// The runs with --crop, --offset and --fill applied, each byte mirrored for --bit-order device.
// False, after a message, when an address would fall below 0 or past 32 bits.
bool Transform(std::vector<ImageRun>& runs, const ImageOptions& o) {
  if (o.crop) {
    std::vector<ImageRun> kept;
    for (const ImageRun& run : runs) {
      const unsigned long long end = run.address + run.bytes.size();
      const unsigned long long from = std::max(run.address, o.crop_start);
      const unsigned long long to = std::min(end, o.crop_end);
      if (from >= to) continue;
      kept.push_back({from, std::vector<unsigned char>(run.bytes.begin() + (from - run.address),
                                                       run.bytes.begin() + (to - run.address))});
    }
    runs = std::move(kept);
  }
  for (ImageRun& run : runs) {
    const long long moved = static_cast<long long>(run.address) + o.offset;
    if (moved < 0 || static_cast<unsigned long long>(moved) + run.bytes.size() > 0x100000000ull) {
      Complain("", "--offset moves data outside the 32-bit address range");
      return false;
    }
    run.address = static_cast<unsigned long long>(moved);
  }
  if (o.fill >= 0 && runs.size() > 1) {
    ImageRun whole{runs.front().address, {}};
    for (const ImageRun& run : runs) {
      whole.bytes.resize(run.address - whole.address, static_cast<unsigned char>(o.fill));
      whole.bytes.insert(whole.bytes.end(), run.bytes.begin(), run.bytes.end());
    }
    runs = {std::move(whole)};
  }
  if (o.mirror) {
    for (ImageRun& run : runs) {
      for (unsigned char& byte : run.bytes) byte = Mirrored(byte);
    }
  }
  return true;
}

// A flat binary from the (aligned) lowest address to the highest, gaps written as the fill byte
// (0xFF without --fill) a block at a time, never the whole span in memory.
bool WriteBinary(const std::string& path, const std::vector<ImageRun>& runs,
                 unsigned long long start, int fill) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  bool ok = true;
  const std::vector<unsigned char> gap(1 << 16,
                                       static_cast<unsigned char>(fill >= 0 ? fill : 0xFF));
  unsigned long long at = start;
  for (const ImageRun& run : runs) {
    for (; at < run.address && ok;
         at += std::min<unsigned long long>(gap.size(), run.address - at)) {
      const std::size_t n =
          static_cast<std::size_t>(std::min<unsigned long long>(gap.size(), run.address - at));
      ok = std::fwrite(gap.data(), 1, n, file) == n;
    }
    ok = ok && std::fwrite(run.bytes.data(), 1, run.bytes.size(), file) == run.bytes.size();
    at = run.address + run.bytes.size();
  }
  const bool flushed = std::fflush(file) == 0 && std::ferror(file) == 0;
  return std::fclose(file) == 0 && flushed && ok;
}

}  // namespace

int ConvertImage(const std::string& input, const std::string& label, OutputFile& output,
                 char out_format, const ImageOptions& options) {
  if (options.alignment < 1) {
    Complain("", "--align must be at least 1");
    return kExitUsage;
  }
  std::vector<ImageRun> runs;
  const int read = ReadImageRuns(input.c_str(), &runs);
  if (read != 0 && runs.empty()) {
    ComplainStatus(label, "cannot be read as an image", read);
    return kExitInvalidInput;
  }
  if (!Transform(runs, options)) return kExitUsage;
  unsigned long long start = runs.empty() ? 0 : runs.front().address;
  start -= start % static_cast<unsigned long long>(options.alignment);
  unsigned long long bytes = 0;
  const int written =
      out_format == 'b'
          ? (WriteBinary(output.Path(), runs, start, options.fill) ? 0 : kStatusWriteFailed)
          : WriteImageRuns(output.Path().c_str(), out_format, runs, options.record_bytes);
  if (written != 0) {
    ComplainStatus(output.Label(), "cannot be written", written);
    return kExitInvalidInput;
  }
  if (!output.Commit()) return kExitInvalidInput;
  for (const ImageRun& run : runs) bytes += run.bytes.size();
  if (out_format == 'b' && !runs.empty())
    bytes = runs.back().address + runs.back().bytes.size() - start;
  std::printf("%s: start address 0x%08llX, %llu bytes\n", output.Label().c_str(), start, bytes);
  if (read != 0) {
    Complain(label,
             "has records that fail their checksum or cannot be read (the file was "
             "written with what could be placed; `fusekit info` lists them)");
    return kExitDifferent;
  }
  return kExitOk;
}

// A warning when the rows an image gave are not the device's: the image is for another device,
// or holds too little or nothing at all.
void WarnWhenShapeDiffers(const std::string& input, const DeviceInfo& device,
                          const SVFPlusData& data) {
  const SVFDataField* array = data.GetDataField("FuseArray_TDI");
  const int rows = array != nullptr ? array->GetRowCount() : 0;
  const std::string name = device.GetName();
  if (rows == 0) {
    Complain(input, "warning: the image holds no data for " + name);
  } else if (static_cast<unsigned>(rows) != device.GetAddressLength() &&
             array->GetRowWidth(1) == device.GetDataLength()) {
    Complain(input, "warning: the image holds " + std::to_string(rows) +
                        (rows == 1 ? " row of " : " rows of ") +
                        std::to_string(device.GetDataLength()) + " bits, but " + name + " has " +
                        std::to_string(device.GetAddressLength()) + ": it does not fit the device");
  }
}

int ReadImageInto(const std::string& input, DeviceInfo& device, SVFPlusData& data) {
  if (!ImageFitsDevice(input, device)) return kExitInvalidInput;
  TemporaryFolderOf scratch({"image.bin", "tmpBitstream.bit"});
  if (!scratch.Ready()) {
    Complain("", "cannot make a scratch folder in " + TemporaryFolder());
    return kExitInvalidInput;
  }
  const int read = ReadImage(input, device, data, scratch);
  if (read < 0) {
    ComplainStatus(input, "cannot be read as an image for " + std::string(device.GetName()), read);
    return kExitInvalidInput;
  }
  WarnWhenShapeDiffers(input, device, data);
  return kExitOk;
}

int ConvertImageToIsc(const GlobalOptions& options, const std::string& input, OutputFile& output,
                      const std::string& device_name, const std::string& entity,
                      const std::string& creator) {
  if (!Readable(input, input)) return kExitInvalidInput;
  DeviceInfo device;
  if (const int status = DeviceByName(options, device_name, device); status != kExitOk)
    return status;
  SVFPlusData data;
  if (const int status = ReadImageInto(input, device, data); status != kExitOk) return status;
  const std::string entity_name = entity.empty() ? device.GetName() : entity;
  const int checksum = SVFPlus2ISC(&data, nullptr, output.Path().c_str(), entity_name.c_str(), 0, 0,
                                   creator.c_str());
  char data_crc[16] = "(none)";
  if (SVFDataField* array = data.GetDataField("FuseArray_TDI"); array != nullptr && checksum >= 0) {
    array->ResetRowPointer();
    GetDataCRC(nullptr, array, nullptr, nullptr, true, data_crc);
  }
  return FinishIscOutput(output, device.GetName(), checksum, data_crc);
}

int ImageInfo(const std::string& path, const std::string& label) {
  ImageSummary s;
  const int status = GetImageSummary(path.c_str(), &s);
  if (status != 0) {
    ComplainStatus(label, "cannot be read as an image", status);
    return kExitInvalidInput;
  }
  std::printf("%s: %s image\n", label.c_str(), s.format.c_str());
  if (!s.records.empty()) {
    std::printf("  %-32s %10s %14s\n", "records", "count", "bad checksum");
    for (const ImageRecordCount& r : s.records)
      std::printf("  %-32s %10lu %14lu\n", r.kind.c_str(), r.count, r.badChecksum);
    std::printf("  %-32s %10lu\n", "lines read", s.lines);
  }
  if (s.hasData) {
    std::printf("  %-32s 0x%08llX to 0x%08llX\n", "address range", s.lowestAddress,
                s.highestAddress);
  } else {
    std::printf("  %-32s (no data)\n", "address range");
  }
  std::printf("  %-32s %llu\n", "data bytes", s.dataBytes);
  std::printf("  %-32s %lu\n", "bad records", s.badRecords);
  if (!s.badLines.empty()) {
    std::printf("  bad records at lines:");
    for (unsigned long line : s.badLines) std::printf(" %lu", line);
    std::printf(s.badRecords > s.badLines.size() ? " ...\n" : "\n");
  }
  return s.badRecords == 0 ? kExitOk : kExitDifferent;
}

}  // namespace fusekit::cli
