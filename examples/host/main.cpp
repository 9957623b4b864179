// A host program: picks a device from the built-in database, builds a little programming data
// by hand, and asks the library for its data CRC and for the checksum of a file.
//
//   host_example [DEVICE] [FILE]
#include <cstdio>

#include <fusekit/fusekit.h>

int main(int argc, char** argv) {
  const char* device_name = argc > 1 ? argv[1] : "QL256";
  DeviceDatabase database;
  int status = database.LoadDefault();
  if (status != fusekit::kStatusOk) {
    std::fprintf(stderr, "device database: %s\n", database.GetLastError());
    return 1;
  }
  const DeviceInfo* found = database.FindDevice(device_name);
  if (found == nullptr) {
    std::fprintf(stderr, "no device named %s\n", device_name);
    return 1;
  }
  DeviceInfo device = *found;  // the host's own copy: the database's records are read-only
  std::printf("device %s, family %s, %u fuses\n", device.GetName(), device.GetFamily(),
              device.GetFuseNumber());

  // One row of "FuseArray_TDI", 16 bits wide.
  SVFPlusData data;
  SVFDataField* fuses = data.AddDataField();
  fuses->SetFieldName("FuseArray_TDI");
  KvByteBuffer* row = fuses->AddRow(16);
  if (row == nullptr || !row->WriteData(0x12) || !row->WriteData(0x34)) return 1;
  char crc[9];
  GetDataCRC(nullptr, fuses, nullptr, nullptr, true, crc);
  std::printf("data CRC %s\n", crc);

  if (argc > 2) std::printf("file CRC-16 %.4X\n", GetFileCRC16(argv[2]));
  return 0;
}
