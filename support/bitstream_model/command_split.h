// The commands of a binary stream parsed by two threads. The thread that parses the file (the
// reader) meets a run of frame commands of one opcode and one size and reads on in it until the
// helper is ready; then it picks the command boundary of the run nearest below the middle of what
// is left, if the run went on so far: the split.
// A helper parses the commands from the split to the end meanwhile. When the reader arrives at
// the split at the start of a command, the rest of its parse is the helper's: it takes the
// helper's frame count, flags and status instead of reading on. When it does not arrive there
// (the run ended before, or the split fell inside a longer command), it reads on by itself and
// the helper's parse goes unused. Either way the result is that of the reader's parse alone.
//
// Meanwhile each may show the bytes it reads to an observer: the reader those before the split,
// the helper those from it on, so that a file read for a compare is read once in all.
#ifndef FUSEKIT_SUPPORT_BITSTREAM_MODEL_COMMAND_SPLIT_H
#define FUSEKIT_SUPPORT_BITSTREAM_MODEL_COMMAND_SPLIT_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "fusekit/bitstream_model.h"
#include "support/bitstream_model/byte_source.h"
#include "support/util/hand_off.h"

namespace fusekit::bitstream_model {

struct Stream;

// What the helper's parse of the commands from the split on finds.
struct CommandsTail {
  int status = kXFPOk;
  std::string error;
  std::size_t frames = 0;
  bool encrypted = false;
  bool compressed = false;
  bool authenticated = false;
};

class CommandSplit {
 public:
  // A file of size bytes is split only where at least min_bytes stand after the split is
  // decided, and only in a run whose second command starts within the first kDecideWithin bytes.
  CommandSplit(std::uint64_t size, std::uint64_t min_bytes) : size_(size), min_bytes_(min_bytes) {}
  CommandSplit(const CommandSplit&) = delete;
  CommandSplit& operator=(const CommandSplit&) = delete;

  static constexpr std::uint64_t kDecideWithin = 1 << 20;

  // The reader's side.
  //
  // After a command that began at start, with the cursor of in at its end. A command of the
  // opcode and size of the one right before it decides once the helper waits for the decision,
  // unless decided before. A command that starts a run past kDecideWithin, or a run too near the
  // end, decides that the file is not split.
  void AfterCommand(ByteSource& in, int opcode, std::uint64_t start);
  // Before each command, at the cursor of in: true when it stands at the split, with the
  // helper's commands added to out and status theirs; once.
  bool Arrive(ByteSource& in, Stream& out, int& status);
  // No split, unless decided already.
  void Decline();
  // Where the bytes the reader reads for its part end: the split when split, the file's middle
  // when not, no end while undecided.
  std::uint64_t ReaderPartEnd() const;

  // Whether the helper waits for the decision, or has had it.
  bool HelperReady() const { return helper_ready_.load(std::memory_order_acquire); }

  // The helper's side.
  //
  // Waits for the decision. True when split, with from the split: the helper parses the commands
  // from there and posts them. False when not, with from the middle of the file: the helper
  // takes the file from there without parsing and posts nothing.
  bool AwaitSplit(std::uint64_t& from);
  void PostTail(CommandsTail tail);

 private:
  // Decides, on the reader's thread, and lets in pass over unread what comes after the reader's
  // part.
  void Decide(ByteSource& in, std::optional<std::uint64_t> split);

  const std::uint64_t size_;
  const std::uint64_t min_bytes_;
  util::HandOff<std::uint64_t, CommandsTail> hand_off_;
  std::atomic<bool> helper_ready_{false};  // the helper waits for the decision
  bool taken_ = false;
  // The command before, for finding a run.
  int last_opcode_ = -1;
  std::uint64_t last_start_ = 0;
  std::uint64_t last_end_ = 0;
};

// The helper's parse: the commands of the binary stream fileName from the split on, for device,
// each frame passed over; every block read from there on, to the end of the file, shown to
// observe. The result is posted to split, whatever happens. False when the file cannot be read
// to its end.
bool ParseHelperPart(const char* fileName, const DeviceInfo& device, std::uint64_t split,
                     CommandSplit& hand_off, XFPBitstreamModel::ByteObserver observe,
                     void* context);

}  // namespace fusekit::bitstream_model

#endif  // FUSEKIT_SUPPORT_BITSTREAM_MODEL_COMMAND_SPLIT_H
