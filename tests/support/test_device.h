// A device record for tests: rows x width fuses, a 32-bit JTAG identifier and usercode.
#ifndef FUSEKIT_TESTS_SUPPORT_TEST_DEVICE_H
#define FUSEKIT_TESTS_SUPPORT_TEST_DEVICE_H

#include "fusekit/devicedb.h"

namespace fusekit::testing {

inline DeviceInfo TestDevice(const char* family, unsigned rows, unsigned width) {
  DeviceInfo d;
  d.SetName("T");
  d.SetPON("T-PON");
  d.SetFamily(family);
  d.SetAddressLength(rows);
  d.SetDataLength(width);
  d.SetFuseNumber(rows * width);
  d.SetIDLength(32);
  d.SetjtagDeviceID(0x012B2043);
  d.SetispDeviceID(0x5A);
  d.SetPhysicalUESLength(32);
  d.SetjtagLogicalUESLength(32);
  d.SetispLogicalUESLength(32);
  d.SaveDeviceBackupValue();
  return d;
}

}  // namespace fusekit::testing

#endif  // FUSEKIT_TESTS_SUPPORT_TEST_DEVICE_H
