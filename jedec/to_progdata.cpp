// JEDEC2SVFPlus: a JEDEC file into programming data for one device.
#include "jedec/to_progdata.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include "core/file_io.h"
#include "core/status.h"
#include "fusekit/family.h"
#include "fusekit/jedec.h"
#include "fusekit/util.h"
#include "jedec/geometry.h"
#include "jedec/header_text.h"
#include "jedec/jedec_format.h"
#include "jedec/note_lines.h"
#include "jedec/reader_buffers.h"
#include "jedec/row_layout.h"
#include "jedec/word_map.h"
#include "support/devicedb/call_scope.h"
#include "support/legacy_fusemap/grend.h"
#include "support/legacy_fusemap/row_file.h"

namespace fusekit::jedec {

std::vector<bool> UsercodeMaskPositions(const std::string& mask, std::uint64_t physical_bits) {
  const std::uint64_t row_bits = (physical_bits + 7) / 8 * 8;
  std::vector<bool> forced(static_cast<std::size_t>(row_bits), false);
  if (mask.empty()) return forced;
  // The mask's last ceil(P/4) digits as one number, bit p (from the least significant) for row
  // position p; an odd digit count is completed with a low nibble of ones.
  const std::size_t digits = static_cast<std::size_t>((physical_bits + 3) / 4);
  std::string tail = mask.size() > digits ? mask.substr(mask.size() - digits) : mask;
  if (tail.size() % 2 == 1) tail += 'F';
  std::uint64_t p = 0;
  for (std::size_t d = tail.size(); d-- > 0;) {
    const unsigned nibble = util_HexAnsi2Hex(tail[d]);
    for (int b = 0; b < 4 && p < row_bits; ++b, ++p)
      forced[static_cast<std::size_t>(p)] = (nibble >> b) & 1u;
  }
  return forced;
}

std::vector<std::uint8_t> UsercodeRow(const std::uint16_t* usercode_map,
                                      std::uint64_t physical_bits, std::uint64_t logical_bits,
                                      const std::string& mask) {
  const std::uint64_t row_bits = (physical_bits + 7) / 8 * 8;
  const std::uint64_t pad = row_bits - physical_bits;
  std::vector<bool> placed(static_cast<std::size_t>(row_bits), true);
  const bool in_order = physical_bits == 16 || physical_bits == 32;
  for (std::uint64_t i = 0; i < logical_bits; ++i) {
    const bool bit = ((usercode_map[i / 16] >> (15 - i % 16)) & 1u) != 0;
    if (in_order) {
      if (i < row_bits) placed[static_cast<std::size_t>(i)] = bit;
    } else if (pad + logical_bits - 1 - i < row_bits) {
      placed[static_cast<std::size_t>(pad + logical_bits - 1 - i)] = bit;
    }
  }
  const std::vector<bool> forced = UsercodeMaskPositions(mask, physical_bits);
  std::vector<std::uint8_t> row(static_cast<std::size_t>(row_bits / 8), 0);
  std::size_t next = 0;
  for (std::uint64_t p = 0; p < row_bits; ++p) {
    bool bit = true;
    if (!forced[static_cast<std::size_t>(p)]) bit = next < placed.size() ? placed[next++] : true;
    if (bit) row[static_cast<std::size_t>(p / 8)] |= static_cast<std::uint8_t>(0x80u >> (p % 8));
  }
  return row;
}

int AddConfigurationFields(SVFPlusData& data, const KvByteBuffer& source) {
  const int size = source.GetDataSize();
  if (size <= 8) return kStatusOk;
  SVFDataField* config = data.AddDataField();
  if (config == nullptr) return kStatusNoMemory;
  config->SetFieldName("CFGArray_TDI");
  std::vector<std::uint8_t> bytes;
  for (int i = size - 3; i >= 6; --i) {
    bytes.push_back(source.ReadData(i));
    if (bytes.size() == 8 || i == 6) {
      bytes.resize(8, 0xFF);
      const int status = AppendRow(*config, 64, bytes);
      if (status != kStatusOk) return status;
      bytes.clear();
    }
  }
  SVFDataField* usercode = data.AddDataField();
  if (usercode == nullptr) return kStatusNoMemory;
  usercode->SetFieldName("Usercode_TDO");
  return AppendRow(*usercode, 64,
                   {source.ReadData(3), source.ReadData(2), source.ReadData(1), source.ReadData(0),
                    0xFF, 0xFF, 0xFF, 0xFF});
}

std::vector<std::uint8_t> LayOutBitString(const std::string& bits, std::uint64_t width) {
  std::vector<std::uint8_t> row(static_cast<std::size_t>((width + 7) / 8), 0xFF);
  const std::uint64_t pad = (width + 7) / 8 * 8 - width;
  for (std::uint64_t c = 0; c < width && c < bits.size(); ++c) {
    if (bits[static_cast<std::size_t>(c)] != '0') continue;
    const std::uint64_t index = pad + width - 1 - c;
    row[static_cast<std::size_t>(index / 8)] &= static_cast<std::uint8_t>(~(0x80u >> (index % 8)));
  }
  return row;
}

namespace {

constexpr std::size_t kCommentBytes = 100000;

int UserFlashNote(const char* path) {
  std::string name(path);  // the query may change the name's case
  return GetJEDEC_UFM(name.data());
}

bool OneOf(std::uint32_t value, std::initializer_list<std::uint32_t> values) {
  for (std::uint32_t v : values) {
    if (v == value) return true;
  }
  return false;
}

// Family set-up before reading: user-flash flags, and the fuse numbers of the families whose
// files hold one of several images.
void SetUpFamily(DeviceInfo& device, SVFPlusData& data, const char* path) {
  const char* family = device.GetFamily();
  if (IsPelmo3DFamily(family)) {
    switch (UserFlashNote(path)) {
      case 0:
        data.SetUFM0(true);
        break;
      case 1:
        data.SetUFM1(true);
        break;
      case 2:
        data.SetFlashCUFM2(true);
        break;
      case 3:
        data.SetFlashCUFM3(true);
        break;
      default:
        break;
    }
  } else if (IsOrlanD6Family(family)) {
    const std::uint32_t rows = device.GetAddressLength();
    if (!OneOf(device.GetFuseNumber(),
               {0x580000, 0x780000, 0x1080000, 0x1800000, 0xA80000, 0xE00000})) {
      device.SetFuseNumber(rows == 16822 ? 0x1080000 : rows == 10444 ? 0xE00000 : 0x580000);
    }
    const int ufm = UserFlashNote(path);
    if (ufm >= 0 && ufm <= 2) device.SetFuseNumber(rows == 16822 ? 0x780000 : 0x200000);
  } else if (IsGrendMHFamily(family)) {
    if (!OneOf(device.GetFuseNumber(), {0x5F80000, 0x6B80000})) device.SetFuseNumber(0x6B80000);
    const int ufm = UserFlashNote(path);
    if (ufm == 0 || ufm == 1) device.SetFuseNumber(0xC00000);  // the user-flash image alone
  }
}

int Security(const DeviceInfo& device, int g) {
  const char* family = device.GetFamily();
  if (IsPelmo2Family(family) || IsPelmo3DFamily(family) || IsFendra2Family(family) ||
      IsGlimraFamily(family))
    return g;
  return (g == 1 || g == 3) ? 1 : 0;
}

const char* MainFieldName(const DeviceInfo& device) {
  if (IsPelmo3DFamily(device.GetFamily()) &&
      OneOf(device.GetFuseNumber(), {0x6FF00, 0x23F80, 0x5F80}))
    return "EFuseArray_TDI";
  return "FuseArray_TDI";
}

SVFDataField* NewField(SVFPlusData& data, const char* name) {
  SVFDataField* field = data.AddDataField();
  if (field != nullptr) field->SetFieldName(name);
  return field;
}

int AddRowField(SVFPlusData& data, const char* name, std::uint64_t width,
                const std::vector<std::uint8_t>& bytes) {
  SVFDataField* field = NewField(data, name);
  return field == nullptr ? kStatusNoMemory : AppendRow(*field, width, bytes);
}

int AddPadringField(SVFPlusData& data, const DeviceInfo& device, const SVFDataField& main) {
  SVFDataField* field = NewField(data, "PadringArray_TDI");
  if (field == nullptr) return kStatusNoMemory;
  for (int i = 0; i < device.GetPadringCount(); ++i) {
    char* end = nullptr;
    const unsigned long number = std::strtoul(device.GetPadring(i), &end, 10);
    const KvByteBuffer* row =
        number < 0x7FFFFFFF ? main.GetRow(static_cast<int>(number) + 1) : nullptr;
    if (row == nullptr) continue;  // a row number outside the array
    KvByteBuffer* copy = field->AddRow(main.GetRowWidth(static_cast<int>(number) + 1));
    if (copy == nullptr) return kStatusNoMemory;
    if (!copy->AppendData(row->GetBuffer(), row->GetTotalSize())) return kStatusRowWriteFailed;
  }
  return kStatusOk;
}

int AddIdField(SVFPlusData& data, const DeviceInfo& device, int jtag) {
  const auto isp = static_cast<std::uint8_t>(device.GetispDeviceID());
  if (jtag == 0) return AddRowField(data, "ID", 8, {isp});
  if (device.GetIDLength() != 32) return AddRowField(data, "ID", device.GetIDLength(), {isp});
  const std::uint32_t id = device.GetjtagDeviceID();
  return AddRowField(data, "ID", 32,
                     {static_cast<std::uint8_t>(id >> 24), static_cast<std::uint8_t>(id >> 16),
                      static_cast<std::uint8_t>(id >> 8), static_cast<std::uint8_t>(id)});
}

std::uint64_t LogicalUsercodeBits(const DeviceInfo& device, int jtag) {
  return jtag != 0 ? device.GetjtagLogicalUESLength() : device.GetispLogicalUESLength();
}

const char* UsercodeMask(const DeviceInfo& device, int jtag) {
  return jtag != 0 ? device.GetjtagUESMask() : device.GetispUESMask();
}

// Header notes, flags and comment shared by both paths. The END-data note is looked for in the
// lines that the reader's pass marked as able to hold it, when it made that pass.
void SetHeaderAndFlags(SVFPlusData& data, const char* path, const CandidateLines* note_lines) {
  std::string name(path);
  data.SetEndDataLoc(note_lines == nullptr ? GetJEDEC_ENDDATA_NOTE(name.data())
                     : HasJedName(path)    ? EndDataAddress(path, note_lines->Starts())
                                           : 0);
  std::string header;
  CollectHeaderText(path, false, header);
  if (header.size() >= kCommentBytes) header.resize(kCommentBytes - 1);  // the comment's limit
  if (!header.empty()) data.SetComment(header.c_str());
}

#define FUSEKIT_TRY(expression)               \
  do {                                        \
    const int status_ = (expression);         \
    if (status_ != kStatusOk) return status_; \
  } while (false)

int ConvertWithReader(const char* path, DeviceInfo& device, int jtag, SVFPlusData& data) {
  // The main array is laid out straight from the linear buffer, so no fuse map is made.
  ReaderBuffers buffers = ReaderBuffers::Tight(device, false);
  const std::uint64_t logical = LogicalUsercodeBits(device, jtag);
  CandidateLines note_lines('N');
  if (buffers.Read(path, device, static_cast<int>(logical), &note_lines) != kStatusOk) {
    return kStatusOpenFailed;
  }
  SetHeaderAndFlags(data, path, &note_lines);
  data.SetSecurity(Security(device, buffers.security));

  const char* family = device.GetFamily();
  const ArrayGeometry main = MainArray(device);
  const char* main_name = MainFieldName(device);
  const bool reversed = (device.GetBitMapTransformation() & kBitMapReversedRows) != 0;
  FUSEKIT_TRY(AddLinearField(data, main_name, buffers.linear.data(), main, reversed));
  std::vector<std::uint8_t>().swap(buffers.linear);  // the side maps hold the rest
  SVFDataField* last_built = data.GetDataField(main_name);
  if (device.GetPadringCount() != 0 && !IsFendra2Family(family)) {
    FUSEKIT_TRY(AddPadringField(data, device, *last_built));
    last_built = data.GetDataField("PadringArray_TDI");
  }
  std::vector<std::uint8_t> bytes;
  if (device.GetSEDLength() != 0) {
    LayOutRow(buffers.sed_map.data(), device.GetSEDLength(), 0, bytes);
    FUSEKIT_TRY(AddRowField(data, "SEDArray_TDI", device.GetSEDLength(), bytes));
    last_built = data.GetDataField("SEDArray_TDI");
  }
  const std::uint64_t physical = device.GetPhysicalUESLength();
  FUSEKIT_TRY(
      AddRowField(data, "Usercode_TDI", physical,
                  UsercodeRow(buffers.usercode_map.data(), physical,
                              std::min<std::uint64_t>(logical, buffers.usercode_map.size() * 16),
                              UsercodeMask(device, jtag))));
  last_built = data.GetDataField("Usercode_TDI");
  if (IsDirectSPIDevice(family) == 3 && device.GetARCHLength() != 0 && buffers.e_length != 0) {
    LayOutRow(buffers.arch_map.data(), device.GetARCHLength(), 0, bytes);
    FUSEKIT_TRY(AddRowField(data, "ArchArray_TDI", device.GetARCHLength(), bytes));
    last_built = data.GetDataField("ArchArray_TDI");
  }
  // The configuration bytes come from the second row of the field built last; with the fields
  // above that field has one row, so only a device whose last field has more adds them.
  if (const KvByteBuffer* source = last_built->GetRow(2)) {
    FUSEKIT_TRY(AddConfigurationFields(data, *source));
  }
  const ArrayGeometry e_section = ESection(device);
  if (e_section.rows != 0 && data.GetDataField("EFuseArray_TDI") == nullptr) {
    FUSEKIT_TRY(AddMapField(data, "EFuseArray_TDI", buffers.e_map.data(), e_section));
  }
  return AddIdField(data, device, jtag);
}

// Grend PLD devices (vendor "Helvar"): the fuse rows go to the legacy fuse-map library as a row
// file, which gives back the read-back rows and the verify mask; the three become the TDI, TDO
// and MASK fields.
std::string BitString(const std::uint16_t* map, std::uint64_t width, std::uint64_t row) {
  std::string bits(static_cast<std::size_t>(width), '0');
  for (std::uint64_t c = 0; c < width; ++c) {
    if (WordMapFuse(map, width, row, c)) bits[static_cast<std::size_t>(c)] = '1';
  }
  return bits;
}

// The usercode of a row file as a word map, for the usercode row rules.
std::vector<std::uint16_t> WordsOf(const std::string& bits) {
  std::vector<std::uint16_t> words((bits.size() + 15) / 16 + 1, 0xFFFF);
  for (std::size_t i = 0; i < bits.size(); ++i) {
    if (bits[i] == '0') words[i / 16] &= static_cast<std::uint16_t>(~(0x8000u >> (i % 16)));
  }
  return words;
}

int AddRowFileFields(SVFPlusData& data, const legacy::RowFile& rows, const char* suffix,
                     const DeviceInfo& device, const char* usercode_mask) {
  const std::string array_name = std::string("FuseArray_") + suffix;
  SVFDataField* array = NewField(data, array_name.c_str());
  if (array == nullptr) return kStatusNoMemory;
  for (std::uint32_t a = 0; a < device.GetAddressLength(); ++a) {
    const auto it = rows.find(static_cast<int>(a));
    if (it == rows.end()) return kStatusOpenFailed;
    FUSEKIT_TRY(AppendRow(*array, device.GetDataLength(),
                          LayOutBitString(it->second, device.GetDataLength())));
  }
  const auto usercode = rows.find(legacy::kUsercodeRow);
  if (usercode == rows.end()) return kStatusOk;
  const std::string usercode_name = std::string("Usercode_") + suffix;
  const std::uint64_t physical = device.GetPhysicalUESLength();
  return AddRowField(data, usercode_name.c_str(), physical,
                     UsercodeRow(WordsOf(usercode->second).data(), physical,
                                 usercode->second.size(), usercode_mask));
}

int ConvertThroughLegacyLibrary(const char* path, DeviceInfo& device, int jtag, SVFPlusData& data,
                                const char* work_folder) {
  ReaderBuffers buffers = ReaderBuffers::Tight(device);
  const std::uint64_t logical = LogicalUsercodeBits(device, jtag);
  if (buffers.Read(path, device, static_cast<int>(logical)) != kStatusOk) return kStatusOpenFailed;

  const std::string tdi = core::PathInFolder(work_folder, "tvexData.tdi");
  const std::string tdo = core::PathInFolder(work_folder, "tvexData.tdo");
  const std::string mask = core::PathInFolder(work_folder, "tvexData.msk");
  const std::string result = core::PathInFolder(work_folder, "result.txt");
  legacy::RowFile rows;
  const ArrayGeometry main = MainArray(device);
  for (std::uint64_t a = 0; a < main.rows; ++a) {
    rows[static_cast<int>(a)] = BitString(buffers.fuse_map.data(), main.width, a);
  }
  if (logical != 0) rows[legacy::kUsercodeRow] = BitString(buffers.usercode_map.data(), logical, 0);

  legacy::RowFile programmed, read_back, verify_mask;
  const bool ok = legacy::WriteRowFile(tdi, rows) &&
                  GREND_IN(tdi.c_str(), tdo.c_str(), mask.c_str(), result.c_str(),
                           device.GetAddressLength(), device.GetDataLength()) == kGrendOk &&
                  legacy::ReadRowFile(tdi, programmed) && legacy::ReadRowFile(tdo, read_back) &&
                  legacy::ReadRowFile(mask, verify_mask);
  for (const std::string& file : {tdi, tdo, mask, result}) std::remove(file.c_str());
  if (!ok) return kStatusOpenFailed;

  SetHeaderAndFlags(data, path, nullptr);
  data.SetSecurity(Security(device, buffers.security));
  FUSEKIT_TRY(AddRowFileFields(data, programmed, "TDI", device, UsercodeMask(device, jtag)));
  FUSEKIT_TRY(AddRowFileFields(data, read_back, "TDO", device, ""));
  FUSEKIT_TRY(AddRowFileFields(data, verify_mask, "MASK", device, ""));
  return AddIdField(data, device, jtag);
}

#undef FUSEKIT_TRY

}  // namespace
}  // namespace fusekit::jedec

int JEDEC2SVFPlus(char* fileName, DeviceInfo* device, int jtag, SVFPlusData* data,
                  const char* jedecOption, const char* workDir, const char* packageName,
                  const char* installPath) {
  (void)jedecOption;
  (void)packageName;
  if (data == nullptr || device == nullptr) return fusekit::kStatusNullModel;
  if (fileName == nullptr || fileName[0] == '\0' || !fusekit::core::OpenFile(fileName, "rb")) {
    return fusekit::kStatusOpenFailed;
  }
  try {
    fusekit::devicedb::DeviceCallScope device_scope(device);
    fusekit::jedec::SetUpFamily(*device, *data, fileName);
    if (std::strcmp(device->GetVendor(), "Helvar") == 0) {
      // The legacy library's work area: the caller's work folder, else the install folder.
      const char* folder = workDir != nullptr && workDir[0] != '\0' ? workDir : installPath;
      return fusekit::jedec::ConvertThroughLegacyLibrary(fileName, *device, jtag, *data, folder);
    }
    return fusekit::jedec::ConvertWithReader(fileName, *device, jtag, *data);
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  } catch (const std::length_error&) {
    return fusekit::kStatusNoMemory;
  }
}
