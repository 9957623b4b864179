// The comment blocks placed in front of ISC data files, built as texts of any length. The
// exported builders copy them into their callers' buffers; the library's own converters pass
// them to the writer as they are, or cut to the size of the buffer the conversion is given.
#ifndef FUSEKIT_ISC_HEADER_BUILDERS_H
#define FUSEKIT_ISC_HEADER_BUILDERS_H

#include <cstddef>
#include <string>
#include <vector>

namespace fusekit::isc {

// The comment buffer of the bitstream conversions.
constexpr std::size_t kCommentBlockBytes = 100000;

// The block of BuildISCHeader: the fixed lines, the source's name and, for a ".jed" source,
// its checksum and header notes.
std::string CommentBlock(const char* creator_version, int total_fuses, const char* device_name,
                         const char* source_file, unsigned int jedec_checksum,
                         const char* data_crc);

// The block of BuildISCHeaderFromBitstream, file form: the lines of a comment file.
std::string CommentBlockFromFile(unsigned int total_fuses, const char* data_crc,
                                 const char* comment_file);

// The block of BuildISCHeaderFromBitstream, list form: the fixed lines and the source names.
std::string CommentBlockFromSources(const char* creator_version, int total_fuses,
                                    const char* device_name, const std::vector<const char*>& names,
                                    const char* data_crc);

// The block as a buffer of `bytes` bytes (its terminating NUL included) holds it: whole lines
// only, so that what follows the block starts a line of its own.
std::string CutToWholeLines(std::string block, std::size_t bytes);

}  // namespace fusekit::isc

#endif  // FUSEKIT_ISC_HEADER_BUILDERS_H
