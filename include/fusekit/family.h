// Family tests: whether a family name (DeviceInfo::GetFamily) belongs to a device family.
// Each predicate returns non-zero for a member, 0 otherwise (also for a null name). Names are
// compared whole and with regard to case; docs/device-database.md lists every member.
#ifndef FUSEKIT_FAMILY_H
#define FUSEKIT_FAMILY_H

#include "fusekit/export.h"

FUSEKIT_API int IsQuillonFamily(const char* family);
FUSEKIT_API int IsTavrelFamily(const char* family);
FUSEKIT_API int IsPelmo2Family(const char* family);
FUSEKIT_API int IsPelmo3DFamily(const char* family);
FUSEKIT_API int IsTorvik4Family(const char* family);
FUSEKIT_API int IsGlimraFamily(const char* family);
FUSEKIT_API int IsFendra2Family(const char* family);
// Includes the Zentiv families, which are Marsk devices with a larger array.
FUSEKIT_API int IsMarskFamily(const char* family);
FUSEKIT_API int IsZentivFamily(const char* family);
// The Orlan D6 families are not members: they have their own predicate.
FUSEKIT_API int IsOrlanFamily(const char* family);
FUSEKIT_API int IsOrlanD6Family(const char* family);
FUSEKIT_API int IsVorskFamily(const char* family);
FUSEKIT_API int IsGrendMHFamily(const char* family);
FUSEKIT_API int IsOmbrelFamily(const char* family);

// Direct-SPI class of a family: 0 when the family is not programmed over direct SPI, else the
// class 1, 2 or 3 (class 3 devices carry their architecture array in the JEDEC file).
FUSEKIT_API int IsDirectSPIDevice(const char* family);

// Non-zero when the file exists and can be opened for reading.
FUSEKIT_API int IsFileReadable(const char* fileName);

#endif  // FUSEKIT_FAMILY_H
