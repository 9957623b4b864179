// Writes the fuses of a JEDEC file, as fusekit reads them, in the binary form of the other JEDEC
// tool: the fuse count as four bytes, most significant first, then the fuses eight to a byte,
// fuse n in bit n % 8 of byte n / 8; with a third name, also writes the file again from the
// programming data it was read into (SVFPlus2JEDEC).
//   jedec_fuses IN.jed OUT.bin [REWRITTEN.jed]
#include <cstdio>
#include <string>
#include <vector>

#include <fusekit/fusekit.h>

int main(int argc, char** argv) {
  if (argc != 3 && argc != 4) return 2;
  std::string path = argv[1];
  JEDECSummary summary;
  if (GetJEDECSummary(path.c_str(), &summary) != 0) return 3;
  const unsigned fuses = static_cast<unsigned>(summary.fuseCount);
  DeviceInfo device;  // one row of every fuse the file declares
  device.SetFamily("generic");
  device.SetAddressLength(1);
  device.SetDataLength(fuses);
  device.SetFuseNumber(fuses);
  device.SetARCHLength(static_cast<unsigned>(summary.eLength));
  device.SetPhysicalUESLength(32);
  device.SetjtagLogicalUESLength(32);
  device.SetIDLength(32);
  SVFPlusData data;
  const int status = JEDEC2SVFPlus(path.data(), &device, 1, &data, "", "", "", "");
  if (status != 0) {
    std::fprintf(stderr, "%s: status %d (%s)\n", argv[1], status, fusekit::StatusText(status));
    return 3;
  }
  if (argc == 4) {
    const int written = SVFPlus2JEDEC(&data, &device, 1, argv[3], nullptr);
    if (written < 0) {
      std::fprintf(stderr, "%s: written with status %d (%s)\n", argv[3], written,
                   fusekit::StatusText(written));
      return 3;
    }
  }
  const KvByteBuffer* row = data.GetDataField("FuseArray_TDI")->GetRow(1);
  const unsigned pad = (fuses + 7) / 8 * 8 - fuses;
  std::vector<unsigned char> out = {
      static_cast<unsigned char>(fuses >> 24), static_cast<unsigned char>(fuses >> 16),
      static_cast<unsigned char>(fuses >> 8), static_cast<unsigned char>(fuses)};
  out.resize(4 + (fuses + 7) / 8, 0);
  for (unsigned c = 0; c < fuses; ++c) {
    const unsigned index = pad + fuses - 1 - c;  // where the row layout keeps column c
    if ((row->ReadData(static_cast<int>(index / 8)) >> (7 - index % 8)) & 1u)
      out[4 + c / 8] |= 1u << (c % 8);
  }
  std::FILE* file = std::fopen(argv[2], "wb");
  if (file == nullptr) return 3;
  std::fwrite(out.data(), 1, out.size(), file);
  std::fclose(file);
  return 0;
}
