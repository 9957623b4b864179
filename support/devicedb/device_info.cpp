// DeviceInfo: the device record, with the backup of the temporary geometry changes.
#include "fusekit/devicedb.h"
#include "support/devicedb/text_field.h"

using fusekit::devicedb::AssignText;

DeviceInfo::DeviceInfo() : backup_pending_(false) {}
DeviceInfo::~DeviceInfo() = default;
DeviceInfo::DeviceInfo(const DeviceInfo&) = default;
DeviceInfo& DeviceInfo::operator=(const DeviceInfo&) = default;

const char* DeviceInfo::GetName() const {
  return name_.c_str();
}
const char* DeviceInfo::GetFamily() const {
  return family_.c_str();
}
const char* DeviceInfo::GetCodeName() const {
  return code_name_.c_str();
}
const char* DeviceInfo::GetVendor() const {
  return vendor_.c_str();
}
const char* DeviceInfo::GetPON() const {
  return pon_.c_str();
}
void DeviceInfo::SetName(const char* text) {
  AssignText(name_, text);
}
void DeviceInfo::SetFamily(const char* text) {
  AssignText(family_, text);
}
void DeviceInfo::SetCodeName(const char* text) {
  AssignText(code_name_, text);
}
void DeviceInfo::SetVendor(const char* text) {
  AssignText(vendor_, text);
}

const char* DeviceInfo::GetBitstreamCommands() const {
  return bitstream_commands_.c_str();
}

void DeviceInfo::SetBitstreamCommands(const char* text) {
  AssignText(bitstream_commands_, text);
}
void DeviceInfo::SetPON(const char* text) {
  AssignText(pon_, text);
}

unsigned int DeviceInfo::GetAddressLength() const {
  return geometry_.address_length;
}
unsigned int DeviceInfo::GetDataLength() const {
  return geometry_.data_length;
}
unsigned int DeviceInfo::GetFuseNumber() const {
  return geometry_.fuse_number;
}
unsigned int DeviceInfo::GetARCHLength() const {
  return geometry_.arch_length;
}

void DeviceInfo::RememberGeometry() {
  if (backup_pending_) return;
  backup_ = geometry_;
  backup_pending_ = true;
}

void DeviceInfo::SetAddressLength(unsigned int value) {
  RememberGeometry();
  geometry_.address_length = value;
}

void DeviceInfo::SetDataLength(unsigned int value) {
  RememberGeometry();
  geometry_.data_length = value;
}

void DeviceInfo::SetFuseNumber(unsigned int value) {
  RememberGeometry();
  geometry_.fuse_number = value;
}

void DeviceInfo::SetARCHLength(unsigned int value) {
  RememberGeometry();
  geometry_.arch_length = value;
}

void DeviceInfo::SaveDeviceBackupValue() {
  backup_ = geometry_;
  backup_pending_ = false;
}

void DeviceInfo::RestoreDeviceBackupValue() {
  if (!backup_pending_) return;
  geometry_ = backup_;
  backup_pending_ = false;
}

unsigned short DeviceInfo::GetARCHRow() const {
  return arch_row_;
}
unsigned int DeviceInfo::GetELength() const {
  return e_length_;
}
unsigned short DeviceInfo::GetERow() const {
  return e_row_;
}
unsigned short DeviceInfo::GetIDLength() const {
  return id_length_;
}
unsigned int DeviceInfo::GetjtagDeviceID() const {
  return jtag_device_id_;
}
unsigned int DeviceInfo::GetispDeviceID() const {
  return isp_device_id_;
}
unsigned int DeviceInfo::GetPhysicalUESLength() const {
  return physical_ues_length_;
}
unsigned int DeviceInfo::GetjtagLogicalUESLength() const {
  return jtag_logical_ues_length_;
}
unsigned int DeviceInfo::GetispLogicalUESLength() const {
  return isp_logical_ues_length_;
}
const char* DeviceInfo::GetjtagUESMask() const {
  return jtag_ues_mask_.c_str();
}
const char* DeviceInfo::GetispUESMask() const {
  return isp_ues_mask_.c_str();
}
unsigned short DeviceInfo::GetSEDLength() const {
  return sed_length_;
}
unsigned short DeviceInfo::GetBitMapTransformation() const {
  return bit_map_transformation_;
}
void DeviceInfo::SetARCHRow(unsigned short value) {
  arch_row_ = value;
}
void DeviceInfo::SetELength(unsigned int value) {
  e_length_ = value;
}
void DeviceInfo::SetERow(unsigned short value) {
  e_row_ = value;
}
void DeviceInfo::SetIDLength(unsigned short value) {
  id_length_ = value;
}
void DeviceInfo::SetjtagDeviceID(unsigned int value) {
  jtag_device_id_ = value;
}
void DeviceInfo::SetispDeviceID(unsigned int value) {
  isp_device_id_ = value;
}
void DeviceInfo::SetPhysicalUESLength(unsigned int value) {
  physical_ues_length_ = value;
}
void DeviceInfo::SetjtagLogicalUESLength(unsigned int value) {
  jtag_logical_ues_length_ = value;
}
void DeviceInfo::SetispLogicalUESLength(unsigned int value) {
  isp_logical_ues_length_ = value;
}
void DeviceInfo::SetjtagUESMask(const char* text) {
  AssignText(jtag_ues_mask_, text);
}
void DeviceInfo::SetispUESMask(const char* text) {
  AssignText(isp_ues_mask_, text);
}
void DeviceInfo::SetSEDLength(unsigned short value) {
  sed_length_ = value;
}
void DeviceInfo::SetBitMapTransformation(unsigned short value) {
  bit_map_transformation_ = value;
}

unsigned short DeviceInfo::GetPadringCount() const {
  return static_cast<unsigned short>(padring_.size());
}

const char* DeviceInfo::GetPadring(int index) const {
  if (index < 0 || static_cast<std::size_t>(index) >= padring_.size()) return "";
  return padring_[static_cast<std::size_t>(index)].c_str();
}

void DeviceInfo::SetPadring(const std::vector<std::string>& rows) {
  padring_.assign(rows.begin(), rows.size() > 0xFFFF ? rows.begin() + 0xFFFF : rows.end());
}

PackageList* DeviceInfo::GetDevicePackage() {
  return &packages_;
}
const PackageList* DeviceInfo::GetDevicePackage() const {
  return &packages_;
}
void DeviceInfo::SetDevicePackage(const PackageList& packages) {
  packages_ = packages;
}

const std::vector<unsigned int>& DeviceInfo::GetlistControlEBR() const {
  return control_ebr_;
}
const std::vector<unsigned int>& DeviceInfo::GetlistPersistent_fuse() const {
  return persistent_fuse_;
}
const std::vector<unsigned int>& DeviceInfo::GetlistControlRegOne() const {
  return control_reg_one_;
}
void DeviceInfo::SetlistControlEBR(const std::vector<unsigned int>& values) {
  control_ebr_ = values;
}
void DeviceInfo::SetlistPersistent_fuse(const std::vector<unsigned int>& values) {
  persistent_fuse_ = values;
}
void DeviceInfo::SetlistControlRegOne(const std::vector<unsigned int>& values) {
  control_reg_one_ = values;
}
