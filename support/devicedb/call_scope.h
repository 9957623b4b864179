// The scope of one exported call over the host's device record.
#ifndef FUSEKIT_SUPPORT_DEVICEDB_CALL_SCOPE_H
#define FUSEKIT_SUPPORT_DEVICEDB_CALL_SCOPE_H

#include "fusekit/devicedb.h"

namespace fusekit::devicedb {

// Taken at the entry of an exported call. While it lives, RestoreDeviceBackupValue returns the
// record to the geometry the call was given (not to whatever the host saved or left pending);
// when it ends, the record is back to exactly what the host passed, its backup included.
// A null device is allowed and does nothing. Scopes nest: an inner call restores to what the
// outer one had in force when it was entered.
class DeviceCallScope {
 public:
  explicit DeviceCallScope(DeviceInfo* device);
  ~DeviceCallScope();
  DeviceCallScope(const DeviceCallScope&) = delete;
  DeviceCallScope& operator=(const DeviceCallScope&) = delete;

  // The geometry in force when the scope ends stays with the host; the host's
  // RestoreDeviceBackupValue undoes it.
  void KeepGeometry() { keep_geometry_ = true; }

 private:
  static bool SameGeometry(const DeviceInfo::Geometry& a, const DeviceInfo::Geometry& b);

  DeviceInfo* device_;
  DeviceInfo::Geometry entry_geometry_;
  DeviceInfo::Geometry entry_backup_;
  bool entry_backup_pending_ = false;
  bool keep_geometry_ = false;
};

}  // namespace fusekit::devicedb

#endif  // FUSEKIT_SUPPORT_DEVICEDB_CALL_SCOPE_H
