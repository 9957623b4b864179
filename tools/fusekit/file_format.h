// What kind of file the tool has been given, found from its content (the extension only breaks
// ties), and reading any file that holds programming data for a device.
#ifndef FUSEKIT_TOOLS_FILE_FORMAT_H
#define FUSEKIT_TOOLS_FILE_FORMAT_H

#include <memory>
#include <string>

#include "tools/fusekit/cli.h"

namespace fusekit::cli {

enum class FileFormat {
  kUnknown,
  kJedec,
  kIsc,
  kBinaryBitstream,
  kAsciiBitstream,
  kIntelHex,
  kSRecord,
  kTektronix,
  kBinaryImage,
  kFeatureRow,
};

// The format of the file at path from its first 64 KiB: an ISC data file opens with
// "IEEE_1532_Data" after its comments, a feature-row file with "FEATURE_ROW"; a binary bitstream
// with FF 00 (after "CRVN" and a lead-in block); text files by their first character (':' Intel
// hex, 'S' and a digit S-records, '%' Tektronix), by STX (JEDEC) or by lines of 0 and 1 (an ASCII
// bitstream); any other bytes make a binary image. kUnknown for text that is none of these or a
// file that cannot be read.
FileFormat DetectFormat(const std::string& path);

// The format's name in messages ("JEDEC file", "ISC data file", "binary bitstream", ...).
const char* FormatName(FileFormat format);

bool IsBitstreamFormat(FileFormat format);
bool IsImageFormat(FileFormat format);

// The format a name given to --format or --out-format stands for: jedec, isc, bit, rbt, ihex
// (or hex, mcs), srec, tek, bin, fea; kUnknown for another name.
FileFormat FormatByName(const std::string& name);
// The format the ending of a path stands for, kUnknown for none.
FileFormat FormatOfExtension(const std::string& path);
// The names --format takes, for messages.
const char* FormatNames();

// The format of an input: the one forced by --format (forced not empty), else the one its
// content shows, else, for text of no known format, the one its ending names. Complains and
// returns kUnknown for a name --format does not know.
FileFormat InputFormat(const std::string& path, const std::string& label,
                       const std::string& forced);

// A name under which the library's readers, which take some formats from a file's ending, see
// the file as the format found: the path itself when its ending agrees, else a link to it with
// the ending of the format in a temporary folder (standard input, a misnamed file).
class FormatNamedInput {
 public:
  FormatNamedInput(const std::string& path, FileFormat format);
  const std::string& Path() const { return path_; }

 private:
  std::unique_ptr<TemporaryFolderOf> folder_;
  std::string path_;
};

// Reads a file that holds programming data for the device into data, by its format. Complains
// and returns an exit status other than kExitOk when it cannot.
int ReadProgrammingData(const std::string& path, const std::string& label, const DeviceInfo& record,
                        SVFPlusData& data);

// The first row of a field as hex digits, the padding bits of byte 0 left out of the value, and
// its width in bits; "" when the field has no row.
std::string FirstRowHex(SVFPlusData& data, const char* field, unsigned& width);

}  // namespace fusekit::cli

#endif  // FUSEKIT_TOOLS_FILE_FORMAT_H
