// SVFPlus2MCS: "FuseArray_TDI" written as an Intel hex (MCS) image through the model library's
// "Intel Hex" generator object.
//
// The rows follow one another from the start address; each row's bytes go from its last index
// down to index 0, so that the MCS reading path (HEX2BIN, which mirrors every byte, then
// MCS2SVFPlus, which stores every byte bit-reversed from a row's last index down) gives the rows
// back.
#include <memory>
#include <vector>

#include "fusekit/bitstream_model.h"
#include "fusekit/image.h"
#include "fusekit/status.h"
#include "image/image_support.h"

namespace fusekit::image {
namespace {

int WriteMcs(const char* file_name, const SVFDataField& array, unsigned int start) {
  std::vector<unsigned char> image;
  for (int r = 1; r <= array.GetRowCount(); ++r) {
    const KvByteBuffer* row = array.GetRow(r);
    if (row == nullptr) continue;
    for (int i = row->GetDataSize() - 1; i >= 0; --i) image.push_back(row->GetBuffer()[i]);
  }
  std::unique_ptr<XFPGenerateFileObject> generator(
      XFPObjectFactory::CreateGenerateFileObject("Intel Hex"));
  if (!generator) return -2;
  switch (generator->WriteImage(file_name, image.data(), image.size(), start)) {
    case kXFPOk:
      return 0;
    case kXFPWriteFailed:
      return kStatusWriteFailed;
    default:
      return -2;
  }
}

}  // namespace
}  // namespace fusekit::image

int SVFPlus2MCS(const char* fileName, DeviceInfo* device, SVFPlusData* data, const char*,
                const char*, const char*, unsigned int startAddress) {
  if (fileName == nullptr || device == nullptr || data == nullptr) return -6;
  const SVFDataField* array = data->GetDataField("FuseArray_TDI");
  if (array == nullptr) return fusekit::kStatusNoFuseArray;
  return fusekit::image::Guarded(
      [&] { return fusekit::image::WriteMcs(fileName, *array, startAddress); });
}
