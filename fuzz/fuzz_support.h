// Helpers of the fuzz targets: inputs written to files (the library reads files by name) and a
// few device records of different families.
#ifndef FUSEKIT_FUZZ_FUZZ_SUPPORT_H
#define FUSEKIT_FUZZ_FUZZ_SUPPORT_H

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "fusekit/devicedb.h"

namespace fusekit::fuzzing {

// The folder of this process's files: made under TMPDIR on first use, removed with all it holds
// when the process ends (libFuzzer ends a run with exit, which runs this destructor).
inline const std::string& WorkFolder() {
  static const struct Folder {
    std::string path;
    Folder() {
      const char* tmp = std::getenv("TMPDIR");
      path = std::string(tmp != nullptr && tmp[0] != '\0' ? tmp : "/tmp") + "/fusekit-fuzz-XXXXXX";
      if (mkdtemp(path.data()) == nullptr) std::abort();
    }
    ~Folder() {
      std::error_code ignored;
      std::filesystem::remove_all(path, ignored);
    }
  } folder;
  return folder.path;
}

// Writes bytes to a file of this process named after tag and returns its path.
inline std::string WriteInput(const std::uint8_t* data, std::size_t size, const char* tag) {
  const std::string path = WorkFolder() + "/" + tag + ".jed";
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) std::abort();
  if (size > 0) std::fwrite(data, 1, size, file);
  std::fclose(file);
  return path;
}

// Small device records of the families whose JEDEC rules differ; choice picks one.
inline DeviceInfo FuzzDevice(unsigned choice) {
  DeviceInfo d;
  d.SetName("FUZZ");
  d.SetIDLength(32);
  d.SetPhysicalUESLength(32);
  d.SetjtagLogicalUESLength(32);
  d.SetispLogicalUESLength(32);
  switch (choice % 6) {
    case 0:  // generic, odd width
      d.SetFamily("generic");
      d.SetAddressLength(4);
      d.SetDataLength(20);
      d.SetFuseNumber(80);
      d.SetARCHLength(8);
      break;
    case 1:  // 22V10 layout
      d.SetFamily("SPLD");
      d.SetCodeName("22V10");
      d.SetAddressLength(44);
      d.SetDataLength(132);
      d.SetFuseNumber(5828);
      d.SetARCHLength(20);
      d.SetPhysicalUESLength(64);
      d.SetjtagLogicalUESLength(64);
      break;
    case 2:  // 128-bit rows with an E section and SED
      d.SetFamily("CorvanePelmo2");
      d.SetFuseNumber(512);
      d.SetELength(128);
      d.SetERow(1);
      d.SetARCHLength(16);
      d.SetSEDLength(32);
      d.SetPadring({"1", "7"});
      break;
    case 3:  // Padring section
      d.SetFamily("CorvaneFendra2");
      d.SetFuseNumber(256 + 32 + 128);
      d.SetELength(128);
      d.SetERow(1);
      d.SetPadring({"32"});
      break;
    case 4:  // reversed rows, 48-bit usercode with a mask
      d.SetFamily("ispSarn");
      d.SetCodeName("Sarn18");
      d.SetAddressLength(8);
      d.SetDataLength(10);
      d.SetFuseNumber(80);
      d.SetBitMapTransformation(1);
      d.SetPhysicalUESLength(48);
      d.SetjtagLogicalUESLength(48);
      d.SetjtagUESMask("F0F0F0000000");
      break;
    default:  // direct SPI class 3 with an architecture row
      d.SetFamily("CorvaneTorvik4");
      d.SetAddressLength(2);
      d.SetDataLength(16);
      d.SetFuseNumber(32);
      d.SetARCHLength(16);
      break;
  }
  d.SaveDeviceBackupValue();
  return d;
}

// Device records of the bitstream family groups: generic, Pelmo3D and Orlan (marker), Vorsk
// (lead-in block, firmware), Torvik2 (encrypted scrub), "TEBU"; choice picks one, and its high
// bit gives the record a command table of its own.
inline DeviceInfo BitstreamFuzzDevice(unsigned choice) {
  static const char* const kFamilies[] = {"generic",        "CorvanePelmo3D", "CorvaneVorsk",
                                          "CorvaneTorvik2", "TEBUfuzz",       "CorvaneOrlan"};
  DeviceInfo d;
  d.SetName("FUZZ");
  d.SetFamily(kFamilies[choice % 6]);
  d.SetAddressLength((choice & 0x40) != 0 ? 1 : 4);
  d.SetDataLength(64);
  d.SetFuseNumber(4096 + 8 * (choice & 7));
  d.SetIDLength(32);
  d.SetjtagDeviceID(0x012B2043);
  d.SetPhysicalUESLength(32);
  d.SetjtagLogicalUESLength(32);
  if ((choice & 0x80) != 0) {
    d.SetBitstreamCommands("41 Data Frame: Data=frame\n52 Odd Frame: A=3, B=operand, C=id\n");
  }
  d.SaveDeviceBackupValue();
  return d;
}

}  // namespace fusekit::fuzzing

#endif  // FUSEKIT_FUZZ_FUZZ_SUPPORT_H
