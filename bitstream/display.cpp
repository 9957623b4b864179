// Listings of bitstreams: a hex dump of any file, frame-by-frame listings through the model, and
// the user flash (EBR) data.
#include <cctype>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "bitstream/model_access.h"
#include "core/file_io.h"
#include "fusekit/bitstream.h"
#include "fusekit/family.h"
#include "fusekit/status.h"

namespace fusekit::bitstream {
namespace {

constexpr unsigned kFrameLineBytes = 1023;
constexpr unsigned kEbrLineBytes = 18;
constexpr char kBanner[] = "Corvane Semiconductor Corporation ASCII Bitstream";

std::string Extension(const char* name) {
  const char* dot = std::strrchr(name, '.');
  return dot != nullptr ? dot : "";
}

void Framed(std::FILE* out, const char* format, const char* name) {
  std::fprintf(out, "\n");
  std::fprintf(out, format, name);
  std::fprintf(out, "\n");
}

// The model logs into the listing through a stream of its own: the listing goes on after what
// the log wrote, never over it.
void FollowLog(std::FILE* out) {
  std::fflush(out);
  std::fseek(out, 0, SEEK_END);
}

// Builds the model that the extension selects, logging into the listing itself.
int ListingModel(XFPBitstreamModel& model, DeviceInfo& device, const char* input,
                 const char* output, const std::string& extension, bool ascii) {
  KvLog log;
  log.Open(output, "a");
  if (extension == (ascii ? ".rbt" : ".bit"))
    return XFPObjectFactory::CreateConfigBitstreamModel(model, device, log, input, nullptr,
                                                        nullptr);
  if (extension == (ascii ? ".rbka" : ".rbk"))
    return XFPObjectFactory::CreateReadBackBitstreamModel(model, device, log, input, nullptr,
                                                          nullptr);
  return XFPObjectFactory::CreateReadBackMaskBitstreamModel(model, device, log, input, nullptr,
                                                            nullptr);
}

// The Vorsk header from the verbatim comment: printable bytes as they are, each entry on a line
// of its own, and the lead-in block when the comment carries one.
void VerbatimHeader(std::FILE* out, const KvByteBuffer& comment) {
  const int size = comment.GetDataSize();
  const unsigned char* b = comment.GetBuffer();
  bool lead_in_seen = false;
  for (int i = 0; i < size; ++i) {
    if (b[i] != 0) {
      if (std::isprint(b[i])) std::fputc(b[i], out);
      continue;
    }
    if (i + 1 < size && b[i + 1] == 0x01 && !lead_in_seen) {
      lead_in_seen = true;
      std::fprintf(out, "\n// Bitstream Header Frame\n%.2X%.2X", 0x00, 0x01);
      int at = i + 2;
      if (at < size && b[at] == 0x00) std::fprintf(out, "%.2X", b[at++]);
      if (at < size && b[at] == 0x04) {
        std::fprintf(out, "%.2X", b[at++]);
        for (int k = 0; k < 4 && at < size; ++k) std::fprintf(out, "%.2X", b[at++]);
      }
      i = at - 1;
    } else if (lead_in_seen) {
      std::fprintf(out, "\n--");
    } else {
      std::fprintf(out, "\n-- ");
      if (i + 1 < size && std::isprint(b[i + 1])) std::fputc(b[++i], out);
    }
  }
}

// The header of a binary file: the first 0xFF passed over, the second ends it; printable bytes
// as they are, a NUL as a new comment line.
bool BinaryHeader(std::FILE* out, const char* input) {
  core::UniqueFile in = core::OpenFile(input, "rb");
  if (!in) return false;
  int seen = 0;
  for (int c = std::getc(in.get()); c != EOF; c = std::getc(in.get())) {
    if (c == 0xFF) {
      if (++seen == 2) break;
      continue;
    }
    if (c == 0) {
      std::fprintf(out, "\n--");
    } else if (std::isprint(c)) {
      std::fputc(c, out);
    }
  }
  return true;
}

// The header lines of an ASCII file, echoed as comments up to the first data line.
bool AsciiHeader(std::FILE* out, const char* input) {
  core::UniqueFile in = core::OpenFile(input, "r");
  if (!in) return false;
  char line[256];
  while (std::fgets(line, sizeof line, in.get()) != nullptr) {
    std::string text(line);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos) continue;
    const bool lead_in = text.find("00010004") != std::string::npos ||
                         text.find("00000000000000010000000000000100") != std::string::npos;
    if ((text[first] == '0' || text[first] == '1') && !lead_in) break;
    if (text.compare(first, std::strlen(kBanner), kBanner) == 0 ||
        text.compare(first, 4, "CRVN") == 0 || lead_in) {
      std::fprintf(out, "\n-- %s\n", text.c_str() + first);
    } else {
      std::fprintf(out, "-- %s\n", text.c_str() + first);
    }
  }
  return true;
}

void Frames(std::FILE* out, const XFPBitstreamModel& model) {
  int row = 1;
  for (unsigned f = 0; f < model.GetFrameCount(); ++f) {
    const XFPFrameModel& frame = *model.GetFrame(f);
    if (std::strcmp(frame.GetName(), "eDataFrame") == 0) {
      std::fprintf(out, "//Row%d\n", row++);
    } else {
      std::fprintf(out, "// %s\n", frame.GetName());
    }
    unsigned written = 0;
    for (unsigned c = 0; c < frame.GetComponentCount(); ++c) {
      const XFPFrameComponentModel& part = *frame.GetComponent(c);
      std::fputc(' ', out);
      for (unsigned i = 0; i < part.GetByteSize(); ++i) {
        std::fprintf(out, "%.2X", part.GetByte(i));
        if (++written % kFrameLineBytes == 0) std::fputc('\n', out);
      }
      std::fputc(' ', out);
    }
    std::fputc('\n', out);
  }
}

int FrameListing(const char* input, DeviceInfo* device, const char* output, bool ascii) {
  core::UniqueFile out = core::OpenFile(output, "w");
  if (!out) return -1;
  if (device == nullptr || input == nullptr) return 0;
  const std::string extension = Extension(input);
  const bool known = ascii ? extension == ".rbt" || extension == ".rbka" || extension == ".mska"
                           : extension == ".bit" || extension == ".rbk" || extension == ".msk";
  if (!known) {
    Framed(out.get(), "File %s is invalid Type.", input);
    return -2;
  }
  std::fflush(out.get());
  XFPBitstreamModel model;
  const int built = ListingModel(model, *device, input, output, extension, ascii);
  FollowLog(out.get());
  if (built < 0) {
    Framed(out.get(), "Error Reading file %s.", input);
    return -2;
  }
  if (!ascii && IsVorskFamily(device->GetFamily()) &&
      model.GetVerbatimComment().GetDataSize() > 0) {
    VerbatimHeader(out.get(), model.GetVerbatimComment());
  } else if (!(ascii ? AsciiHeader(out.get(), input) : BinaryHeader(out.get(), input))) {
    return -1;
  }
  std::fputc('\n', out.get());
  Frames(out.get(), model);
  return core::FinishWriting(out) ? 0 : kStatusWriteFailed;
}

}  // namespace
}  // namespace fusekit::bitstream

int fnBITFileDisplay(const char* fileName, const char* outFile) {
  fusekit::core::UniqueFile out = fusekit::core::OpenFile(outFile, "w");
  if (!out) return -1;
  fusekit::core::UniqueFile in = fusekit::core::OpenFile(fileName, "rb");
  if (!in) return -1;
  unsigned long offset = 0;
  unsigned char line[16];
  int count = 0;
  std::fprintf(out.get(), "%.8lX  ", offset);
  for (int c = std::getc(in.get()); c != EOF; c = std::getc(in.get())) {
    std::fprintf(out.get(), " %.2X", static_cast<unsigned>(c));
    line[count++] = static_cast<unsigned char>(c);
    if (count == 16) {
      std::fprintf(out.get(), "  ");
      for (unsigned char b : line) std::fputc(std::isprint(b) ? b : '.', out.get());
      offset += 16;
      std::fprintf(out.get(), "\n%.8lX  ", offset);
      count = 0;
    }
  }
  std::fputc('\n', out.get());
  return fusekit::core::FinishWriting(out) ? 0 : fusekit::kStatusWriteFailed;
}

int fnBITFileDisplay(char* fileName, DeviceInfo* device, const char* outFile, const char*) {
  return fusekit::bitstream::FrameListing(fileName, device, outFile, false);
}

int fnRBTFileDisplay(char* fileName, DeviceInfo* device, const char* outFile, const char*) {
  return fusekit::bitstream::FrameListing(fileName, device, outFile, true);
}

int fnEBRFileDisplay(char* fileName, DeviceInfo* device, const char* outFile, const char* maskFile,
                     const char*) {
  fusekit::core::UniqueFile out = fusekit::core::OpenFile(outFile, "w");
  if (!out) return -1;
  if (device == nullptr || fileName == nullptr) return 0;
  if (fusekit::bitstream::Extension(fileName) != ".bit") {
    fusekit::bitstream::Framed(out.get(), "File %s is invalid Type.", fileName);
    return -2;
  }
  XFPBitstreamModel model, mask;
  const bool has_mask = maskFile != nullptr && maskFile[0] != '\0';
  bool built;
  {
    KvLog log;
    log.Open(outFile, "a");
    built = XFPObjectFactory::CreateConfigBitstreamModel(model, *device, log, fileName, nullptr,
                                                         nullptr) >= 0 &&
            (!has_mask || XFPObjectFactory::CreateReadBackMaskBitstreamModel(
                              mask, *device, log, maskFile, nullptr, nullptr) >= 0);
  }
  fusekit::bitstream::FollowLog(out.get());
  if (!built) {
    fusekit::bitstream::Framed(out.get(), "Error Reading file %s.", fileName);
    return -2;
  }
  const std::time_t now = std::time(nullptr);
  const std::tm* local = std::localtime(&now);
  std::string date = local != nullptr ? std::asctime(local) : "\n";
  std::fprintf(out.get(),
               "--CREATED BY:    Corvane Semiconductor Veltrix Deployment Tool\n"
               "--CREATION DATE: %s--DEVICE: %s\n--User Flash (EBR) Data\n",
               date.c_str(), device->GetName());
  // Each "Data Frame" of the stream; with a mask, only the bits its frame marks with 1 are
  // shown, the others as 0.
  int row = 1;
  unsigned mask_frame = 0;
  for (unsigned f = 0; f < model.GetFrameCount(); ++f) {
    const XFPFrameModel& frame = *model.GetFrame(f);
    if (std::strcmp(frame.GetName(), "Data Frame") != 0) continue;
    const XFPFrameComponentModel* data = frame.FindComponent("Data");
    const XFPFrameComponentModel* bits = nullptr;
    while (has_mask && mask_frame < mask.GetFrameCount() && bits == nullptr) {
      const XFPFrameModel& m = *mask.GetFrame(mask_frame++);
      if (std::strcmp(m.GetName(), "Data Frame") == 0) bits = m.FindComponent("Data");
    }
    if (data == nullptr) continue;
    std::fprintf(out.get(), "//Row%d\n", row++);
    for (unsigned i = 0; i < data->GetByteSize(); ++i) {
      const unsigned char shown =
          bits != nullptr ? data->GetByte(i) & bits->GetByte(i) : data->GetByte(i);
      std::fprintf(out.get(), "%.2X", shown);
      if ((i + 1) % fusekit::bitstream::kEbrLineBytes == 0 || i + 1 == data->GetByteSize())
        std::fputc('\n', out.get());
    }
  }
  return fusekit::core::FinishWriting(out) ? 0 : fusekit::kStatusWriteFailed;
}
