// The frame, component and bitstream model classes.
#include <cstring>
#include <new>
#include <utility>

#include "fusekit/bitstream_model.h"
#include "support/util/bit_ops.h"

XFPFrameComponentModel::XFPFrameComponentModel() = default;

XFPFrameComponentModel::XFPFrameComponentModel(const char* name, const unsigned char* bytes,
                                               unsigned int byteSize, unsigned int bitSize)
    : name_(name != nullptr ? name : ""),
      bytes_(bytes != nullptr ? bytes : nullptr, bytes != nullptr ? bytes + byteSize : nullptr),
      bit_size_(bitSize) {
  if (bytes == nullptr) bytes_.assign(byteSize, 0);
}

const char* XFPFrameComponentModel::GetName() const {
  return name_.c_str();
}
unsigned int XFPFrameComponentModel::GetByteSize() const {
  return static_cast<unsigned int>(bytes_.size());
}
unsigned int XFPFrameComponentModel::GetBitSize() const {
  return bit_size_;
}
unsigned char XFPFrameComponentModel::GetByte(unsigned int index) const {
  return index < bytes_.size() ? bytes_[index] : 0;
}
const unsigned char* XFPFrameComponentModel::GetBytes() const {
  return bytes_.data();
}

XFPFrameModel::XFPFrameModel() = default;
XFPFrameModel::XFPFrameModel(const char* name, int opcode)
    : name_(name != nullptr ? name : ""), opcode_(opcode) {}

const char* XFPFrameModel::GetName() const {
  return name_.c_str();
}
int XFPFrameModel::GetOpcode() const {
  return opcode_;
}
unsigned int XFPFrameModel::GetComponentCount() const {
  return static_cast<unsigned int>(components_.size());
}
const XFPFrameComponentModel* XFPFrameModel::GetComponent(unsigned int index) const {
  return index < components_.size() ? &components_[index] : nullptr;
}
const XFPFrameComponentModel* XFPFrameModel::FindComponent(const char* name) const {
  if (name == nullptr) return nullptr;
  for (const XFPFrameComponentModel& component : components_) {
    if (std::strcmp(component.GetName(), name) == 0) return &component;
  }
  return nullptr;
}
void XFPFrameModel::AddComponent(const XFPFrameComponentModel& component) {
  components_.push_back(component);
}
void XFPFrameModel::AddComponent(XFPFrameComponentModel&& component) {
  components_.push_back(std::move(component));
}
void XFPFrameModel::ReserveComponents(unsigned int count) {
  components_.reserve(count);
}

XFPBitstreamModel::XFPBitstreamModel() = default;
XFPBitstreamModel::~XFPBitstreamModel() = default;
XFPBitstreamModel::XFPBitstreamModel(const XFPBitstreamModel&) = default;
XFPBitstreamModel& XFPBitstreamModel::operator=(const XFPBitstreamModel&) = default;

void XFPBitstreamModel::Clear() {
  *this = XFPBitstreamModel();
}
unsigned int XFPBitstreamModel::GetSize() const {
  return static_cast<unsigned int>(frames_.size());
}
int XFPBitstreamModel::GetKind() const {
  return kind_;
}
const char* XFPBitstreamModel::GetComment() const {
  return comment_.c_str();
}
const KvByteBuffer& XFPBitstreamModel::GetVerbatimComment() const {
  return verbatim_;
}
bool XFPBitstreamModel::IsEncrypted() const {
  return encrypted_;
}
bool XFPBitstreamModel::IsCompressed() const {
  return compressed_;
}
bool XFPBitstreamModel::IsAuthenticated() const {
  return authenticated_;
}
bool XFPBitstreamModel::HasMarker() const {
  return marker_;
}
const KvByteBuffer& XFPBitstreamModel::GetLeadIn() const {
  return lead_in_;
}
unsigned int XFPBitstreamModel::GetFrameCount() const {
  return static_cast<unsigned int>(frames_.size());
}
const XFPFrameModel* XFPBitstreamModel::GetFrame(unsigned int index) const {
  return index < frames_.size() ? &frames_[index] : nullptr;
}
const XFPFrameModel* XFPBitstreamModel::FindFrame(const char* name) const {
  if (name == nullptr) return nullptr;
  for (const XFPFrameModel& frame : frames_) {
    if (std::strcmp(frame.GetName(), name) == 0) return &frame;
  }
  return nullptr;
}
const XFPFrameComponentModel* XFPBitstreamModel::FindComponent(const char* frameName,
                                                               const char* componentName) const {
  const XFPFrameModel* frame = FindFrame(frameName);
  return frame != nullptr ? frame->FindComponent(componentName) : nullptr;
}

void XFPBitstreamModel::SetDevice(const DeviceInfo& device) {
  device_ = device;
}
const DeviceInfo& XFPBitstreamModel::GetDevice() const {
  return device_;
}
void XFPBitstreamModel::SetKind(int kind) {
  kind_ = kind;
}
void XFPBitstreamModel::AddCommentEntry(const char* entry) {
  if (entry == nullptr) return;
  comment_ += entry;
  comment_ += '\n';
  verbatim_.AppendData(reinterpret_cast<const unsigned char*>(entry),
                       static_cast<unsigned int>(std::strlen(entry)));
  verbatim_.WriteData(static_cast<unsigned char>(0));
}
void XFPBitstreamModel::SetMarker(bool present) {
  marker_ = present;
}
void XFPBitstreamModel::SetLeadIn(const unsigned char* fourBytes) {
  lead_in_ = KvByteBuffer();
  const unsigned char block[8] = {0x00,         0x01,         0x00,         0x04,
                                  fourBytes[0], fourBytes[1], fourBytes[2], fourBytes[3]};
  lead_in_.AppendData(block, 8);
}
void XFPBitstreamModel::AddFrame(const XFPFrameModel& frame) {
  frames_.push_back(frame);
  // The flags follow the frames by name; the parser also sets them from the command table.
  const std::string name = frame.GetName();
  if (name == "Encrypted Data Frame") encrypted_ = true;
  if (name == "Compressed Data Frame") compressed_ = true;
  if (name == "Authentication Frame") authenticated_ = true;
}

unsigned int XFPBitstreamModel::UpdateBitstreamHeaderSegmentLength() {
  const unsigned int marker = marker_ ? 4 : 0;
  const unsigned int lead_in = static_cast<unsigned int>(lead_in_.GetDataSize());
  const unsigned int needed =
      marker + lead_in + 2 + static_cast<unsigned int>(verbatim_.GetDataSize());
  header_segment_length_ = needed;
  return header_segment_length_;
}

bool XFPBitstreamModel::ExtractInto(SVFPlusData* data, bool sram, bool firmware) const {
  if (data == nullptr) return false;
  try {
    const char* array_name = kind_ == kXFPReadBack       ? "FuseArray_TDO"
                             : kind_ == kXFPReadBackMask ? "FuseArray_MASK"
                                                         : "FuseArray_TDI";
    SVFDataField* array = nullptr;
    bool has_patch = false;
    KvByteBuffer patch_bytes;
    for (const XFPFrameModel& frame : frames_) {
      const std::string name = frame.GetName();
      const XFPFrameComponentModel* part = frame.FindComponent("Data");
      if ((name == "Data Frame" || name == "eDataFrame") && part != nullptr) {
        if (array == nullptr) {
          array = data->AddDataField();
          if (array == nullptr) return false;
          array->SetFieldName(array_name);
        }
        KvByteBuffer* row = array->AddRow(part->GetBitSize());
        if (row == nullptr) return false;
        for (unsigned int i = 0; i < part->GetByteSize(); ++i) {
          const unsigned char byte =
              sram ? fusekit::bits::Mirror(part->GetByte(part->GetByteSize() - 1 - i))
                   : part->GetByte(i);
          if (row->WriteData(byte) == 0) return false;
        }
      } else if (firmware && name == "Write Patch Program Increment Frame" && part != nullptr) {
        if (part->GetByteSize() != 0 &&
            patch_bytes.AppendData(part->GetBytes(), part->GetByteSize()) == 0)
          return false;
        has_patch = true;
      }
    }
    const XFPFrameComponentModel* usercode = FindComponent("Usercode Frame", "Usercode");
    if (kind_ == kXFPConfig && usercode != nullptr) {
      SVFDataField* field = data->AddDataField();
      if (field == nullptr) return false;
      field->SetFieldName("Usercode_TDI");
      KvByteBuffer* row = field->AddRow(usercode->GetBitSize());
      if (row == nullptr || (usercode->GetByteSize() != 0 &&
                             row->AppendData(usercode->GetBytes(), usercode->GetByteSize()) == 0))
        return false;
    }
    if (has_patch) {
      SVFDataField* field = data->AddDataField();
      if (field == nullptr) return false;
      field->SetFieldName("Firmware_FuseArray_TDI");
      const int size = patch_bytes.GetDataSize();
      KvByteBuffer* row = field->AddRow(static_cast<unsigned int>(size) * 8);
      if (row == nullptr || (size != 0 && row->AppendData(patch_bytes.GetBuffer(),
                                                          static_cast<unsigned int>(size)) == 0))
        return false;
    }
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool XFPBitstreamModel::GetSVFPlusData(SVFPlusData* data) const {
  return ExtractInto(data, false, false);
}
bool XFPBitstreamModel::GetPelmo2_SRAM_SVFPlusData(SVFPlusData* data) const {
  return ExtractInto(data, true, false);
}
bool XFPBitstreamModel::GetVorskSVFPlusData(SVFPlusData* data) const {
  return ExtractInto(data, false, true);
}
