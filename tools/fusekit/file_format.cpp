#include "tools/fusekit/file_format.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tools/fusekit/image_support.h"

namespace fusekit::cli {
namespace {

std::string Head(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::string head(65536, '\0');
  in.read(head.data(), static_cast<std::streamsize>(head.size()));
  head.resize(static_cast<std::size_t>(in.gcount()));
  return head;
}

// Text: no NUL, and at most one byte in a hundred outside printable ASCII and white space
// (STX and ETX count as text).
bool IsText(const std::string& head) {
  std::size_t odd = 0;
  for (const char c : head) {
    const auto u = static_cast<unsigned char>(c);
    if (u == 0) return false;
    if (u == 2 || u == 3 || u == '\t' || u == '\n' || u == '\r' || u == '\f' ||
        (u >= 0x20 && u < 0x7F))
      continue;
    ++odd;
  }
  return odd * 100 <= head.size();
}

bool IsBinaryBitstreamHead(const std::string& head) {
  std::size_t at = 0;
  while (head.compare(at, 4, "CRVN") == 0) at += 4;
  if (head.compare(at, 4, std::string("\x00\x01\x00\x04", 4)) == 0) at += 8;
  return head.size() >= at + 2 && head[at] == '\xFF' && head[at + 1] == '\0';
}

// Lines of only 0 and 1 (at least eight of them) among the first lines that are not comments.
bool HasBitLines(const std::string& head) {
  std::size_t start = 0;
  int bit_lines = 0;
  while (start < head.size() && bit_lines < 4) {
    std::size_t end = head.find('\n', start);
    if (end == std::string::npos) break;
    std::string line = head.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.size() >= 8 && line.find_first_not_of("01") == std::string::npos) ++bit_lines;
    start = end + 1;
  }
  return bit_lines >= 1;
}

std::string FirstWord(const std::string& head) {
  std::size_t at = 0;
  while (at < head.size()) {
    while (at < head.size() && std::isspace(static_cast<unsigned char>(head[at]))) ++at;
    if (head.compare(at, 2, "--") != 0) break;
    at = head.find('\n', at);  // an ISC comment line
  }
  return at < head.size() ? head.substr(at, 16) : "";
}

}  // namespace

// A JEDEC field stream: STX, then a '*' ending a field after it.
bool HasJedecFields(const std::string& head) {
  const std::size_t stx = head.find('\x02');
  return stx != std::string::npos && head.find('*', stx) != std::string::npos;
}

FileFormat DetectFormat(const std::string& path) {
  std::ifstream probe(path, std::ios::binary);
  if (!probe) return FileFormat::kUnknown;
  const std::string head = Head(path);
  if (head.empty()) return FileFormat::kUnknown;
  if (IsBinaryBitstreamHead(head)) return FileFormat::kBinaryBitstream;
  const std::size_t first = head.find_first_not_of(" \t\r\n");
  const char lead = first == std::string::npos ? '\0' : head[first];
  const bool records = lead == ':' || lead == '%' ||
                       ((lead == 'S' || lead == 's') && first + 1 < head.size() &&
                        std::isdigit(static_cast<unsigned char>(head[first + 1])));
  // A file named as a binary image is one unless it holds records: its bytes may be anything.
  if (!records && FormatOfExtension(path) == FileFormat::kBinaryImage)
    return FileFormat::kBinaryImage;
  if (!IsText(head)) return FileFormat::kBinaryImage;
  std::string word = FirstWord(head);
  for (char& c : word) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (word.compare(0, 14, "IEEE_1532_DATA") == 0) return FileFormat::kIsc;
  if (word.compare(0, 11, "FEATURE_ROW") == 0) return FileFormat::kFeatureRow;
  if (HasJedecFields(head)) return FileFormat::kJedec;
  if (lead == ':') return FileFormat::kIntelHex;
  if ((lead == 'S' || lead == 's') && first + 1 < head.size() &&
      std::isdigit(static_cast<unsigned char>(head[first + 1])))
    return FileFormat::kSRecord;
  if (lead == '%') return FileFormat::kTektronix;
  if (HasBitLines(head)) return FileFormat::kAsciiBitstream;
  return FileFormat::kUnknown;
}

const char* FormatName(FileFormat format) {
  switch (format) {
    case FileFormat::kJedec:
      return "JEDEC file";
    case FileFormat::kIsc:
      return "ISC data file";
    case FileFormat::kBinaryBitstream:
      return "binary bitstream";
    case FileFormat::kAsciiBitstream:
      return "ASCII bitstream";
    case FileFormat::kIntelHex:
      return "Intel hex image";
    case FileFormat::kSRecord:
      return "S-record image";
    case FileFormat::kTektronix:
      return "Tektronix hex image";
    case FileFormat::kBinaryImage:
      return "binary image";
    case FileFormat::kFeatureRow:
      return "feature-row file";
    case FileFormat::kUnknown:
      break;
  }
  return "file of unknown format";
}

bool IsBitstreamFormat(FileFormat format) {
  return format == FileFormat::kBinaryBitstream || format == FileFormat::kAsciiBitstream;
}

bool IsImageFormat(FileFormat format) {
  return format == FileFormat::kIntelHex || format == FileFormat::kSRecord ||
         format == FileFormat::kTektronix || format == FileFormat::kBinaryImage;
}

namespace {

struct NamedFormat {
  const char* name;
  FileFormat format;
};
constexpr NamedFormat kFormatNames[] = {
    {"jedec", FileFormat::kJedec},
    {"jed", FileFormat::kJedec},
    {"isc", FileFormat::kIsc},
    {"bit", FileFormat::kBinaryBitstream},
    {"rbt", FileFormat::kAsciiBitstream},
    {"ihex", FileFormat::kIntelHex},
    {"hex", FileFormat::kIntelHex},
    {"mcs", FileFormat::kIntelHex},
    {"srec", FileFormat::kSRecord},
    {"tek", FileFormat::kTektronix},
    {"xtek", FileFormat::kTektronix},
    {"bin", FileFormat::kBinaryImage},
    {"fea", FileFormat::kFeatureRow},
};

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

}  // namespace

FileFormat FormatByName(const std::string& name) {
  const std::string lower = Lower(name);
  for (const NamedFormat& entry : kFormatNames) {
    if (lower == entry.name) return entry.format;
  }
  return FileFormat::kUnknown;
}

const char* FormatNames() {
  return "jedec, isc, bit, rbt, ihex (hex, mcs), srec, tek, bin, fea";
}

FileFormat FormatOfExtension(const std::string& path) {
  const std::string e = Extension(path);
  if (e == ".jed") return FileFormat::kJedec;
  if (e == ".isc") return FileFormat::kIsc;
  if (e == ".fea") return FileFormat::kFeatureRow;
  if (e == ".bit" || e == ".rbk" || e == ".msk") return FileFormat::kBinaryBitstream;
  if (e == ".rbt" || e == ".rbka" || e == ".mska") return FileFormat::kAsciiBitstream;
  switch (ImageKind(path)) {
    case 'i':
      return FileFormat::kIntelHex;
    case 'm':
      return FileFormat::kSRecord;
    case 't':
      return FileFormat::kTektronix;
    case 'b':
      return FileFormat::kBinaryImage;
    default:
      return FileFormat::kUnknown;
  }
}

FileFormat InputFormat(const std::string& path, const std::string& label,
                       const std::string& forced) {
  if (!forced.empty()) {
    const FileFormat format = FormatByName(forced);
    if (format == FileFormat::kUnknown)
      Complain(label,
               "--format " + forced + " is not a format fusekit knows (" + FormatNames() + ")");
    return format;
  }
  const FileFormat found = DetectFormat(path);
  return found != FileFormat::kUnknown ? found : FormatOfExtension(path);
}

namespace {

// The ending under which the library's readers take a file as the format.
const char* EndingOf(FileFormat format) {
  switch (format) {
    case FileFormat::kJedec:
      return ".jed";
    case FileFormat::kIsc:
      return ".isc";
    case FileFormat::kBinaryBitstream:
      return ".bit";
    case FileFormat::kAsciiBitstream:
      return ".rbt";
    case FileFormat::kIntelHex:
      return ".hex";
    case FileFormat::kSRecord:
      return ".srec";
    case FileFormat::kTektronix:
      return ".xtek";
    case FileFormat::kBinaryImage:
      return ".bin";
    case FileFormat::kFeatureRow:
      return ".fea";
    case FileFormat::kUnknown:
      break;
  }
  return "";
}

}  // namespace

FormatNamedInput::FormatNamedInput(const std::string& path, FileFormat format) : path_(path) {
  const std::string ending = EndingOf(format);
  if (ending.empty() || FormatOfExtension(path) == format) return;
  const std::string name = "input" + ending;
  folder_ = std::make_unique<TemporaryFolderOf>(std::initializer_list<const char*>{name.c_str()});
  if (!folder_->Ready()) return;
  std::error_code error;
  const std::string link = folder_->Path(name.c_str());
  std::filesystem::create_symlink(std::filesystem::absolute(path, error), link, error);
  if (!error) path_ = link;
}

int ReadProgrammingData(const std::string& path, const std::string& label, const DeviceInfo& record,
                        SVFPlusData& data) {
  if (!Readable(path, label)) return kExitInvalidInput;
  DeviceInfo device = record;  // a reader may leave the file's geometry in its record
  std::string name = path;
  int status;
  const char* reader = nullptr;
  switch (DetectFormat(path)) {
    case FileFormat::kIsc:
      // The whole file: the main blocks and the special sections.
      status = ISCReadAllInfo(name.data(), &device, &data, nullptr, nullptr);
      reader = "ISC2SVFPlus";
      break;
    case FileFormat::kFeatureRow:
      status = FEA2SVFPlus(name.data(), &device, &data);
      reader = "FEA2SVFPlus";
      break;
    case FileFormat::kBinaryBitstream:
      status = BIT2SVFPlus(name.data(), &device, 0, &data, "", "", "", false);
      break;
    case FileFormat::kAsciiBitstream:
      status = RBT2SVFPlus(name.data(), &device, 0, &data, "", "", "", false);
      break;
    case FileFormat::kJedec:
      status = JEDEC2SVFPlus(name.data(), &device, 1, &data, "", "", "", "");
      reader = "JEDEC2SVFPlus";
      break;
    case FileFormat::kIntelHex:
    case FileFormat::kSRecord:
    case FileFormat::kTektronix:
    case FileFormat::kBinaryImage:
      return ReadImageInto(path, device, data);
    case FileFormat::kUnknown:
    default:
      Complain(label,
               "holds no programming data fusekit knows (JEDEC, ISC, bitstream, image, feature "
               "row)");
      return kExitInvalidInput;
  }
  if (status < 0) {
    ComplainStatus(label, "cannot be read for " + std::string(record.GetName()), status, reader);
    return kExitInvalidInput;
  }
  return kExitOk;
}

std::string FirstRowHex(SVFPlusData& data, const char* field, unsigned& width) {
  width = 0;
  SVFDataField* f = data.GetDataField(field);
  if (f == nullptr || f->GetRow(1) == nullptr) return "";
  f->ResetRowPointer();
  width = f->GetCurrentRowWidth();
  const KvByteBuffer* row = f->GetRow(1);
  std::string hex;
  char digits[4];
  for (int i = 0; i < row->GetDataSize(); ++i) {
    const unsigned kept = i == 0 && width % 8 != 0 ? (1u << (width % 8)) - 1 : 0xFFu;
    std::snprintf(digits, sizeof digits, "%.2X", row->ReadData(i) & kept);
    hex += digits;
  }
  return hex;
}

}  // namespace fusekit::cli
