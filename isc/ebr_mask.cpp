// WriteEBRMask: the embedded RAM of a bitstream and the mask of it a verify keeps, as the EBR
// section of programming data.
#include <cstring>
#include <new>
#include <string>

#include "core/log_name.h"
#include "fusekit/core.h"
#include "fusekit/isc.h"
#include "support/bitstream_model/stream.h"

namespace fusekit::isc {
namespace {

constexpr int kNotABitstream = -2;
constexpr int kNoRow = -3;
constexpr int kMaskMismatch = -4;
constexpr int kNullArgument = -13;

const char* const kDataFrames[] = {"Data Frame", nullptr};

// The "Data" component of every "Data Frame", in stream order: the rows fnEBRFileDisplay lists.
std::vector<const XFPFrameComponentModel*> EbrRows(const XFPBitstreamModel& model) {
  std::vector<const XFPFrameComponentModel*> rows;
  for (unsigned f = 0; f < model.GetFrameCount(); ++f) {
    const XFPFrameModel& frame = *model.GetFrame(f);
    if (std::strcmp(frame.GetName(), "Data Frame") != 0) continue;
    if (const XFPFrameComponentModel* data = frame.FindComponent("Data")) rows.push_back(data);
  }
  return rows;
}

// Replaces the field name with one row a component: the component's bytes, or all ones.
int StoreRows(SVFPlusData& data, const char* name,
              const std::vector<const XFPFrameComponentModel*>& rows, bool all_ones) {
  while (data.DeleteDataField(name)) {
  }
  SVFDataField* field = data.AddDataField();
  if (field == nullptr) return kNoRow;
  field->SetFieldName(name);
  for (const XFPFrameComponentModel* component : rows) {
    KvByteBuffer* row = field->AddRow(component->GetByteSize() * 8);
    if (row == nullptr) return kNoRow;
    const std::string ones(component->GetByteSize(), '\xFF');
    const auto* bytes =
        all_ones ? reinterpret_cast<const unsigned char*>(ones.data()) : component->GetBytes();
    if (component->GetByteSize() != 0 && row->AppendData(bytes, component->GetByteSize()) == 0)
      return kNoRow;
  }
  return 0;
}

int WriteEbrMask(const char* file_name, DeviceInfo& device, const char* mask_file,
                 SVFPlusData& data) {
  const char* dot = std::strrchr(file_name, '.');
  if (dot == nullptr || std::strcmp(dot, ".bit") != 0) return kNotABitstream;
  const bool has_mask = mask_file != nullptr && mask_file[0] != '\0';
  XFPBitstreamModel model;
  XFPBitstreamModel mask;
  {
    KvLog log;
    const char* log_name = GetLogFileName();
    log.Open(log_name != nullptr ? log_name : "", "a");
    if (bitstream_model::CreateModel(model, device, log, file_name, kXFPConfig, kDataFrames,
                                     nullptr, nullptr) < 0)
      return kNotABitstream;
    if (has_mask && bitstream_model::CreateModel(mask, device, log, mask_file, kXFPReadBackMask,
                                                 kDataFrames, nullptr, nullptr) < 0)
      return kNotABitstream;
    core::ConsumeLogFileName();
  }
  const std::vector<const XFPFrameComponentModel*> rows = EbrRows(model);
  const std::vector<const XFPFrameComponentModel*> mask_rows = has_mask ? EbrRows(mask) : rows;
  if (mask_rows.size() < rows.size()) return kMaskMismatch;
  for (std::size_t r = 0; r < rows.size(); ++r) {
    if (mask_rows[r]->GetByteSize() != rows[r]->GetByteSize()) return kMaskMismatch;
  }
  const std::vector<const XFPFrameComponentModel*> kept(mask_rows.begin(),
                                                        mask_rows.begin() + rows.size());
  if (const int status = StoreRows(data, "EBRArray_TDI", rows, false); status != 0) return status;
  if (const int status = StoreRows(data, "EBRArray_MASK", kept, !has_mask); status != 0)
    return status;
  return static_cast<int>(rows.size());
}

}  // namespace
}  // namespace fusekit::isc

int WriteEBRMask(char* fileName, DeviceInfo* device, const char* maskFile, SVFPlusData* data) {
  if (fileName == nullptr || device == nullptr || data == nullptr)
    return fusekit::isc::kNullArgument;
  try {
    return fusekit::isc::WriteEbrMask(fileName, *device, maskFile, *data);
  } catch (const std::bad_alloc&) {
    return fusekit::isc::kNoRow;
  }
}
