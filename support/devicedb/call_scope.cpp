// DeviceCallScope: the host's record back as it was passed when a call returns.
#include "support/devicedb/call_scope.h"

namespace fusekit::devicedb {

bool DeviceCallScope::SameGeometry(const DeviceInfo::Geometry& a, const DeviceInfo::Geometry& b) {
  return a.address_length == b.address_length && a.data_length == b.data_length &&
         a.fuse_number == b.fuse_number && a.arch_length == b.arch_length;
}

DeviceCallScope::DeviceCallScope(DeviceInfo* device) : device_(device) {
  if (device_ == nullptr) return;
  entry_geometry_ = device_->geometry_;
  entry_backup_ = device_->backup_;
  entry_backup_pending_ = device_->backup_pending_;
  device_->SaveDeviceBackupValue();
}

DeviceCallScope::~DeviceCallScope() {
  if (device_ == nullptr) return;
  const DeviceInfo::Geometry in_force = device_->geometry_;
  device_->geometry_ = entry_geometry_;
  device_->backup_ = entry_backup_;
  device_->backup_pending_ = entry_backup_pending_;
  if (!keep_geometry_ || SameGeometry(in_force, entry_geometry_)) return;
  if (!entry_backup_pending_) {
    device_->backup_ = entry_geometry_;
    device_->backup_pending_ = true;
  }
  device_->geometry_ = in_force;
}

}  // namespace fusekit::devicedb
