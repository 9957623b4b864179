// Building the bitstream model of a file the way every bitstream operation does: a log opened in
// append mode on the current log-file name, the factory, and the name released afterwards.
#ifndef FUSEKIT_BITSTREAM_MODEL_ACCESS_H
#define FUSEKIT_BITSTREAM_MODEL_ACCESS_H

#include <string>

#include "fusekit/bitstream_model.h"

namespace fusekit::bitstream {

// The configuration model of fileName for device. Returns the factory's result.
int BuildConfigModel(XFPBitstreamModel& model, DeviceInfo& device, const char* fileName);
// The same model with only the frames keptFrames names (a list ended by a null; an empty list
// keeps none): its comment and properties are whole, and a large stream costs no copy of its
// data frames. observe, when given, sees the file's bytes as XFPBitstreamModel::Parse shows them.
int BuildConfigSummary(XFPBitstreamModel& model, DeviceInfo& device, const char* fileName,
                       const char* const* keptFrames,
                       XFPBitstreamModel::ByteObserver observe = nullptr, void* context = nullptr);

// The value of "key:" in a comment text: after the key and one more character, trimmed and cut
// at the first blank, tab, line feed or carriage return. found is false without the key.
std::string CommentValue(const char* comment, const char* key, bool& found);

// The device a comment text names: the first word after the most preferred device key
// ("DEVICE CORVANE:", "DEVICE NAME:", "PART NAME:", ...), upper-cased; "" for none.
std::string DeviceNameOfComment(const char* comment);

}  // namespace fusekit::bitstream

#endif  // FUSEKIT_BITSTREAM_MODEL_ACCESS_H
