// Feature-row files: the notes, the feature row and the feature bits as text, read into
// programming data and written from it.
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "core/file_io.h"
#include "fields/text_lines.h"
#include "fusekit/fields.h"
#include "fusekit/status.h"

namespace fusekit::fields {
namespace {

constexpr int kCannotOpen = -2;
constexpr int kNullData = -3;
constexpr int kOtherDevice = -12;
constexpr int kSyntax = -13;
constexpr int kNoFeatureRow = -18;

constexpr char kRowKeyword[] = "FEATURE_ROW";
constexpr char kBitsKeyword[] = "FEATURE_BITS";
constexpr char kRowField[] = "FeatureRow_TDI";
constexpr char kBitsField[] = "FeatureBits_TDI";

struct FeatureFile {
  std::vector<std::string> notes;  // each note line as it stands
  std::string row;                 // the bits after FEATURE_ROW
  std::string bits;                // the bits after FEATURE_BITS
  bool has_row = false;
  bool has_bits = false;
};

bool IsNote(std::string_view line) {
  return Trimmed(line).substr(0, 2) == "--";
}

// Reads the text of a feature-row file; 0 or kSyntax.
int Parse(std::string_view text, FeatureFile& file) {
  std::string* value = nullptr;  // the bits of the keyword read last
  int status = 0;
  ForEachLine(text, [&](unsigned long, std::string_view line) {
    const std::string_view content = Trimmed(line);
    if (content.empty()) return true;
    if (IsNote(content)) {
      if (value == nullptr) file.notes.emplace_back(line);
      return true;  // after the first keyword a note is a comment
    }
    for (const auto& [keyword, seen, bits] :
         {std::tuple{kRowKeyword, &file.has_row, &file.row},
          std::tuple{kBitsKeyword, &file.has_bits, &file.bits}}) {
      if (!SameWithoutCase(content, keyword)) continue;
      if (*seen) {
        status = kSyntax;  // a keyword given twice
        return false;
      }
      *seen = true;
      value = bits;
      return true;
    }
    if (value == nullptr) {
      status = kSyntax;  // bits before any keyword, or a line of another kind
      return false;
    }
    for (const char c : content) {
      if (c == '0' || c == '1') {
        value->push_back(c);
      } else if (c != ' ' && c != '\t') {
        status = kSyntax;
        return false;
      }
    }
    return true;
  });
  if (status != 0) return status;
  if (!file.has_row || file.row.empty() || (file.has_bits && file.bits.empty())) return kSyntax;
  return 0;
}

// The device a note names ("-- DEVICE NAME: name"), or "" for none.
std::string_view NamedDevice(const std::vector<std::string>& notes) {
  static constexpr std::string_view kKey = "DEVICE NAME:";
  for (const std::string& note : notes) {
    std::string_view text = Trimmed(note);
    text.remove_prefix(text.find_first_not_of('-') == std::string_view::npos
                           ? text.size()
                           : text.find_first_not_of('-'));
    text = Trimmed(text);
    if (text.size() >= kKey.size() && SameWithoutCase(text.substr(0, kKey.size()), kKey)) {
      const std::string_view name = Trimmed(text.substr(kKey.size()));
      return name.substr(0, name.find_first_of(" \t"));
    }
  }
  return {};
}

int ReadFeatureFile(const char* file_name, FeatureFile& file) {
  const core::MappedFile mapped(file_name);
  if (!mapped.Ready()) return kCannotOpen;
  return Parse(mapped.Text(), file);
}

int Read(const char* file_name, DeviceInfo* device, SVFPlusData& data) {
  FeatureFile file;
  if (const int status = ReadFeatureFile(file_name, file); status != 0) return status;
  const std::string_view named = NamedDevice(file.notes);
  if (device != nullptr && !named.empty() && !SameWithoutCase(named, device->GetName()))
    return kOtherDevice;
  if (!StoreBitRow(data, kRowField, file.row)) return kStatusRowWriteFailed;
  if (file.has_bits && !StoreBitRow(data, kBitsField, file.bits)) return kStatusRowWriteFailed;
  std::string comment;
  for (const std::string& note : file.notes) comment += note + "\n";
  data.SetComment(comment.c_str());
  return 0;
}

// The bits of a field's first row, "" when it has none.
std::string FieldBits(SVFPlusData& data, const char* name) {
  SVFDataField* field = data.GetDataField(name);
  if (field == nullptr) return {};
  field->ResetRowPointer();
  const unsigned int width = field->GetCurrentRowWidth();
  const KvByteBuffer* row = field->GetRow(1);
  return row != nullptr ? BitsOfRow(*row, width) : std::string();
}

int Write(SVFPlusData& data, DeviceInfo* device, const char* file_name) {
  if (data.GetDataField(kRowField) == nullptr) return kNoFeatureRow;
  std::string text;
  const char* comment = data.GetComment();
  ForEachLine(comment != nullptr ? comment : "", [&](unsigned long, std::string_view line) {
    if (IsNote(line)) text.append(line).push_back('\n');
    return true;
  });
  if (text.empty() && device != nullptr) {
    text = std::string("-- DEVICE NAME: ") + device->GetName() + "\n";
  }
  text += std::string(kRowKeyword) + "\n" + FieldBits(data, kRowField) + "\n";
  if (data.GetDataField(kBitsField) != nullptr)
    text += std::string(kBitsKeyword) + "\n" + FieldBits(data, kBitsField) + "\n";
  core::UniqueFile out = core::OpenFile(file_name, "wb");
  if (!out) return kStatusCannotOpenFile;
  std::fwrite(text.data(), 1, text.size(), out.get());
  return core::FinishWriting(out) ? 0 : kStatusWriteFailed;
}

}  // namespace
}  // namespace fusekit::fields

int FEA2SVFPlus(char* fileName, DeviceInfo* device, SVFPlusData* data) {
  if (data == nullptr) return fusekit::fields::kNullData;
  try {
    return fusekit::fields::Read(fileName, device, *data);
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusRowWriteFailed;
  }
}

int SVFPlus2FEA(SVFPlusData* data, DeviceInfo* device, const char* fileName) {
  if (data == nullptr) return fusekit::fields::kNullData;
  try {
    return fusekit::fields::Write(*data, device, fileName);
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  }
}

int ParseFEAHeader(char* out, const char* fileName, int commentPrefix, int outSize) {
  if (out == nullptr || outSize < 1) return fusekit::kStatusNullArgument;
  out[0] = '\0';
  try {
    fusekit::fields::FeatureFile file;
    const int status = fusekit::fields::ReadFeatureFile(fileName, file);
    if (status == fusekit::fields::kCannotOpen) return status;
    std::string text;
    for (const std::string& note : file.notes) {
      std::string_view line = fusekit::fields::Trimmed(note);
      if (commentPrefix == 0) {
        line.remove_prefix(2);
        if (!line.empty() && line.front() == ' ') line.remove_prefix(1);
      }
      text.append(line).push_back('\n');
    }
    const std::size_t kept = std::min(text.size(), static_cast<std::size_t>(outSize) - 1);
    std::memcpy(out, text.data(), kept);
    out[kept] = '\0';
    return static_cast<int>(file.notes.size());
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  }
}
