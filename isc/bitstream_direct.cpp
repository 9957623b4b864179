// BIT2ISC and RBT2ISC: a bitstream converted to an ISC data file in one call.
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "fusekit/bitstream.h"
#include "fusekit/crc.h"
#include "fusekit/isc.h"
#include "isc/header_builders.h"

namespace fusekit::isc {
namespace {

constexpr int kNoRow = -3;
constexpr int kBadCrcText = -7;

using BitstreamReader = int (*)(char*, DeviceInfo*, int, SVFPlusData*, const char*, const char*,
                                const char*, bool);

// The usercode becomes the first L/4 digits of the array's data CRC text, and "ID" follows it.
int UsercodeFromCrc(SVFPlusData& data, const DeviceInfo& device) {
  const unsigned logical = device.GetjtagLogicalUESLength();
  if (logical == 0) return 0;
  SVFDataField* array = data.GetDataField("FuseArray_TDI");
  if (array == nullptr) return 0;
  array->ResetRowPointer();
  char text[64] = "";
  char kind[] = "array";
  GetDataCRC(kind, nullptr, array, nullptr, true, text);
  if (text[0] == '\0') return 0;
  data.DeleteDataField("ID");
  data.DeleteDataField("Usercode_TDI");
  SVFDataField* usercode = data.AddDataField();
  if (usercode == nullptr) return kNoRow;
  usercode->SetFieldName("Usercode_TDI");
  KvByteBuffer* row = usercode->AddRow(logical);
  if (row == nullptr) return kNoRow;
  int high = -1;
  for (std::size_t i = 0; i < logical / 4 && text[i] != '\0'; ++i) {
    const char c = text[i];
    if (c == ' ') continue;
    if (!std::isxdigit(static_cast<unsigned char>(c))) return kBadCrcText;
    const int digit = util_HexAnsi2Hex(c);
    if (high < 0) {
      high = digit;
    } else {
      if (row->WriteData(static_cast<unsigned char>(high << 4 | digit)) == 0) return kNoRow;
      high = -1;
    }
  }
  SVFDataField* id = data.AddDataField();
  if (id == nullptr) return kNoRow;
  id->SetFieldName("ID");
  KvByteBuffer* id_row = id->AddRow(device.GetIDLength());
  if (id_row == nullptr) return kNoRow;
  const unsigned value = device.GetjtagDeviceID();
  for (int shift = 24; shift >= 0; shift -= 8) {
    if (id_row->WriteData(static_cast<unsigned char>(value >> shift)) == 0) return kNoRow;
  }
  return 0;
}

int Convert(BitstreamReader read, char* source, DeviceInfo* device, int jedec_mode,
            const char* option1, const char* work_dir, const char* option3, char* entity,
            char* out_file, int usercode_from_crc, const char* creator) {
  try {
    auto data = std::make_unique<SVFPlusData>();
    const int status =
        read(source, device, jedec_mode, data.get(), option1, work_dir, option3, false);
    if (status < 0) return status;
    if (usercode_from_crc != 0) {
      if (const int usercode = UsercodeFromCrc(*data, *device); usercode < 0) return usercode;
    }
    // The comment buffer of the conversion holds whole lines of the block only: a source named
    // ".jed" has its text taken as JEDEC notes, however long that is.
    const std::string header =
        CutToWholeLines(CommentBlock(creator, static_cast<int>(device->GetFuseNumber()),
                                     device->GetPON(), source, 0, nullptr),
                        kCommentBlockBytes);
    return SVFPlus2ISC(data.get(), header.c_str(), out_file, entity, 0, 0, creator);
  } catch (const std::bad_alloc&) {
    return kNoRow;
  }
}

}  // namespace
}  // namespace fusekit::isc

int BIT2ISC(char* sourceFile, DeviceInfo* device, int jedecMode, const char* readerOption1,
            const char* workDir, char* /*readerOption2*/, const char* readerOption3, char* entity,
            char* outFile, int usercodeFromCRC, const char* creator) {
  return fusekit::isc::Convert(&BIT2SVFPlus, sourceFile, device, jedecMode, readerOption1, workDir,
                               readerOption3, entity, outFile, usercodeFromCRC, creator);
}

int RBT2ISC(char* sourceFile, DeviceInfo* device, int jedecMode, const char* readerOption1,
            const char* workDir, char* /*readerOption2*/, const char* readerOption3, char* entity,
            char* outFile, int usercodeFromCRC, const char* creator) {
  return fusekit::isc::Convert(&RBT2SVFPlus, sourceFile, device, jedecMode, readerOption1, workDir,
                               readerOption3, entity, outFile, usercodeFromCRC, creator);
}
