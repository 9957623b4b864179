// SVFPlus2ISC: programming data written as an ISC data file.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "core/file_io.h"
#include "core/status.h"
#include "crc/block_crc.h"
#include "fusekit/isc.h"
#include "fusekit/util.h"
#include "isc/isc_format.h"
#include "support/util/crc_engine.h"
#include "support/util/hex_digits.h"
#include "support/util/side_task.h"

namespace fusekit::isc {
namespace {

// The file being written, through a buffer, with its CRC-16 kept up to date: every character
// but carriage returns is fed, up to the first byte 0xFF, which ends the checksum (a reader that
// reads the file back takes 0xFF for its end). A full buffer is checksummed and written by a
// worker thread while the next one is filled: for a large file the two take as long as making
// the text.
class IscOutput {
 public:
  explicit IscOutput(std::FILE* file)
      : file_(file),
        text_(new char[kFlushBytes]),
        capacity_(kFlushBytes),
        pending_(new char[kFlushBytes]),
        pending_capacity_(kFlushBytes) {}
  IscOutput(const IscOutput&) = delete;
  IscOutput& operator=(const IscOutput&) = delete;

  void Put(std::string_view text) {
    std::memcpy(Extend(text.size()), text.data(), text.size());
    size_ += text.size();
    if (size_ >= kFlushBytes) Flush();
  }
  void Put(char c) { Put(std::string_view(&c, 1)); }
  // Room for at most count characters at the end of the text, to be filled and then closed
  // with Commit at the end of what was written.
  char* Extend(std::size_t count) {
    if (capacity_ - size_ < count) {
      Flush();
      if (capacity_ < count) {
        text_.reset(new char[count]);
        capacity_ = count;
      }
    }
    return text_.get() + size_;
  }
  void Commit(const char* end) {
    size_ = static_cast<std::size_t>(end - text_.get());
    if (size_ >= kFlushBytes) Flush();
  }
  void Printf(const char* format, ...)
#if defined(__GNUC__)
      __attribute__((format(printf, 2, 3)))
#endif
  {
    char line[512];
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    if (length > 0) Put(std::string_view(line, std::min<std::size_t>(length, sizeof line - 1)));
  }

  // Writes out what is buffered and returns the checksum of everything written so far.
  std::uint16_t Checksum() {
    Flush();
    worker_.Wait();
    return crc_;
  }

  // Text after the checksum (its own four digits): written, not fed.
  void PutUnchecked(std::string_view text) {
    Flush();
    worker_.Wait();
    std::fwrite(text.data(), 1, text.size(), file_);
  }

 private:
  // Hands the buffered text to the worker, once it is done with the text before, and takes
  // the buffer it has finished with.
  void Flush() {
    if (size_ == 0) return;
    worker_.Wait();
    std::swap(text_, pending_);
    std::swap(capacity_, pending_capacity_);
    const std::size_t count = size_;
    size_ = 0;
    worker_.Post([this, count] {
      Feed(reinterpret_cast<const std::uint8_t*>(pending_.get()), count);
      std::fwrite(pending_.get(), 1, count, file_);
    });
  }

  void Feed(const std::uint8_t* p, std::size_t count) {
    const std::uint8_t* const end = p + count;
    while (!ended_ && p != end) {
      const auto* cr =
          static_cast<const std::uint8_t*>(std::memchr(p, '\r', static_cast<std::size_t>(end - p)));
      if (cr == nullptr) cr = end;
      const auto* stop =
          static_cast<const std::uint8_t*>(std::memchr(p, 0xFF, static_cast<std::size_t>(cr - p)));
      if (stop != nullptr) ended_ = true;
      if (stop == nullptr) stop = cr;
      crc_ = crc_engine::Ccitt16::Update(crc_, p, static_cast<std::size_t>(stop - p));
      p = stop == end ? end : stop + 1;
    }
  }

  static constexpr std::size_t kFlushBytes = 1 << 20;
  std::FILE* file_;
  std::unique_ptr<char[]> text_;  // being filled
  std::size_t size_ = 0;
  std::size_t capacity_;
  std::unique_ptr<char[]> pending_;  // the worker's: checksummed and written, or done with
  std::size_t pending_capacity_;
  // The worker's while it runs; read by the caller only after waiting for it.
  std::uint16_t crc_ = crc_engine::kCcittInitial;
  bool ended_ = false;         // a byte 0xFF was met: nothing more is fed
  util::SerialWorker worker_;  // last, so that it stops before the buffers go
};

// Which blocks a file carries: those of the main writer, those and every section's, or one
// section's.
enum class BlockSet { kMain, kMainAndSections, kOneSection };

const BlockForm* FindForm(const char* field_name, BlockSet blocks, Section section) {
  if (blocks != BlockSet::kOneSection) {
    for (const BlockForm& form : kBlockForms) {
      if (form.field == field_name) return &form;
    }
    if (blocks == BlockSet::kMain) return nullptr;
  }
  for (const SectionForm& entry : kSectionForms) {
    if (entry.form.field == field_name &&
        (blocks == BlockSet::kMainAndSections || entry.section == section))
      return &entry.form;
  }
  return nullptr;
}

std::string CreationDate() {
  const std::time_t now = std::time(nullptr);
  const std::tm* local = std::localtime(&now);
  char text[32] = "00000000.0000";
  if (local != nullptr) {
    std::snprintf(text, sizeof text, "%.4d%.2d%.2d.%.2d%.2d", local->tm_year + 1900,
                  local->tm_mon + 1, local->tm_mday, local->tm_hour, local->tm_min);
  }
  return text;
}

// The keyword line and the size comment of a block part.
void WritePartHead(IscOutput& out, const char* keyword, unsigned width, int rows) {
  out.Printf("  %s\n-- ROW_WIDTH = %d\n-- COLUMN_WIDTH = %d\n", keyword, static_cast<int>(width),
             rows);
}

// Writes a row as hex text: byte 0 holds the W mod 8 leading bits of a row W bits wide, so it is
// cut to those bits and printed with one digit when they are 1 to 4, two otherwise; the other
// bytes are printed two upper-case digits each, 35 to a line.
void WriteRowText(IscOutput& out, const KvByteBuffer& row, unsigned width) {
  const std::size_t size = static_cast<std::size_t>(std::max(row.GetDataSize(), 0));
  const unsigned char* bytes = row.GetBuffer();
  const std::size_t most = 5 + 2 + 2 * size + 6 * (size / kRowBytesPerLine);
  char* p = out.Extend(most);
  std::memcpy(p, "     ", 5);
  p += 5;
  const unsigned lead_bits = width % 8;
  unsigned char first = size > 0 && bytes != nullptr ? bytes[0] : 0;  // an empty row prints 0
  if (lead_bits != 0) first = static_cast<unsigned char>(first & ((1u << lead_bits) - 1));
  static constexpr char kDigits[] = "0123456789ABCDEF";  // as util_Hex2HexAnsi gives them
  if (lead_bits == 0 || lead_bits >= 5) *p++ = kDigits[first >> 4];
  *p++ = kDigits[first & 0xF];
  // Byte i ends a line when i % 35 == 34: the first line holds bytes 0 to 34.
  for (std::size_t i = 1; i < size;) {
    const std::size_t line_end = std::min(size, (i / kRowBytesPerLine + 1) * kRowBytesPerLine);
    p = hex::EncodePairs(bytes + i, line_end - i, p);
    i = line_end;
    if (i % kRowBytesPerLine == 0) {
      std::memcpy(p, "\n     ", 6);
      p += 6;
    }
  }
  out.Commit(p);
}

// Every row of the field from its row pointer, each fed to the block CRC by its width.
void WriteRows(IscOutput& out, SVFDataField& field, crc_engine::DataCrc32Batch& crc) {
  const int count = field.GetRowCount();
  for (int r = 0; r < count; ++r) {
    const unsigned width = field.GetCurrentRowWidth();
    const KvByteBuffer* row = field.GetCurrentRow();
    if (row != nullptr) {
      crc.AddRow(row->GetBuffer(), row->GetTotalSize(), width);
      WriteRowText(out, *row, width);
    }
    out.Put(r == count - 1 ? "\n   )\n" : ",\n");
  }
}

struct WriterOptions {
  const char* prefix;
  const char* entity;
  bool usercode_from_crc;
  bool unprocessed;
  bool second_form;  // the overload with forceSecurity: "Entity \t"
  bool force_security;
  const char* creator;
  BlockSet blocks = BlockSet::kMain;
  Section section = Section::kSecurity;  // the section of BlockSet::kOneSection
};

void WriteBlock(IscOutput& out, SVFPlusData& data, SVFDataField& field, const BlockForm& form,
                const WriterOptions& options, std::string& saved_crc) {
  crc_engine::DataCrc32Batch crc;  // the block CRC register starts at 0 for every block
  out.Printf(options.unprocessed ? " unprocessed data %s (\n" : " data %s (\n",
             std::string(form.block).c_str());
  const bool usercode = form.block == "usercode" || form.block == "usercode_tdo";
  if (usercode && options.usercode_from_crc) {
    // The usercode carries the data CRC of the last array block instead of its rows.
    WritePartHead(out, "initialize  ", 32, 1);
    out.Put("   (\n");
    out.Printf("   %s\n  )\n", saved_crc.c_str());
  } else {
    WritePartHead(out, form.keyword == BlockKeyword::kRepeat ? "repeat    " : "initialize  ",
                  field.GetCurrentRowWidth(), field.GetRowCount());
    out.Put("   (\n");
    WriteRows(out, field, crc);
    if (!form.terminate.empty()) {
      SVFDataField* terminate = data.GetDataField(std::string(form.terminate).c_str());
      if (terminate == nullptr && !form.terminate_fallback.empty()) {
        terminate = data.GetDataField(std::string(form.terminate_fallback).c_str());
      }
      // The terminate field is read from its row pointer as it stands: a field already written
      // as a block of its own before this one has no rows left to give.
      if (terminate != nullptr) {
        if (terminate->GetCurrentRowWidth() != 0 && terminate->GetRowCount() != 0) {
          WritePartHead(out, "terminate    ", terminate->GetCurrentRowWidth(),
                        terminate->GetRowCount());
          out.Put("   (\n");
          WriteRows(out, *terminate, crc);
        }
      }
    }
    if (form.writes_data_crc) out.Printf("  data_CRC (\n   %.8X\n  )\n", crc.Value());
    if (form.block == "array" || form.block == "array_tdo") {
      char text[16];
      std::snprintf(text, sizeof text, "%.8X", crc.Value());
      saved_crc = text;
    }
  }
  crc::BlockCrcRegister() = crc.Value();
  out.Put(" )");
}

int WriteIsc(SVFPlusData* data, const char* file_name, const WriterOptions& options) {
  if (data == nullptr) return kStatusNoMemory;
  core::UniqueFile file = core::OpenFile(file_name, "wb");
  if (!file) return kStatusCannotOpenFile;
  IscOutput out(file.get());
  if (options.prefix != nullptr) out.Put(options.prefix);
  out.Printf(
      "IEEE_1532_Data (\n\tHeader\t\t(\tSTD_Version STD_1532_2001\n\t\t\t\tCreation_Date %s\n"
      "\t\t\t\tCreator  \"%s\"\n\t\t\t\tEntity%s%s\n\t\t\t)\n",
      CreationDate().c_str(), options.creator != nullptr ? options.creator : "",
      options.second_form ? " \t" : "\t", options.entity != nullptr ? options.entity : "");
  if (data->GetSecurity() != 0 || options.force_security) {
    out.Put("\toverride proc_program_security program ON\n");
  }
  if (data->GetEncrypted()) out.Put("\t-- override encryption ON\n");

  std::string saved_crc;
  bool written = false;  // a block has been written
  const int count = data->GetDataFieldCount();
  // Every field starts at its first row, whatever a data CRC or a host's walk did to its row
  // pointer before the call: a terminate part must find its rows.
  for (int i = 0; i < count; ++i) {
    if (SVFDataField* field = data->GetDataField(i)) field->ResetRowPointer();
  }
  for (int i = 0; i < count; ++i) {
    SVFDataField* field = data->GetDataField(i);
    if (field == nullptr) continue;
    field->ResetRowPointer();
    const BlockForm* form = FindForm(field->GetFieldName(), options.blocks, options.section);
    if (form == nullptr) continue;
    // "array_tdo" is preceded by the separator even as the first field, as hosts expect. A
    // section file has separators between its blocks only.
    const bool separated =
        options.blocks == BlockSet::kOneSection ? written : i != 0 || form->block == "array_tdo";
    if (separated) out.Put(",\n");
    written = true;
    WriteBlock(out, *data, *field, *form, options, saved_crc);
  }
  out.Put("\n)\n");
  const std::uint16_t checksum = out.Checksum();
  char digits[8];
  std::snprintf(digits, sizeof digits, "%.4X", checksum);
  out.PutUnchecked(digits);
  // The worker has written everything (PutUnchecked waits for it): a short write anywhere shows
  // in the stream's error flag.
  if (!core::FinishWriting(file)) return kStatusWriteFailed;
  return checksum;
}

int WriteIscGuarded(SVFPlusData* data, const char* file_name, const WriterOptions& options) {
  try {
    return WriteIsc(data, file_name, options);
  } catch (const std::bad_alloc&) {
    return kStatusNoMemory;
  }
}

}  // namespace
}  // namespace fusekit::isc

int SVFPlus2ISC(SVFPlusData* data, const char* prefixText, const char* fileName, const char* entity,
                int usercodeFromCRC, int unprocessed, const char* creator) {
  return fusekit::isc::WriteIscGuarded(
      data, fileName,
      {prefixText, entity, usercodeFromCRC != 0, unprocessed != 0, false, false, creator});
}

int SVFPlus2ISC(SVFPlusData* data, const char* prefixText, const char* fileName, const char* entity,
                int usercodeFromCRC, int unprocessed, int forceSecurity, const char* creator) {
  return fusekit::isc::WriteIscGuarded(data, fileName,
                                       {prefixText, entity, usercodeFromCRC != 0, unprocessed != 0,
                                        true, forceSecurity != 0, creator});
}

namespace {

using fusekit::isc::BlockSet;
using fusekit::isc::Section;

bool HoldsSection(SVFPlusData& data, Section section) {
  for (const fusekit::isc::SectionForm& entry : fusekit::isc::kSectionForms) {
    if (entry.section == section && data.GetDataField(std::string(entry.form.field).c_str()))
      return true;
  }
  return false;
}

int WriteSection(SVFPlusData* data, const char* prefix, const char* file_name, const char* entity,
                 const char* creator, Section section) {
  if (data == nullptr || !HoldsSection(*data, section)) return fusekit::kStatusNoMemory;
  fusekit::isc::WriterOptions options{prefix, entity, false, false, true, false, creator};
  options.blocks = BlockSet::kOneSection;
  options.section = section;
  return fusekit::isc::WriteIscGuarded(data, file_name, options);
}

}  // namespace

int ISCWriteSecurityInfo(SVFPlusData* data, const char* prefixText, const char* fileName,
                         const char* entity, const char* creator) {
  if (data == nullptr) return fusekit::kStatusNoMemory;
  // The setting alone: no block, the override line when the data is secured.
  SVFPlusData setting;
  setting.SetEncrypted(data->GetEncrypted());
  return SVFPlus2ISC(&setting, prefixText, fileName, entity, 0, 0, data->GetSecurity() != 0,
                     creator);
}

int ISCWriteControlInfo(SVFPlusData* data, const char* prefixText, const char* fileName,
                        const char* entity, const char* creator) {
  return WriteSection(data, prefixText, fileName, entity, creator, Section::kControl);
}

int ISCWriteSEDInfo(SVFPlusData* data, const char* prefixText, const char* fileName,
                    const char* entity, const char* creator) {
  return WriteSection(data, prefixText, fileName, entity, creator, Section::kSed);
}

int ISCWriteUFMInfo(SVFPlusData* data, const char* prefixText, const char* fileName,
                    const char* entity, const char* creator) {
  return WriteSection(data, prefixText, fileName, entity, creator, Section::kUfm);
}

int ISCWriteEBRInfo(SVFPlusData* data, const char* prefixText, const char* fileName,
                    const char* entity, const char* creator) {
  return WriteSection(data, prefixText, fileName, entity, creator, Section::kEbr);
}

int ISCWriteFeatureInfo(SVFPlusData* data, const char* prefixText, const char* fileName,
                        const char* entity, const char* creator) {
  return WriteSection(data, prefixText, fileName, entity, creator, Section::kFeature);
}

int ISCWriteAllInfo(SVFPlusData* data, const char* prefixText, const char* fileName,
                    const char* entity, int usercodeFromCRC, const char* creator) {
  fusekit::isc::WriterOptions options{prefixText, entity, usercodeFromCRC != 0, false, true,
                                      false,      creator};
  options.blocks = BlockSet::kMainAndSections;
  return fusekit::isc::WriteIscGuarded(data, fileName, options);
}
