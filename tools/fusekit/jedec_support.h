// What the JEDEC commands share: the device record to check a file against.
#ifndef FUSEKIT_TOOLS_JEDEC_SUPPORT_H
#define FUSEKIT_TOOLS_JEDEC_SUPPORT_H

#include <string>

#include "tools/fusekit/cli.h"
#include "tools/fusekit/file_format.h"
#include "tools/fusekit/output_file.h"

namespace fusekit::cli {

// The record named by --device, or, without one, a generic record made from the file itself: its
// QF as the fuse count in one row, its E field as the architecture length and its U field as the
// usercode. A QF beyond what the file's size can describe (MostFusesOfGenericRecord) is refused,
// so a small file never costs much memory. Complains and returns an exit status other than
// kExitOk on failure.
int DeviceForJedec(const GlobalOptions& options, const std::string& device_name,
                   const std::string& path, const std::string& label, DeviceInfo& device);

// The file's summary as GetJEDECSummary gave it, read ahead (on another thread, say).
struct JedecSummaryRead {
  JEDECSummary summary;
  int status = 0;
};
int DeviceForJedec(const GlobalOptions& options, const std::string& device_name,
                   const std::string& path, const std::string& label, const JedecSummaryRead& read,
                   DeviceInfo& device);

// Why a JEDEC file's field stream ends before ETX, when a byte that is neither printable ASCII
// nor white space ends it: "byte 0xC3 at offset 41 ends the fields before ETX"; else "".
std::string WhyFieldsEndEarly(const std::string& path);

// The most fuses a generic record may take from path's QF.
unsigned long MostFusesOfGenericRecord(const std::string& path);

// A conversion through programming data: any file that holds programming data for the device
// (ISC, JEDEC, bitstream, image, feature row) read, a settings file applied when one is named,
// and the data written as a JEDEC file, a whole ISC data file (its sections included) or a
// feature-row file.
struct DataConversion {
  std::string input;
  std::string input_label;
  std::string device;
  std::string entity;  // the ISC entity ("" for the device name)
  std::string creator;
  std::string settings;  // the settings file to apply, "" for none
  bool usercode_crc = false;
};
int ConvertThroughData(const GlobalOptions& options, const DataConversion& conversion,
                       FileFormat out, OutputFile& output);

// Whether the JEDEC transmission checksum of path would hold with its line ends converted:
// "LF to CR LF", "CR LF to LF", or "" when neither helps.
std::string LineEndConversionThatFits(const std::string& path);

}  // namespace fusekit::cli

namespace fusekit::cli {

// The C checksum of the fuses a file lists (read for the device, its own C set aside), or -1
// when it cannot be read.
long ComputedFuseChecksum(const std::string& path, const DeviceInfo& device);

// For a transmission checksum of five hex digits whose low sixteen bits are the computed one,
// the sentence that says so; else "".
std::string FiveDigitChecksumHint(const std::string& path, unsigned short computed);

}  // namespace fusekit::cli

#endif  // FUSEKIT_TOOLS_JEDEC_SUPPORT_H
