// Array geometry of a device in its JEDEC fuse list.
#include "jedec/geometry.h"

#include <charconv>
#include <cstring>

#include "fusekit/family.h"
#include "jedec/jedec_format.h"

namespace fusekit::jedec {

bool HasWide128Rows(const char* family) {
  return IsPelmo2Family(family) || IsPelmo3DFamily(family) || IsGlimraFamily(family) ||
         IsFendra2Family(family);
}

bool HasWide2048Rows(const char* family) {
  return IsOrlanD6Family(family) || IsGrendMHFamily(family);
}

std::uint64_t FirstPadringRow(const DeviceInfo& device) {
  if (device.GetPadringCount() == 0) return 0;
  const char* text = device.GetPadring(0);
  std::uint64_t value = 0;
  const char* end = text + std::strlen(text);
  const auto [ptr, ec] = std::from_chars(text, end, value);
  return (ec == std::errc() && ptr == end) ? value : 0;
}

std::uint64_t PadringSectionFuses(const DeviceInfo& device) {
  return IsFendra2Family(device.GetFamily()) ? FirstPadringRow(device) : 0;
}

namespace {

// (total - taken) / width rows of width bits; no rows when taken exceeds the total.
ArrayGeometry RowsOf(std::uint64_t total, std::uint64_t taken, std::uint64_t width) {
  if (taken > total) return {0, width};
  return {(total - taken) / width, width};
}

}  // namespace

ArrayGeometry MainArray(const DeviceInfo& device) {
  const char* family = device.GetFamily();
  const std::uint64_t fuses = device.GetFuseNumber();
  const std::uint64_t e_length = device.GetELength();
  if (IsFendra2Family(family)) return RowsOf(fuses, FirstPadringRow(device) + e_length, 128);
  if (HasWide128Rows(family)) return RowsOf(fuses, e_length, 128);
  if (HasWide2048Rows(family)) return RowsOf(fuses, e_length, 2048);
  std::uint64_t rows = device.GetAddressLength();
  if ((device.GetBitMapTransformation() & kBitMapDoubledRows) != 0) rows *= 2;
  return {rows, device.GetDataLength()};
}

ArrayGeometry ESection(const DeviceInfo& device) {
  const char* family = device.GetFamily();
  const std::uint64_t e_length = device.GetELength();
  if (e_length == 0 || device.GetERow() == 0) return {};
  if (HasWide128Rows(family)) return {e_length / 128, 128};
  if (HasWide2048Rows(family)) return {e_length / 2048, 2048};
  return {device.GetERow(), e_length};
}

bool Is22V10(const DeviceInfo& device) {
  return std::strcmp(device.GetCodeName(), kCode22V10) == 0 ||
         std::strcmp(device.GetCodeName(), kCode22LV10) == 0;
}

bool IsSarn(const DeviceInfo& device) {
  for (const char* name : kSarnCodeNames) {
    if (std::strcmp(device.GetCodeName(), name) == 0) return true;
  }
  return false;
}

}  // namespace fusekit::jedec
