// The whole public API of libfusekit.
#ifndef FUSEKIT_FUSEKIT_H
#define FUSEKIT_FUSEKIT_H

#include "fusekit/bitstream.h"
#include "fusekit/bitstream_model.h"
#include "fusekit/core.h"
#include "fusekit/crc.h"
#include "fusekit/devicedb.h"
#include "fusekit/export.h"
#include "fusekit/family.h"
#include "fusekit/fields.h"
#include "fusekit/image.h"
#include "fusekit/isc.h"
#include "fusekit/jedec.h"
#include "fusekit/progdata.h"
#include "fusekit/status.h"
#include "fusekit/util.h"

#endif  // FUSEKIT_FUSEKIT_H
