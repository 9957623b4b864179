// SVFPlusDataCompare: programming data of one device compared field by field, row by row and
// bit by bit, whatever files it was read from (docs/compare.md).
#include <new>
#include <string>

#include "core/diff_report.h"
#include "core/status.h"
#include "fusekit/progdata.h"

namespace fusekit::progdata {
namespace {

constexpr int kCannotCompare = -2;

// "FuseArray_TDI" gives "FuseArray"; a name without a suffix stays as it is.
std::string ArrayOf(const std::string& name) {
  const std::size_t underscore = name.rfind('_');
  return underscore == std::string::npos ? name : name.substr(0, underscore);
}

bool IsMaskField(const std::string& name) {
  return name.size() > 5 && name.compare(name.size() - 5, 5, "_MASK") == 0;
}

// Why the fields of the two cannot be compared row by row, or "".
std::string WhyNotComparable(const SVFPlusData& read, const SVFPlusData& reference) {
  for (int f = 0; f < reference.GetDataFieldCount(); ++f) {
    const SVFDataField& field = *reference.GetDataField(f);
    const SVFDataField* twin = read.GetDataField(field.GetFieldName());
    if (twin == nullptr) continue;
    const std::string name = field.GetFieldName();
    if (twin->GetRowCount() != field.GetRowCount())
      return name + " has " + std::to_string(twin->GetRowCount()) + " rows in the read data and " +
             std::to_string(field.GetRowCount()) + " in the reference";
    for (int r = 1; r <= field.GetRowCount(); ++r) {
      if (twin->GetRowWidth(r) != field.GetRowWidth(r))
        return name + " row " + std::to_string(r) + " has " + std::to_string(twin->GetRowWidth(r)) +
               " bits in the read data and " + std::to_string(field.GetRowWidth(r)) +
               " in the reference";
    }
  }
  return "";
}

// The rows of the mask of a field's array, of the field's shape, or null.
const SVFDataField* MaskOf(const SVFPlusData& read, const SVFPlusData& reference,
                           const SVFDataField& field) {
  const std::string mask_name = ArrayOf(field.GetFieldName()) + "_MASK";
  for (const SVFPlusData* data : {&reference, &read}) {
    const SVFDataField* mask = data->GetDataField(mask_name.c_str());
    if (mask != nullptr && mask->GetRowCount() == field.GetRowCount()) return mask;
  }
  return nullptr;
}

// A row's bytes, at least as many as its width needs (short rows read as zeros past the end).
const unsigned char* WholeRow(const KvByteBuffer* row, unsigned width, std::string& copy) {
  const std::size_t bytes = (width + 7) / 8;
  if (row != nullptr && static_cast<std::size_t>(row->GetDataSize()) >= bytes)
    return row->GetBuffer();
  copy.assign(bytes, '\0');
  for (int i = 0; row != nullptr && i < row->GetDataSize(); ++i)
    copy[static_cast<std::size_t>(i)] = static_cast<char>(row->ReadData(i));
  return reinterpret_cast<const unsigned char*>(copy.data());
}

void CompareField(const SVFDataField& read, const SVFDataField& reference, const SVFDataField* mask,
                  core::DiffReport& report) {
  report.Block(std::string(reference.GetFieldName()) + ": " +
               std::to_string(reference.GetRowCount()) + " rows");
  std::string a_copy, b_copy, m_copy;
  for (int r = 1; r <= reference.GetRowCount(); ++r) {
    const unsigned width = reference.GetRowWidth(r);
    const bool masked = mask != nullptr && mask->GetRowWidth(r) == width;
    report.CompareRow("row " + std::to_string(r), WholeRow(read.GetRow(r), width, a_copy),
                      WholeRow(reference.GetRow(r), width, b_copy),
                      masked ? WholeRow(mask->GetRow(r), width, m_copy) : nullptr, width,
                      core::BitOrder::kRowLayout);
  }
}

int Compare(const SVFPlusData& read, const SVFPlusData& reference, const char* report_path) {
  core::DiffReport report;
  report.Line("programming data compare");
  int result = 0;
  const std::string why = WhyNotComparable(read, reference);
  if (!why.empty()) {
    report.Line("not compared: " + why);
    result = kCannotCompare;
  } else {
    if (read.GetSecurity() != reference.GetSecurity()) {
      report.Line("security: read " + std::to_string(read.GetSecurity()) + ", reference " +
                  std::to_string(reference.GetSecurity()));
      report.Count(1);
    }
    for (int f = 0; f < reference.GetDataFieldCount(); ++f) {
      const SVFDataField& field = *reference.GetDataField(f);
      const std::string name = field.GetFieldName();
      if (name == "ID") continue;  // made from the device record, not read from a file
      const SVFDataField* twin = read.GetDataField(name.c_str());
      if (twin == nullptr) {
        report.Line(name + ": only in the reference (not compared)");
        continue;
      }
      CompareField(*twin, field, IsMaskField(name) ? nullptr : MaskOf(read, reference, field),
                   report);
    }
    for (int f = 0; f < read.GetDataFieldCount(); ++f) {
      const std::string name = read.GetDataField(f)->GetFieldName();
      if (name != "ID" && reference.GetDataField(name.c_str()) == nullptr)
        report.Line(name + ": only in the read data (not compared)");
    }
    result = core::CountAsResult(report.Differences());
  }
  if (!report.WriteTo(report_path)) return kStatusWriteFailed;
  return result;
}

}  // namespace
}  // namespace fusekit::progdata

int SVFPlusDataCompare(SVFPlusData* read, SVFPlusData* reference, const char* reportFile) {
  if (read == nullptr || reference == nullptr || reportFile == nullptr || reportFile[0] == '\0')
    return fusekit::kStatusNullArgument;
  try {
    return fusekit::progdata::Compare(*read, *reference, reportFile);
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  }
}
