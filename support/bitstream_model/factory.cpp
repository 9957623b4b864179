// The model factory, the generator's header and the comment reader of bitstream files.
#include <cctype>
#include <new>
#include <string>

#include "support/bitstream_model/stream.h"

namespace fusekit::bitstream_model {

bool IsBinaryName(const char* name) {
  const std::string text(name != nullptr ? name : "");
  const std::size_t dot = text.find_last_of('.');
  if (dot == std::string::npos) return false;
  std::string extension = text.substr(dot);
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension == ".bit" || extension == ".rbk" || extension == ".msk";
}

int CreateModel(XFPBitstreamModel& model, DeviceInfo& device, KvLog& log, const char* fileName,
                int kind, const char* const* keptFrames, XFPBitstreamModel::ByteObserver observe,
                void* context) {
  model.Clear();
  model.SetDevice(device);
  model.SetKind(kind);
  if (fileName == nullptr) return kXFPNullArgument;
  return model.Parse(fileName, !IsBinaryName(fileName), &log, keptFrames, observe, context);
}

}  // namespace fusekit::bitstream_model

namespace {

int Create(XFPBitstreamModel& model, DeviceInfo& device, KvLog& log, const char* fileName,
           int kind) {
  return fusekit::bitstream_model::CreateModel(model, device, log, fileName, kind, nullptr);
}

}  // namespace

int XFPObjectFactory::CreateConfigBitstreamModel(XFPBitstreamModel& model, DeviceInfo& device,
                                                 KvLog& log, const char* fileName, const char*,
                                                 const char*) {
  return Create(model, device, log, fileName, kXFPConfig);
}
int XFPObjectFactory::CreateReadBackBitstreamModel(XFPBitstreamModel& model, DeviceInfo& device,
                                                   KvLog& log, const char* fileName, const char*,
                                                   const char*) {
  return Create(model, device, log, fileName, kXFPReadBack);
}
int XFPObjectFactory::CreateReadBackMaskBitstreamModel(XFPBitstreamModel& model, DeviceInfo& device,
                                                       KvLog& log, const char* fileName,
                                                       const char*, const char*) {
  return Create(model, device, log, fileName, kXFPReadBackMask);
}

XFPHeader::XFPHeader() = default;
void XFPHeader::SetDeviceProperties(const DeviceInfo& device) {
  device_ = device;
}
void XFPHeader::SetHeaderSegmentLen(unsigned int length) {
  segment_length_ = length;
}
void XFPHeader::SetBitstreamHeader(const char* comment) {
  comment_ = comment != nullptr ? comment : "";
}
unsigned int XFPHeader::GetHeaderSegmentLen() const {
  return segment_length_;
}
const char* XFPHeader::GetBitstreamHeader() const {
  return comment_.c_str();
}
const DeviceInfo& XFPHeader::GetDeviceProperties() const {
  return device_;
}

XFPBitstreamFile::XFPBitstreamFile() = default;

int XFPBitstreamFile::OpenFile(const char* fileName) {
  namespace bm = fusekit::bitstream_model;
  comment_.clear();
  if (fileName == nullptr) return kXFPNullArgument;
  try {
    bm::Stream stream;
    bm::LeadIns any;  // without a device every lead-in is allowed
    any.marker = any.block = true;
    int result;
    if (fusekit::bitstream_model::IsBinaryName(fileName)) {
      // Only the header is wanted: the file is read no further than its end.
      bm::InputFile file = bm::OpenInput(fileName);
      if (!file) return kXFPCannotOpen;
      bm::ByteSource in(file.get());
      result = bm::ParseBinaryHeader(in, any, stream);
    } else {
      std::vector<std::uint8_t> data;
      if (!bm::ReadWholeFile(fileName, data)) return kXFPCannotOpen;
      std::vector<std::uint8_t> body;
      result = bm::ParseAsciiHeader(std::string(data.begin(), data.end()), any, stream, body);
    }
    for (const std::string& entry : stream.entries) comment_ += entry + "\n";
    return result;
  } catch (const std::bad_alloc&) {
    return kXFPCannotOpen;
  }
}

const char* XFPBitstreamFile::GetComment() const {
  return comment_.c_str();
}
