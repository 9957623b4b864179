// The device record for the JEDEC commands, and the line-end diagnosis of transmission checksums.
#include "tools/fusekit/jedec_support.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>

#include <unistd.h>

namespace fusekit::cli {

// The most fuses a generic record takes from a file's QF: reading a file costs about four bytes
// a fuse of the record, so the count is bounded by what the file itself can describe, a fuse a
// byte with room for a default fuse state (F) covering eight times as many, and never less than
// a million. A real file of more fuses than that lists them, and is that large.
unsigned long MostFusesOfGenericRecord(const std::string& path) {
  std::error_code error;
  const std::uintmax_t bytes = std::filesystem::file_size(path, error);
  constexpr unsigned long kFloor = 1UL << 20;
  if (error || bytes > (std::numeric_limits<unsigned long>::max() >> 4)) return kFloor;
  return std::max<unsigned long>(kFloor, static_cast<unsigned long>(bytes) * 8);
}

namespace {

// Whether a file's QF fits the device as the JEDEC reader takes it: the device's fuse count, or
// 64 more for the 22V10 code names (the usercode in the list), or any count for the families
// whose files hold images of any size.
bool FuseCountFits(unsigned long fuses, const DeviceInfo& device) {
  if (fuses == device.GetFuseNumber()) return true;
  const std::string code = device.GetCodeName();
  if ((code == "22V10" || code == "22LV10") && fuses == device.GetFuseNumber() + 64UL) return true;
  return IsOrlanD6Family(device.GetFamily()) || IsGrendMHFamily(device.GetFamily());
}

}  // namespace

int DeviceForJedec(const GlobalOptions& options, const std::string& device_name,
                   const std::string& path, const std::string& label, DeviceInfo& device) {
  JedecSummaryRead read;
  read.status = GetJEDECSummary(path.c_str(), &read.summary);
  return DeviceForJedec(options, device_name, path, label, read, device);
}

int DeviceForJedec(const GlobalOptions& options, const std::string& device_name,
                   const std::string& path, const std::string& label, const JedecSummaryRead& read,
                   DeviceInfo& device) {
  const JEDECSummary& summary = read.summary;
  if (!device_name.empty()) {
    if (const int status = DeviceByName(options, device_name, device); status != kExitOk)
      return status;
    if (read.status == kStatusOk && summary.hasFuseCount &&
        !FuseCountFits(summary.fuseCount, device)) {
      Complain(label, "QF " + std::to_string(summary.fuseCount) + ", but " + device_name + " has " +
                          std::to_string(device.GetFuseNumber()) + " fuses");
      return kExitInvalidInput;
    }
    return kExitOk;
  }
  const int status = read.status;
  if (status != kStatusOk) {
    const std::string why = status == kStatusNoFuseData ? WhyFieldsEndEarly(path) : "";
    if (!why.empty()) {
      Complain(label, "cannot be read as a JEDEC file: " + why);
    } else {
      ComplainStatus(label, "cannot be read as a JEDEC file", status);
    }
    return kExitInvalidInput;
  }
  if (!summary.hasFuseCount) {
    Complain(label, "no QF field: name the device with --device");
    return kExitInvalidInput;
  }
  const unsigned long fuses = summary.fuseCount;
  const unsigned long most = MostFusesOfGenericRecord(path);
  if (fuses > most) {
    Complain(label, "declares QF" + std::to_string(fuses) +
                        ", more fuses than a file of its size can describe without a device (at "
                        "most " +
                        std::to_string(most) + "): check it against its device with --device NAME");
    return kExitInvalidInput;
  }
  const unsigned int usercode =
      summary.usercodeBits != 0 ? static_cast<unsigned int>(summary.usercodeBits) : 32;
  device.SetName("generic");
  device.SetFamily("generic");
  device.SetAddressLength(1);
  device.SetDataLength(static_cast<unsigned int>(fuses));
  device.SetFuseNumber(static_cast<unsigned int>(fuses));
  device.SetARCHLength(static_cast<unsigned int>(summary.eLength));
  device.SetPhysicalUESLength(usercode);
  device.SetjtagLogicalUESLength(usercode);
  device.SetispLogicalUESLength(usercode);
  device.SetIDLength(32);
  device.SaveDeviceBackupValue();
  return kExitOk;
}

namespace {

// A copy of the file with its line ends converted, checked for a transmission checksum.
bool HoldsWhenConverted(const std::string& text, bool to_crlf) {
  std::string converted;
  converted.reserve(text.size() + text.size() / 16);
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (to_crlf && c == '\n' && (i == 0 || text[i - 1] != '\r')) {
      converted += "\r\n";
    } else if (!to_crlf && c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
      continue;
    } else {
      converted += c;
    }
  }
  if (converted == text) return false;
  char name[] = "/tmp/fusekit-lineends-XXXXXX";
  const int fd = mkstemp(name);
  if (fd < 0) return false;
  const bool written =
      write(fd, converted.data(), converted.size()) == static_cast<ssize_t>(converted.size());
  close(fd);
  unsigned short computed = 0;
  unsigned short stored = 0;
  const bool holds =
      written && ValidTransmissionChecksum(name, &computed, &stored) == 1 && stored != 0;
  std::remove(name);
  return holds;
}

}  // namespace

std::string WhyFieldsEndEarly(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const std::size_t stx = text.find('\x02');
  if (stx == std::string::npos) return "";
  for (std::size_t i = stx + 1; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c == 0x03) return "";  // ETX reached: the stream ended as it should
    const bool text_byte = (c >= 0x20 && c < 0x7F) || (c >= 0x09 && c <= 0x0D);
    if (text_byte) continue;
    char byte[8];
    std::snprintf(byte, sizeof byte, "0x%.2X", c);
    return std::string("byte ") + byte + " at offset " + std::to_string(i) +
           " ends the fields before ETX" +
           (c >= 0x80 ? " (bytes of 0x80 and above are not JEDEC text)" : "");
  }
  return "";
}

std::string LineEndConversionThatFits(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (HoldsWhenConverted(text, true)) return "LF to CR LF";
  if (HoldsWhenConverted(text, false)) return "CR LF to LF";
  return "";
}

}  // namespace fusekit::cli

namespace fusekit::cli {

long ComputedFuseChecksum(const std::string& path, const DeviceInfo& record) {
  std::ifstream in(path, std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  // The C field after the fuse list, written as 0000 ("not given"), lets the reader take the
  // fuses whatever they sum to.
  std::size_t at = text.find("\nC");
  if (at == std::string::npos) return -1;
  at += 2;
  std::size_t end = text.find('*', at);
  if (end == std::string::npos) return -1;
  text.replace(at, end - at, "0000");
  TemporaryFile copy("", "checksum", ".jed");
  if (!copy.Ready()) return -1;
  std::ofstream(copy.Path(), std::ios::binary) << text;
  DeviceInfo device = record;
  SVFPlusData data;
  std::string name = copy.Path();
  if (JEDEC2SVFPlus(name.data(), &device, 1, &data, "", "", "", "") < 0) return -1;
  DeviceInfo layout = record;
  return SVFPlus2CheckSum(&data, &layout, 1);
}

std::string FiveDigitChecksumHint(const std::string& path, unsigned short computed) {
  std::ifstream in(path, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const std::size_t etx = text.rfind('\x03');
  if (etx == std::string::npos) return "";
  std::size_t end = etx + 1;
  while (end < text.size() && std::isxdigit(static_cast<unsigned char>(text[end]))) ++end;
  const std::string digits = text.substr(etx + 1, end - etx - 1);
  if (digits.size() != 5) return "";
  const unsigned long stored = std::stoul(digits, nullptr, 16);
  if ((stored & 0xFFFF) != computed) return "";
  char hint[160];
  std::snprintf(hint, sizeof hint,
                "the transmission checksum %s has five digits, and its low sixteen bits %04lX "
                "match: the writer kept the carry past sixteen bits",
                digits.c_str(), stored & 0xFFFF);
  return hint;
}

}  // namespace fusekit::cli
