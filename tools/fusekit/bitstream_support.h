// The bitstream side of the tool.
#ifndef FUSEKIT_TOOLS_BITSTREAM_SUPPORT_H
#define FUSEKIT_TOOLS_BITSTREAM_SUPPORT_H

#include <string>

#include "tools/fusekit/cli.h"
#include "tools/fusekit/output_file.h"

namespace fusekit::cli {

// True for the bitstream file endings: .bit, .rbt, .rbk, .msk, .rbka, .mska.
bool IsBitstreamName(const std::string& path);
// True for the ASCII forms: .rbt, .rbka, .mska.
bool IsAsciiBitstreamName(const std::string& path);

// info FILE.bit|.rbt [--device NAME].
int BitstreamInfo(const GlobalOptions& options, const std::string& path, const std::string& label,
                  const std::string& device_name);
// convert IN.bit|IN.rbt OUT.isc --device NAME.
int ConvertBitstreamToIsc(const GlobalOptions& options, const std::string& input,
                          OutputFile& output, const std::string& device_name,
                          const std::string& entity, const std::string& creator, bool usercode_crc);
// convert IN.bit OUT.rbt and IN.rbt OUT.bit.
int ConvertBitstreamForm(const std::string& input, OutputFile& output);
// convert --config C --readback R --mask M OUT.isc --device NAME.
int ConvertModelsToIsc(const GlobalOptions& options, const std::string& config,
                       const std::string& readback, const std::string& mask, OutputFile& output,
                       const std::string& device_name, const std::string& entity,
                       const std::string& creator);

}  // namespace fusekit::cli

#endif  // FUSEKIT_TOOLS_BITSTREAM_SUPPORT_H
