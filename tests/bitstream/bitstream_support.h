// Bitstreams for tests, made with the model library's generator.
#ifndef FUSEKIT_TESTS_BITSTREAM_BITSTREAM_SUPPORT_H
#define FUSEKIT_TESTS_BITSTREAM_BITSTREAM_SUPPORT_H

#include <string>
#include <vector>

#include "fusekit/fusekit.h"
#include "tests/support/test_device.h"

namespace fusekit::testing {

using Bytes = std::vector<unsigned char>;

// A device of 4 frames of 64 bits, a 32-bit identifier and usercode.
inline DeviceInfo BitstreamDevice(const char* family) {
  DeviceInfo d = TestDevice(family, 4, 64);
  d.SetjtagDeviceID(0x012B2043);
  d.SaveDeviceBackupValue();
  return d;
}

inline XFPFrameModel Frame(const char* name, const Bytes& bytes, const char* part = "Data",
                           unsigned bits = 0) {
  XFPFrameModel frame(name, 0);
  frame.AddComponent(
      XFPFrameComponentModel(part, bytes.data(), static_cast<unsigned>(bytes.size()),
                             bits != 0 ? bits : 8 * static_cast<unsigned>(bytes.size())));
  return frame;
}

// A configuration stream: the comment entries, a usercode frame (when usercode is not empty)
// and data frames 11.., 21.., 31.. of eight bytes each.
inline XFPBitstreamModel SampleModel(const DeviceInfo& device,
                                     const std::vector<std::string>& entries, const Bytes& usercode,
                                     int frames = 3) {
  XFPBitstreamModel model;
  model.SetDevice(device);
  for (const std::string& entry : entries) model.AddCommentEntry(entry.c_str());
  if (!usercode.empty()) model.AddFrame(Frame("Usercode Frame", usercode, "Usercode"));
  for (int f = 0; f < frames; ++f) {
    Bytes data;
    for (int i = 0; i < 8; ++i) data.push_back(static_cast<unsigned char>((f + 1) * 16 + i));
    model.AddFrame(Frame("Data Frame", data));
  }
  return model;
}

inline unsigned char Reverse(unsigned char b) {
  unsigned char r = 0;
  for (int i = 0; i < 8; ++i) r = static_cast<unsigned char>(r | (((b >> i) & 1) << (7 - i)));
  return r;
}

// The file as the reader stores it: the row read from its last byte backward, each byte
// bit-reversed.
inline Bytes FileFromRows(const SVFDataField* field) {
  Bytes file;
  for (int r = 1; r <= field->GetRowCount(); ++r) {
    const KvByteBuffer* row = field->GetRow(r);
    for (int i = row->GetDataSize() - 1; i >= 0; --i) file.push_back(Reverse(row->ReadData(i)));
  }
  return file;
}

inline Bytes RowBytes(const SVFPlusData& data, const char* name, int row = 1) {
  const SVFDataField* field = data.GetDataField(name);
  if (field == nullptr || field->GetRow(row) == nullptr) return {};
  const KvByteBuffer* r = field->GetRow(row);
  return Bytes(r->GetBuffer(), r->GetBuffer() + r->GetDataSize());
}

}  // namespace fusekit::testing

#endif  // FUSEKIT_TESTS_BITSTREAM_BITSTREAM_SUPPORT_H
