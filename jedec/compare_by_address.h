// The compare of two JEDEC fuse maps by address, each file read into a whole map.
#ifndef FUSEKIT_JEDEC_COMPARE_BY_ADDRESS_H
#define FUSEKIT_JEDEC_COMPARE_BY_ADDRESS_H

#include "fusekit/devicedb.h"
#include "fusekit/jedec.h"

namespace fusekit::jedec {

// fnJEDFileCompareByAddress's way for a device, and for files whose fuse lists go back: both
// files read whole, each on its own thread, for device or (when it is null) for a record of the
// file's own QF, then compared. Same results as fnJEDFileCompareByAddress; may throw nothing.
int CompareWholeMaps(const char* read, const char* reference, const DeviceInfo* device,
                     JEDECAddressCompare& result);

}  // namespace fusekit::jedec

#endif  // FUSEKIT_JEDEC_COMPARE_BY_ADDRESS_H
