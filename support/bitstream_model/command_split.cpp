// The commands of a binary stream parsed by two threads.
#include "support/bitstream_model/command_split.h"

#include <limits>
#include <new>
#include <vector>

#include "support/bitstream_model/stream.h"

namespace fusekit::bitstream_model {

void CommandSplit::AfterCommand(ByteSource& in, int opcode, std::uint64_t start) {
  if (hand_off_.Decided()) return;
  const std::uint64_t end = in.Offset();
  const bool run =
      opcode == last_opcode_ && start == last_end_ && end - start == last_end_ - last_start_;
  last_opcode_ = opcode;
  last_start_ = start;
  last_end_ = end;
  if (!run) {
    if (start > kDecideWithin) Decide(in, std::nullopt);
    return;
  }
  const std::uint64_t step = end - start;
  if (size_ == std::numeric_limits<std::uint64_t>::max() || end > size_ ||
      size_ - end < min_bytes_) {
    Decide(in, std::nullopt);
    return;
  }
  // The helper takes half of what is left from when it can start: a thread takes a while to
  // start, and the reader reads on in the run meanwhile.
  if (!HelperReady()) return;
  Decide(in, end + (size_ - end) / 2 / step * step);
}

bool CommandSplit::Arrive(ByteSource& in, Stream& out, int& status) {
  const std::optional<std::uint64_t>& split = hand_off_.DecidedPlan();
  if (!split || taken_ || in.Offset() != *split) return false;
  taken_ = true;
  CommandsTail tail = hand_off_.Take();
  out.frames_passed += tail.frames;
  out.encrypted = out.encrypted || tail.encrypted;
  out.compressed = out.compressed || tail.compressed;
  out.authenticated = out.authenticated || tail.authenticated;
  if (tail.status != kXFPOk) out.error = std::move(tail.error);
  status = tail.status;
  return true;
}

void CommandSplit::Decline() {
  hand_off_.Decide(std::nullopt);
}

std::uint64_t CommandSplit::ReaderPartEnd() const {
  if (!hand_off_.Decided()) return std::numeric_limits<std::uint64_t>::max();
  const std::optional<std::uint64_t>& split = hand_off_.DecidedPlan();
  return split ? *split : size_ / 2;
}

void CommandSplit::Decide(ByteSource& in, std::optional<std::uint64_t> split) {
  hand_off_.Decide(split);
  in.SeekOverFrom(ReaderPartEnd());
}

bool CommandSplit::AwaitSplit(std::uint64_t& from) {
  helper_ready_.store(true, std::memory_order_release);
  const std::optional<std::uint64_t> split = hand_off_.Await();
  from = split ? *split : size_ / 2;
  return split.has_value();
}

void CommandSplit::PostTail(CommandsTail tail) {
  hand_off_.Post(std::move(tail));
}

namespace {

// The commands from the cursor of in to the end, each frame passed over.
CommandsTail ParseTail(ByteSource& in, const DeviceInfo& device) {
  CommandsTail tail;
  std::vector<CommandDef> table;
  if (!CommandTableOf(device, table)) {
    tail.status = kXFPBadCommandTable;
    tail.error = "the command table of the device cannot be read";
    return tail;
  }
  static const char* const kNoFrames[] = {nullptr};
  Stream commands;
  tail.status = ParseCommands(in, table, device, FrameFilter{kNoFrames}, commands);
  tail.error = std::move(commands.error);
  tail.frames = commands.frames_passed;
  tail.encrypted = commands.encrypted;
  tail.compressed = commands.compressed;
  tail.authenticated = commands.authenticated;
  return tail;
}

}  // namespace

bool ParseHelperPart(const char* fileName, const DeviceInfo& device, std::uint64_t split,
                     CommandSplit& hand_off, XFPBitstreamModel::ByteObserver observe,
                     void* context) {
  InputFile file = OpenInput(fileName);
  if (!file || split > static_cast<std::uint64_t>(std::numeric_limits<long>::max()) ||
      std::fseek(file.get(), static_cast<long>(split), SEEK_SET) != 0) {
    CommandsTail tail;
    tail.status = kXFPCannotOpen;
    tail.error = "cannot be read";
    hand_off.PostTail(std::move(tail));
    return false;
  }
  ByteSource in(file.get(), split);
  in.SetObserver(observe, context);
  CommandsTail tail;
  try {
    tail = ParseTail(in, device);
  } catch (const std::bad_alloc&) {
    tail.status = kXFPTruncatedCommand;  // as the parse of a whole file
    tail.error = "out of memory";
  }
  hand_off.PostTail(std::move(tail));
  try {
    in.Drain();  // the bytes after a command that does not parse are shown too
  } catch (const std::bad_alloc&) {
    return false;
  }
  return !in.Failed();
}

}  // namespace fusekit::bitstream_model
