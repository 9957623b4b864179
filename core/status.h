// The status vocabulary, shared with the public API.
#ifndef FUSEKIT_CORE_STATUS_H
#define FUSEKIT_CORE_STATUS_H

#include "fusekit/status.h"

#endif  // FUSEKIT_CORE_STATUS_H
