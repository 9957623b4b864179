// The row file of the legacy fuse-map library: the work-file format in which fuse rows pass
// between the library and the Grend PLD tools.
//
// A row file is a sequence of entries, each "\n\t<index>\n<bits>": the index in decimal (0 and
// up for rows of the fuse array, -1 for the usercode, -2 for the E row) and the row as "0"/"1"
// characters, column 0 first. Blanks and line ends between the parts are free.
#ifndef FUSEKIT_SUPPORT_LEGACY_FUSEMAP_ROW_FILE_H
#define FUSEKIT_SUPPORT_LEGACY_FUSEMAP_ROW_FILE_H

#include <map>
#include <string>

namespace fusekit::legacy {

constexpr int kUsercodeRow = -1;
constexpr int kERow = -2;

// Rows by index; each value holds the row's "0"/"1" characters.
using RowFile = std::map<int, std::string>;

// Reads a row file. False when it cannot be opened or is not a row file (an index that is not a
// number, a row with another character than 0 or 1, an index given twice).
bool ReadRowFile(const std::string& path, RowFile& rows);
// Writes rows in index order, array rows first, then -1 and -2. False on a write error.
bool WriteRowFile(const std::string& path, const RowFile& rows);

// Writes the one-line result file of a legacy-library call, "<result> <meaning>", when path is
// given; returns result. A result file that cannot be written is passed over.
int WriteResultFile(const char* path, int result, const char* meaning);

}  // namespace fusekit::legacy

#endif  // FUSEKIT_SUPPORT_LEGACY_FUSEMAP_ROW_FILE_H
