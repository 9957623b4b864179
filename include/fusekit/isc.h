// IEEE 1532 ISC data files: the writer and the builders of the comment block placed before it.
#ifndef FUSEKIT_ISC_H
#define FUSEKIT_ISC_H

#include <vector>

#include "fusekit/export.h"
#include "fusekit/progdata.h"

// Writes the programming data as an ISC data file: prefixText (the comment block, may be null),
// the header with the creation date, creator and entity, the security and encryption lines, one
// data block for each field whose name the format knows (in the container's order, each with its
// data CRC where the format has one), and the closing line, followed by the file's CRC-16 as four
// hex digits. usercodeFromCRC puts the last array block's data CRC in the usercode blocks;
// unprocessed writes every block as "unprocessed data". Result: the file's CRC-16 (0 to 0xFFFF);
// -3 null data; -13 the file cannot be opened for writing.
FUSEKIT_API int SVFPlus2ISC(SVFPlusData* data, const char* prefixText, const char* fileName,
                            const char* entity, int usercodeFromCRC, int unprocessed,
                            const char* creator);
// The same; the security line is also written when forceSecurity is non-zero, and the entity
// line reads "Entity \t" instead of "Entity\t".
FUSEKIT_API int SVFPlus2ISC(SVFPlusData* data, const char* prefixText, const char* fileName,
                            const char* entity, int usercodeFromCRC, int unprocessed,
                            int forceSecurity, const char* creator);

// Builds the comment block into out (cleared first; the caller sizes it): the creator, device
// name, total fuses and data CRC lines for the arguments given, then for a ".jed" source its name,
// checksum and header notes, for another source its name, and an empty line. Nothing for null out.
FUSEKIT_API void BuildISCHeader(char* const out, const char* creatorVersion, int totalFuses,
                                const char* deviceName, const char* sourceFileName,
                                unsigned int jedecChecksum, const char* dataCRC);
// A comment block from a text file of comment lines (each written after "-- "), then the total
// fuses and data CRC lines.
FUSEKIT_API void BuildISCHeaderFromBitstream(char* const out, unsigned int totalFuses,
                                             const char* dataCRC, const char* commentFileName);
// A comment block naming several source files; the unsigned argument is ignored.
FUSEKIT_API void BuildISCHeaderFromBitstream(char* const out, const char* creatorVersion,
                                             int totalFuses, const char* deviceName,
                                             std::vector<const char*>& sourceFileNames,
                                             unsigned int ignoredChecksum, const char* dataCRC);

#endif  // FUSEKIT_ISC_H
