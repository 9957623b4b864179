// SVFPlus2JEDEC: programming data written as a JEDEC file for a device, the inverse of
// JEDEC2SVFPlus (docs/jedec-writer.md).
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/file_io.h"
#include "core/status.h"
#include "fusekit/crc.h"
#include "fusekit/family.h"
#include "fusekit/jedec.h"
#include "jedec/geometry.h"
#include "jedec/jedec_format.h"
#include "jedec/jedec_text.h"
#include "jedec/to_progdata.h"

namespace fusekit::jedec {
namespace {

constexpr int kNotLaidOut = -16;  // a device whose fuse order the writer does not know

// Bit p of a row in the row layout (p from 0, the most significant bit of byte 0).
bool RowBit(const KvByteBuffer& row, std::uint64_t p) {
  const int index = static_cast<int>(p / 8);
  return index < row.GetDataSize() && ((row.ReadData(index) >> (7 - p % 8)) & 1u) != 0;
}

// One L field of the fuse list: a row of a field (or, without one, fuses that programming data
// does not hold, written as 0) from fuse start on.
struct Segment {
  const KvByteBuffer* row;
  std::uint64_t start;
  std::uint64_t width;
  bool mirrored = false;  // listed from its last column to its first
};

// A field's rows as segments from fuse start on, rows of width bits, the last row first when
// reversed. False when the field does not have rows of that shape.
bool AddRowSegments(const SVFDataField& field, const ArrayGeometry& geometry, bool reversed,
                    std::uint64_t start, std::vector<Segment>& segments) {
  if (static_cast<std::uint64_t>(field.GetRowCount()) != geometry.rows) return false;
  for (std::uint64_t r = 0; r < geometry.rows; ++r) {
    const int row_number = static_cast<int>(reversed ? geometry.rows - r : r + 1);
    const KvByteBuffer* row = field.GetRow(row_number);
    if (row == nullptr || field.GetRowWidth(row_number) != geometry.width) return false;
    if (static_cast<std::uint64_t>(row->GetDataSize()) < (geometry.width + 7) / 8) return false;
    segments.push_back({row, start + r * geometry.width, geometry.width, false});
  }
  return true;
}

bool KeepsGValue(const char* family) {
  return IsPelmo2Family(family) || IsPelmo3DFamily(family) || IsFendra2Family(family) ||
         IsGlimraFamily(family);
}

// Whether the 2048-bit-row device's fuse count is that of its user-flash image alone, which the
// reader takes from a user-flash note.
bool UserFlashImageAlone(const DeviceInfo& device) {
  const unsigned fuses = device.GetFuseNumber();
  if (IsGrendMHFamily(device.GetFamily())) return fuses == 0xC00000;
  return fuses == (device.GetAddressLength() == 16822 ? 0x780000u : 0x200000u);
}

const char* MainFieldName(const DeviceInfo& device) {
  const unsigned fuses = device.GetFuseNumber();
  if (IsPelmo3DFamily(device.GetFamily()) &&
      (fuses == 0x6FF00 || fuses == 0x23F80 || fuses == 0x5F80))
    return "EFuseArray_TDI";
  return "FuseArray_TDI";
}

// The usercode bits of the U field, logical bit 0 first, as many as the logical length: the
// inverse of the usercode rule of the reader. Positions the mask forces carry nothing and are
// passed over.
std::string UsercodeDigits(const KvByteBuffer& row, std::uint64_t physical, std::uint64_t logical,
                           const std::string& mask) {
  const std::uint64_t row_bits = (physical + 7) / 8 * 8;
  const std::uint64_t pad = row_bits - physical;
  const std::vector<bool> forced = UsercodeMaskPositions(mask, physical);
  std::vector<bool> placed;
  for (std::uint64_t p = 0; p < row_bits; ++p) {
    if (!forced[static_cast<std::size_t>(p)]) placed.push_back(RowBit(row, p));
  }
  const bool in_order = physical == 16 || physical == 32;
  std::string bits(static_cast<std::size_t>(std::min(logical, physical)), '1');
  for (std::uint64_t i = 0; i < bits.size(); ++i) {
    const std::uint64_t at = in_order ? i : pad + logical - 1 - i;
    if (at < placed.size())
      bits[static_cast<std::size_t>(i)] = placed[static_cast<std::size_t>(at)] ? '1' : '0';
  }
  return bits;
}

// The bits of a one-row field laid out by the reversal rule, column 0 first: column c is bit
// pad + width - 1 - c of the row.
std::string ReversedRowDigits(const KvByteBuffer& row, std::uint64_t width) {
  const std::uint64_t pad = (8 - width % 8) % 8;
  std::string digits(static_cast<std::size_t>(width), '0');
  for (std::uint64_t c = 0; c < width; ++c) {
    if (RowBit(row, pad + width - 1 - c)) digits[static_cast<std::size_t>(c)] = '1';
  }
  return digits;
}

// The pin count of the device's first package ("TQFP100" gives 100), 0 when not known.
unsigned long PinCount(const DeviceInfo& device) {
  const PackageList* packages = device.GetDevicePackage();
  const Package* first = packages != nullptr ? packages->GetPackage(0) : nullptr;
  if (first == nullptr) return 0;
  const std::string type = first->GetType();
  std::size_t at = type.size();
  while (at > 0 && std::isdigit(static_cast<unsigned char>(type[at - 1]))) --at;
  return at < type.size() && type.size() - at < 7 ? std::stoul(type.substr(at)) : 0;
}

struct Sections {
  std::vector<std::string> notes;  // notes the reader reads flags from
  std::uint64_t end_data = 0;      // the fuse the END-data note stands before, 0 for none
  std::uint64_t fuse_count = 0;    // QF
  std::vector<Segment> segments;   // the L fields, in fuse order
  std::string e_field;             // architecture digits, empty for none
  std::string u_field;             // usercode (and SED) digits, empty for none
  std::deque<KvByteBuffer> made;   // rows made for the list, which segments point into
};

// The E field from the architecture field and the U field from the usercode and SED fields.
int CollectExtraFields(const SVFPlusData& data, const DeviceInfo& device, int jtag, Sections& out) {
  if (const SVFDataField* arch = data.GetDataField("ArchArray_TDI")) {
    const KvByteBuffer* row = arch->GetRow(1);
    if (row == nullptr || arch->GetRowWidth(1) != device.GetARCHLength())
      return kStatusFieldMissing;
    out.e_field = ReversedRowDigits(*row, device.GetARCHLength());
  }
  if (const SVFDataField* usercode = data.GetDataField("Usercode_TDI")) {
    const std::uint64_t physical = device.GetPhysicalUESLength();
    const std::uint64_t logical =
        jtag != 0 ? device.GetjtagLogicalUESLength() : device.GetispLogicalUESLength();
    const KvByteBuffer* row = usercode->GetRow(1);
    if (row != nullptr && physical != 0) {
      out.u_field = UsercodeDigits(*row, physical, logical,
                                   jtag != 0 ? device.GetjtagUESMask() : device.GetispUESMask());
    }
  }
  const SVFDataField* sed = data.GetDataField("SEDArray_TDI");
  if (sed != nullptr && device.GetSEDLength() != 0 && sed->GetRow(1) != nullptr) {
    // The SED bits follow the whole physical usercode: the bits past the logical ones are 1.
    out.u_field.resize(device.GetPhysicalUESLength(), '1');
    out.u_field += ReversedRowDigits(*sed->GetRow(1), device.GetSEDLength());
    // The reader gives 1 for every bit a U field does not reach: trailing ones past the usercode
    // need not be written, and a file whose SED bits were never given keeps its short U field.
    const std::size_t usercode_bits = std::min<std::size_t>(
        device.GetPhysicalUESLength(),
        jtag != 0 ? device.GetjtagLogicalUESLength() : device.GetispLogicalUESLength());
    while (out.u_field.size() > usercode_bits && out.u_field.back() == '1') out.u_field.pop_back();
  }
  return kStatusOk;
}

// The fuse list and the E and U fields from the data, by the device's layout.
int Collect(const SVFPlusData& data, const DeviceInfo& record, int jtag, Sections& out) {
  DeviceInfo device = record;
  const SVFDataField* main_field = data.GetDataField(MainFieldName(device));
  if (main_field == nullptr) return kStatusNoFuseArray;
  if (HasWide2048Rows(device.GetFamily())) {
    // These families take their fuse count from the image the file holds (a user-flash image
    // alone is smaller): the data's rows say which, and a note tells the reader.
    const std::uint64_t fuses =
        static_cast<std::uint64_t>(main_field->GetRowCount()) * 2048 + device.GetELength();
    if (fuses > 0xFFFFFFFFu) return kStatusFieldMissing;
    device.SetFuseNumber(static_cast<unsigned>(fuses));
    if (UserFlashImageAlone(device)) out.notes.push_back("NOTE USER MEMORY DATA UFM0");
  }
  if (IsPelmo3DFamily(device.GetFamily())) {
    if (data.GetUFM0()) out.notes.push_back("NOTE USER MEMORY DATA UFM0");
    if (data.GetUFM1()) out.notes.push_back("NOTE USER MEMORY DATA UFM1");
    if (data.GetFlashCUFM2()) out.notes.push_back("NOTE USER MEMORY DATA UFM2");
  }
  if (data.GetEndDataLoc() > 0) out.end_data = static_cast<std::uint64_t>(data.GetEndDataLoc());
  out.fuse_count = device.GetFuseNumber();
  const ArrayGeometry main = MainArray(device);
  const bool reversed = (device.GetBitMapTransformation() & kBitMapReversedRows) != 0;
  if (!AddRowSegments(*main_field, main, reversed, 0, out.segments)) return kStatusFieldMissing;
  // The legacy switch devices list each row of the array from its last column to its first.
  if (IsSarn(device)) {
    for (Segment& segment : out.segments) segment.mirrored = true;
  }
  const std::uint64_t padring = PadringSectionFuses(device);
  if (padring != 0) out.segments.push_back({nullptr, main.Fuses(), padring, false});
  const ArrayGeometry e_section = ESection(device);
  const SVFDataField* e_field = data.GetDataField("EFuseArray_TDI");
  if (e_section.rows != 0 && e_field != nullptr && e_field != main_field) {
    if (!AddRowSegments(*e_field, e_section, false, main.Fuses() + padring, out.segments))
      return kStatusFieldMissing;
  }
  // The writer never writes past the device's fuse count, whatever the data holds.
  if (!out.segments.empty()) {
    const Segment& last = out.segments.back();
    if (last.start + last.width > out.fuse_count) return kStatusFieldMissing;
  }
  return CollectExtraFields(data, device, jtag, out);
}

// A row in the row layout holding digits ('0' or '1', column 0 first): column c is bit
// pad + width - 1 - c.
KvByteBuffer RowOfDigits(const std::string& digits) {
  const std::uint64_t width = digits.size();
  const std::uint64_t pad = (8 - width % 8) % 8;
  std::vector<unsigned char> bytes(static_cast<std::size_t>((width + 7) / 8), 0);
  for (std::uint64_t c = 0; c < width; ++c) {
    const std::uint64_t p = pad + width - 1 - c;
    if (digits[static_cast<std::size_t>(c)] == '1')
      bytes[p / 8] |= static_cast<unsigned char>(0x80u >> (p % 8));
  }
  KvByteBuffer row;
  if (!bytes.empty() && row.AppendData(bytes.data(), static_cast<unsigned>(bytes.size())) == 0)
    throw std::bad_alloc();
  return row;
}

void AddDigitsSegment(Sections& out, const std::string& digits, std::uint64_t start) {
  out.made.push_back(RowOfDigits(digits));
  out.segments.push_back({&out.made.back(), start, digits.size(), false});
}

// The 22V10 list: the array as 132 product terms of 44 fuses (fuse p * 44 + a is device row a,
// column p, the inverse of the reader's rearrangement), then the architecture fuses and the 64
// usercode fuses, all inside the fuse list with no E or U field.
int Collect22V10(const SVFPlusData& data, const DeviceInfo& device, Sections& out) {
  const ArrayGeometry main = MainArray(device);
  if (main.rows != k22V10TermFuses || main.width != k22V10ProductTerms ||
      main.Fuses() + device.GetARCHLength() != device.GetFuseNumber())
    return kNotLaidOut;  // not the geometry the reader rearranges
  const SVFDataField* array = data.GetDataField("FuseArray_TDI");
  if (array == nullptr) return kStatusNoFuseArray;
  std::vector<Segment> rows;
  const bool reversed = (device.GetBitMapTransformation() & kBitMapReversedRows) != 0;
  if (!AddRowSegments(*array, main, reversed, 0, rows)) return kStatusFieldMissing;
  const std::uint64_t pad = (8 - main.width % 8) % 8;
  for (std::uint64_t p = 0; p < main.width; ++p) {
    std::string term(static_cast<std::size_t>(main.rows), '0');
    for (std::uint64_t a = 0; a < main.rows; ++a) {
      if (RowBit(*rows[a].row, pad + main.width - 1 - p)) term[a] = '1';
    }
    AddDigitsSegment(out, term, p * main.rows);
  }
  std::string arch = std::move(out.e_field);
  out.e_field.clear();
  arch.resize(device.GetARCHLength(), '0');  // architecture fuses the data does not hold are 0
  if (!arch.empty()) AddDigitsSegment(out, arch, main.Fuses());
  out.fuse_count = device.GetFuseNumber();
  if (!out.u_field.empty()) {
    std::string usercode = std::move(out.u_field);
    out.u_field.clear();
    usercode.resize(k22V10ExtraUsercodeFuses, '0');
    AddDigitsSegment(out, usercode, out.fuse_count);
    out.fuse_count += k22V10ExtraUsercodeFuses;
  }
  return kStatusOk;
}

// The file's text from STX to ETX, handed to a JedecTextWriter as it is made: the fuse list
// goes out a row at a time, so the file never stands whole in memory.
void EmitFile(const SVFPlusData& data, const DeviceInfo& device, const Sections& s,
              const char* header, JedecTextWriter& out) {
  const HeaderFields header_fields = SplitHeaderBlock(header, device.GetName());
  out.Put("\x02" + header_fields.design + "*" + kEol);
  for (const std::string& note : header_fields.notes) out.Put(note + "*" + kEol);
  for (const std::string& note : s.notes) out.Put(note + "*" + kEol);
  if (const unsigned long pins = PinCount(device); pins != 0)
    out.Put("QP" + std::to_string(pins) + "*" + kEol);
  out.Put("QF" + std::to_string(s.fuse_count) + "*" + kEol);
  const int security = data.GetSecurity();
  out.Put("G" +
          std::to_string(KeepsGValue(device.GetFamily()) ? security : (security != 0 ? 1 : 0)) +
          "*" + kEol);
  out.Put(std::string("F0*") + kEol);
  FuseChecksummer checksum;
  for (const Segment& segment : s.segments) {
    const std::uint64_t end = segment.start + segment.width;
    // The END-data note stands right before the L field of its fuse, which starts there.
    const bool split = s.end_data != 0 && s.end_data >= segment.start && s.end_data < end;
    const std::uint64_t cut = split ? s.end_data : segment.start;
    if (cut > segment.start)
      out.PutFuses(segment.row, segment.width, segment.start, 0, cut - segment.start,
                   segment.mirrored, checksum);
    if (split) out.Put(std::string("NOTE END CONFIG DATA*") + kEol);
    out.PutFuses(segment.row, segment.width, segment.start, cut - segment.start, segment.width,
                 segment.mirrored, checksum);
  }
  char c_field[16];
  std::snprintf(c_field, sizeof c_field, "C%.4X*", checksum.Value());
  out.Put(c_field + std::string(kEol));
  if (!s.e_field.empty()) out.Put("E" + s.e_field + "*" + kEol);
  if (!s.u_field.empty()) out.Put("U" + UsercodeFieldText(s.u_field) + "*" + kEol);
  out.Put("\x03");
}

int WriteJedec(SVFPlusData& data, DeviceInfo& device, int jtag, const char* file_name,
               const char* header) {
  Sections sections;
  if (Is22V10(device)) {
    // The architecture and usercode digits are gathered as for any device, then moved into
    // the fuse list.
    if (const int status = CollectExtraFields(data, device, jtag, sections); status != kStatusOk)
      return status;
    if (const int status = Collect22V10(data, device, sections); status != kStatusOk) return status;
  } else if (const int status = Collect(data, device, jtag, sections); status != kStatusOk) {
    return status;
  }
  JedecTextWriter out;
  if (!out.Open(file_name)) return kStatusCannotOpenFile;
  EmitFile(data, device, sections, header, out);
  return out.Finish();
}

// A copy of a field's rows under another name; with a mask, each bit the mask leaves out (0)
// is taken from expected instead, so that it reads as what was meant to be programmed.
int CopyReadBack(SVFPlusData& out, const char* name, const SVFDataField& read,
                 const SVFDataField* expected, const SVFDataField* mask) {
  SVFDataField* field = out.AddDataField();
  if (field == nullptr) return kStatusNoMemory;
  field->SetFieldName(name);
  for (int r = 1; r <= read.GetRowCount(); ++r) {
    const KvByteBuffer* row = read.GetRow(r);
    KvByteBuffer* copy = field->AddRow(read.GetRowWidth(r));
    if (copy == nullptr) return kStatusNoMemory;
    if (row == nullptr) continue;
    const KvByteBuffer* meant = expected != nullptr ? expected->GetRow(r) : nullptr;
    const KvByteBuffer* verified = mask != nullptr ? mask->GetRow(r) : nullptr;
    for (int i = 0; i < row->GetDataSize(); ++i) {
      std::uint8_t byte = row->ReadData(i);
      if (meant != nullptr && verified != nullptr) {
        const std::uint8_t keep = verified->ReadData(i);
        byte = static_cast<std::uint8_t>((byte & keep) | (meant->ReadData(i) & ~keep));
      }
      if (copy->WriteData(byte) == 0) return kStatusRowWriteFailed;
    }
  }
  return kStatusOk;
}

// The data as read back: every "_TDI" field that has a "_TDO" field is replaced by it, masked
// by the "_MASK" field where there is one; the other fields, the flags and the comment stay.
int ReadBackData(const SVFPlusData& data, SVFPlusData& out) {
  out.SetSecurity(data.GetSecurity());
  if (data.GetComment() != nullptr) out.SetComment(data.GetComment());
  for (int f = 0; f < data.GetDataFieldCount(); ++f) {
    const SVFDataField* field = data.GetDataField(f);
    const std::string name = field->GetFieldName();
    const std::size_t suffix = name.rfind("_TDI");
    if (suffix == std::string::npos || suffix + 4 != name.size()) continue;
    const std::string array = name.substr(0, suffix);
    const SVFDataField* read = data.GetDataField((array + "_TDO").c_str());
    const SVFDataField* mask = data.GetDataField((array + "_MASK").c_str());
    const int status = read != nullptr ? CopyReadBack(out, name.c_str(), *read, field, mask)
                                       : CopyReadBack(out, name.c_str(), *field, nullptr, nullptr);
    if (status != kStatusOk) return status;
  }
  return kStatusOk;
}

// The C checksum of the fuse list that WriteJedec writes for the data.
int FuseListChecksum(const SVFPlusData& data, const DeviceInfo& device, int jtag) {
  Sections sections;
  int status = Is22V10(device) ? CollectExtraFields(data, device, jtag, sections) : kStatusOk;
  if (status == kStatusOk)
    status = Is22V10(device) ? Collect22V10(data, device, sections)
                             : Collect(data, device, jtag, sections);
  if (status != kStatusOk) return status;
  FuseChecksummer checksum;
  for (const Segment& segment : sections.segments) {
    if (segment.row == nullptr) continue;
    const std::uint64_t pad = (8 - segment.width % 8) % 8;
    for (std::uint64_t c = 0; c < segment.width; ++c) {
      const std::uint64_t p = segment.mirrored ? pad + c : pad + segment.width - 1 - c;
      if (RowBit(*segment.row, p)) checksum.AddFuse(segment.start + c);
    }
  }
  return static_cast<int>(checksum.Value());
}

// The 16-bit sum of the bytes of the main field's rows, for data the JEDEC layout does not
// describe (a bitstream's or an image's rows).
int ByteSum(const SVFPlusData& data) {
  const SVFDataField* field = data.GetDataField("FuseArray_TDI");
  if (field == nullptr) return kStatusNoFuseArray;
  std::uint32_t sum = 0;
  for (int r = 1; r <= field->GetRowCount(); ++r) {
    const KvByteBuffer* row = field->GetRow(r);
    for (int i = 0; row != nullptr && i < row->GetDataSize(); ++i) sum += row->ReadData(i);
  }
  return static_cast<int>(sum & 0xFFFF);
}

}  // namespace
}  // namespace fusekit::jedec

int TDO2JEDEC(SVFPlusData* data, DeviceInfo* device, int jtag, const char* fileName,
              const char* headerText) {
  if (data == nullptr || device == nullptr) return fusekit::kStatusNullModel;
  if (fileName == nullptr || fileName[0] == '\0') return fusekit::kStatusNullArgument;
  try {
    SVFPlusData read_back;
    if (const int status = fusekit::jedec::ReadBackData(*data, read_back); status != 0)
      return status;
    return fusekit::jedec::WriteJedec(read_back, *device, jtag, fileName, headerText);
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  }
}

int SVFPlus2JEDEC(SVFPlusData* data, DeviceInfo* device, int jtag, const char* fileName,
                  const char* headerText) {
  if (data == nullptr || device == nullptr) return fusekit::kStatusNullModel;
  if (fileName == nullptr || fileName[0] == '\0') return fusekit::kStatusNullArgument;
  try {
    return fusekit::jedec::WriteJedec(*data, *device, jtag, fileName, headerText);
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  } catch (const std::length_error&) {
    return fusekit::kStatusNoMemory;
  }
}

int SVFPlus2CheckSum(SVFPlusData* data, DeviceInfo* device, int jtag) {
  if (data == nullptr || device == nullptr) return fusekit::kStatusNullModel;
  try {
    const int checksum = fusekit::jedec::FuseListChecksum(*data, *device, jtag);
    if (checksum == fusekit::kStatusFieldMissing || checksum == fusekit::jedec::kNotLaidOut)
      return fusekit::jedec::ByteSum(*data);
    return checksum;
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  }
}

int ValidDataChecksum(SVFPlusData* data, DeviceInfo* device, int jtag, unsigned int checksum) {
  const int computed = SVFPlus2CheckSum(data, device, jtag);
  if (computed < 0) return computed;
  return static_cast<unsigned int>(computed) == (checksum & 0xFFFFu) ? 1 : 0;
}
