// Internal side of the log file name.
#ifndef FUSEKIT_CORE_LOG_NAME_H
#define FUSEKIT_CORE_LOG_NAME_H

namespace fusekit::core {

// Frees and clears the held name. Every operation that builds a bitstream model calls this as
// soon as the model factory has returned, whatever its result: the name is a one-shot setting.
void ConsumeLogFileName();

}  // namespace fusekit::core

#endif  // FUSEKIT_CORE_LOG_NAME_H
