// Row placement of the image readers.
#include "image/image_support.h"

#include "fusekit/devicedb.h"

namespace fusekit::image {

SVFDataField* NewField(SVFPlusData& data, const char* name) {
  SVFDataField* field = data.AddDataField();
  if (field != nullptr) field->SetFieldName(name);
  return field;
}

int AddIspIdField(SVFPlusData& data, const DeviceInfo& device) {
  SVFDataField* id = NewField(data, "ID");
  if (id == nullptr) return kRowFailed;
  const unsigned int bits = device.GetIDLength();
  KvByteBuffer* row = id->AddRow(bits);
  if (row == nullptr) return kRowFailed;
  const unsigned int value = device.GetispDeviceID();
  for (unsigned int i = 0; i < (bits + 7) / 8; ++i) {
    const auto byte = static_cast<unsigned char>(i < 4 ? value >> (8 * i) : 0);
    if (row->WriteData(byte) == 0) return kRowFailed;
  }
  return 0;
}

}  // namespace fusekit::image
