// fnBITFileCompare and fnRBTFileCompare: two bitstreams, binary or ASCII in any pairing,
// compared frame by frame and bit by bit through the bitstream model (docs/compare.md).
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "bitstream/compare_form.h"
#include "bitstream/model_access.h"
#include "core/diff_report.h"
#include "core/file_io.h"
#include "core/status.h"
#include "fusekit/bitstream.h"
#include "fusekit/bitstream_model.h"
#include "fusekit/status.h"
#include "support/bitstream_model/stream.h"
#include "support/util/byte_pipe.h"
#include "support/util/side_task.h"

namespace fusekit::bitstream {
namespace {

constexpr int kCannotOpen = -1;
constexpr int kCannotCompare = -2;
// A stream is parsed by two threads only where at least this much of it stands after the run of
// frames that it is split in: below that a second thread costs more than it saves.
constexpr std::uint64_t kMinSplitBytes = 1 << 20;

struct Stream {
  Stream(const char* path_, const char* side_) : path(path_), side(side_) {}
  const char* path;
  const char* side;
  bool binary = false;
  std::uint64_t size = ~std::uint64_t{0};  // not known for a pipe
  XFPBitstreamModel model;                 // empty when the frames were compared as they were read
  std::string comment;                     // the model's comment text
  std::size_t frames = 0;
};

std::vector<std::string> Lines(const char* text) {
  std::vector<std::string> lines;
  std::string line;
  for (const char* p = text != nullptr ? text : ""; *p != '\0'; ++p) {
    if (*p == '\n') {
      lines.push_back(line);
      line.clear();
    } else {
      line += *p;
    }
  }
  if (!line.empty()) lines.push_back(line);
  return lines;
}

std::string Trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t\r") + 1 - first);
}

// Comment entries that differ, by key ("Key: value"), noted and not counted.
void NoteComments(const Stream& read, const Stream& reference, core::DiffReport& report) {
  const std::vector<std::string> a = Lines(read.comment.c_str());
  const std::vector<std::string> b = Lines(reference.comment.c_str());
  for (std::size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
    const std::string one = i < a.size() ? a[i] : "(none)";
    const std::string other = i < b.size() ? b[i] : "(none)";
    if (one == other) continue;
    // Entries of one key show their values; others show whole.
    const std::size_t colon = other.find(':');
    const bool same_key =
        colon != std::string::npos && one.compare(0, colon + 1, other, 0, colon + 1) == 0;
    const std::string key =
        colon == std::string::npos ? "entry " + std::to_string(i + 1) : other.substr(0, colon);
    if (same_key) {
      report.Note("comment " + key, Trimmed(one.substr(colon + 1)),
                  Trimmed(other.substr(colon + 1)));
      continue;
    }
    report.Note("comment " + key, one, other);
  }
}

// Why the two streams are for different devices by their comments, or "".
std::string OtherDevices(const Stream& read, const Stream& reference) {
  const std::string one = DeviceNameOfComment(read.comment.c_str());
  const std::string other = DeviceNameOfComment(reference.comment.c_str());
  if (!one.empty() && !other.empty() && one != other)
    return "the files are for different devices: read " + one + ", reference " + other;
  return "";
}

// Why the two streams cannot be compared frame by frame, or "".
std::string WhyNotComparable(const Stream& read, const Stream& reference) {
  if (const std::string why = OtherDevices(read, reference); !why.empty()) return why;
  const XFPBitstreamModel& a = read.model;
  const XFPBitstreamModel& b = reference.model;
  for (unsigned f = 0; f < std::max(a.GetFrameCount(), b.GetFrameCount()); ++f) {
    const XFPFrameModel* x = a.GetFrame(f);
    const XFPFrameModel* y = b.GetFrame(f);
    const auto where = [f] { return "frame " + std::to_string(f + 1) + ": "; };
    if (x == nullptr || y == nullptr)
      return where() + "only in the " + (x == nullptr ? "reference" : "read file") + " (" +
             std::to_string(a.GetFrameCount()) + " and " + std::to_string(b.GetFrameCount()) +
             " frames)";
    if (std::strcmp(x->GetName(), y->GetName()) != 0)
      return where() + x->GetName() + " in the read file, " + y->GetName() + " in the reference";
    if (x->GetComponentCount() != y->GetComponentCount())
      return where() + "another number of components";
    for (unsigned c = 0; c < x->GetComponentCount(); ++c) {
      if (x->GetComponent(c)->GetBitSize() != y->GetComponent(c)->GetBitSize())
        return where() + x->GetComponent(c)->GetName() + " of " +
               std::to_string(x->GetComponent(c)->GetBitSize()) + " and " +
               std::to_string(y->GetComponent(c)->GetBitSize()) + " bits";
    }
  }
  return "";
}

void CompareFrames(const XFPBitstreamModel& a, const XFPBitstreamModel& b,
                   core::DiffReport& report) {
  report.Block("frames");
  for (unsigned f = 0; f < b.GetFrameCount(); ++f) {
    const XFPFrameModel& x = *a.GetFrame(f);
    const XFPFrameModel& y = *b.GetFrame(f);
    for (unsigned c = 0; c < y.GetComponentCount(); ++c) {
      const XFPFrameComponentModel& one = *x.GetComponent(c);
      const XFPFrameComponentModel& other = *y.GetComponent(c);
      if (other.GetBitSize() == 0) continue;
      // Alike bytes hold alike bits: the label is made only for a component that differs.
      if (std::memcmp(one.GetBytes(), other.GetBytes(), (other.GetBitSize() + 7) / 8) == 0)
        continue;
      report.CompareRow(
          "frame " + std::to_string(f + 1) + " " + y.GetName() + ", " + other.GetName(),
          one.GetBytes(), other.GetBytes(), nullptr, other.GetBitSize(),
          core::BitOrder::kStreamOrder);
    }
  }
}

std::string Describe(const Stream& stream) {
  const long long bytes =
      stream.size == ~std::uint64_t{0} ? -1 : static_cast<long long>(stream.size);
  return std::string(stream.path) + " (" + (stream.binary ? "binary" : "ASCII") + ", " +
         std::to_string(bytes) + " bytes, " + std::to_string(stream.frames) + " frames)";
}

// A frame as one run of bytes: its name, its count of components, and each component's size
// in bits and the bytes that hold them; all that the compare below looks at.
void AddFrame(util::ByteBatches& out, const XFPFrameModel& frame) {
  const auto add = [&out](const void* bytes, std::size_t count) {
    out.Add(static_cast<const unsigned char*>(bytes), count);
  };
  add(frame.GetName(), std::strlen(frame.GetName()) + 1);
  const unsigned count = frame.GetComponentCount();
  add(&count, sizeof count);
  for (unsigned c = 0; c < count; ++c) {
    const XFPFrameComponentModel& component = *frame.GetComponent(c);
    const unsigned bits = component.GetBitSize();
    add(&bits, sizeof bits);
    if (bits != 0) add(component.GetBytes(), (bits + 7) / 8);
  }
}

// Both streams parsed at once keeping no frames: the read file's frames go through a pipe to
// the reference's thread, where they are compared with the reference's as they come. True
// when both were parsed and their frames are alike to the last, with the comments and frame
// counts filled; otherwise the streams are parsed again into models, to tell where they differ.
bool ParseAlike(Stream& read, Stream& reference, const DeviceInfo& device) {
  int statuses[2] = {kXFPOk, kXFPOk};
  const bool alike = util::StreamsAlike([&](int i, util::ByteBatches& out) {
    Stream& stream = i == 0 ? read : reference;
    try {
      statuses[i] = bitstream_model::ParseFrames(
          stream.path, !stream.binary, device,
          [&out](const XFPFrameModel& frame) { AddFrame(out, frame); }, stream.comment,
          stream.frames);
    } catch (const std::bad_alloc&) {
      statuses[i] = kStatusNoMemory;
    }
  });
  return alike && statuses[0] == kXFPOk && statuses[1] == kXFPOk;
}

// The bytes of the read file before the end of the reader's part of a split, as its parse
// reads them, compared with the reference's at the same offsets.
class ReaderPartMatch {
 public:
  ReaderPartMatch(const char* reference, const bitstream_model::CommandSplit& split)
      : match_(reference, 0), split_(split) {}

  static void Observe(void* context, const unsigned char* bytes, std::size_t count) {
    auto& self = *static_cast<ReaderPartMatch*>(context);
    const std::uint64_t end = self.split_.ReaderPartEnd();
    if (bytes == nullptr || self.compared_ >= end) return;
    count = static_cast<std::size_t>(std::min<std::uint64_t>(count, end - self.compared_));
    self.same_ = self.same_ && self.match_.Next(bytes, count);
    self.compared_ += count;
  }
  // Whether every byte before the end was shown and matched.
  bool Same() const { return same_ && compared_ >= split_.ReaderPartEnd(); }

 private:
  core::FileBytesMatch match_;
  const bitstream_model::CommandSplit& split_;
  std::uint64_t compared_ = 0;
  bool same_ = true;
};

// The helper's compare: the bytes of the read file from where it starts, as it reads them,
// compared with the reference's at the same offsets.
struct HelperPartMatch {
  HelperPartMatch(const char* reference, std::uint64_t start) : match(reference, start) {}
  static void Observe(void* context, const unsigned char* bytes, std::size_t count) {
    auto& self = *static_cast<HelperPartMatch*>(context);
    if (bytes != nullptr) self.same = self.same && self.match.Next(bytes, count);
  }
  core::FileBytesMatch match;
  bool same = true;
};

// The helper's side of SameBytes: the read file and the reference compared from the split (or
// the middle) on, and the read file's commands parsed from the split on.
bool HelperPartSame(const Stream& read, const Stream& reference, const DeviceInfo& device,
                    bitstream_model::CommandSplit& split) {
  std::uint64_t from = 0;
  if (!split.AwaitSplit(from)) return core::SameFileBytes(read.path, reference.path, from);
  std::optional<HelperPartMatch> match;
  try {
    match.emplace(reference.path, from);
  } catch (const std::bad_alloc&) {
    split.PostTail({kXFPTruncatedCommand, "out of memory"});  // the reader waits for a result
    return false;
  }
  const bool read_to_end = bitstream_model::ParseHelperPart(read.path, device, from, split,
                                                            &HelperPartMatch::Observe, &*match);
  return read_to_end && match->same && match->match.SameToEnd();
}

// Two files of the same bytes, read once in all by two threads: the read file is parsed passing
// over its frames, by the reader up to a split near its middle and by a helper from there on
// (bitstream_model::CommandSplit); each compares the bytes it reads with the reference's at the
// same offsets. Where the parse cannot be split, the helper compares the second halves only and
// the reader parses the whole file. True when the bytes are the same and the read file parses,
// with the comments and frame counts of both filled; the frames are then alike, with nothing
// kept or handed over.
bool SameBytes(Stream& read, Stream& reference, const DeviceInfo& device) {
  if (read.binary != reference.binary || read.size != reference.size ||
      read.size == ~std::uint64_t{0})
    return false;
  bitstream_model::CommandSplit split(read.size, kMinSplitBytes);
  if (!read.binary) split.Decline();  // the ASCII form is parsed from memory
  bool helper_same = false;
  bool reader_same = false;
  int status = kXFPOk;
  const bool ran = util::RunSideBySide([&](int i) {
    if (i == 0) {
      try {
        helper_same = HelperPartSame(read, reference, device, split);
      } catch (const std::bad_alloc&) {  // not known to be the same
      }
      return;
    }
    try {
      ReaderPartMatch match(reference.path, split);
      status =
          bitstream_model::ParseFrames(read.path, !read.binary, device, nullptr, read.comment,
                                       read.frames, {&ReaderPartMatch::Observe, &match}, &split);
      split.Decline();
      reader_same = match.Same();
    } catch (const std::bad_alloc&) {
      split.Decline();
    }
  });
  if (!ran || status != kXFPOk || !reader_same || !helper_same) return false;
  reference.comment = read.comment;
  reference.frames = read.frames;
  return true;
}

int Compare(const char* read_path, const char* reference_path, const DeviceInfo& device,
            const char* report_path) {
  Stream read(read_path, "read file");
  Stream reference(reference_path, "reference");
  for (Stream* stream : {&read, &reference}) {
    const core::UniqueFile file = core::OpenFile(stream->path, "rb");
    if (!file) return kCannotOpen;
    stream->binary = LooksLikeBinaryBitstream(file.get());
    stream->size = core::FileSize(file.get());
  }
  core::DiffReport report;
  report.Line("bitstream compare");
  int result = 0;
  int statuses[2] = {0, 0};
  const bool frames_alike =
      SameBytes(read, reference, device) || ParseAlike(read, reference, device);
  const auto parse = [&](Stream& stream, int& status) {
    try {
      stream.model.SetDevice(device);
      status = stream.model.Parse(stream.path, !stream.binary, nullptr);
      stream.comment = stream.model.GetComment();
      stream.frames = stream.model.GetFrameCount();
    } catch (const std::bad_alloc&) {
      status = kStatusNoMemory;
    }
  };
  // The read file is parsed on a second thread while the reference is parsed here; a parse
  // touches nothing outside its model.
  if (!frames_alike)
    util::RunForBoth([&](int i) { parse(i == 0 ? read : reference, statuses[i]); });
  for (const int status : statuses) {
    if (status == kStatusNoMemory) return kStatusNoMemory;
  }
  for (Stream* stream : {&read, &reference}) {
    const int status = statuses[stream == &read ? 0 : 1];
    if (status != 0 && result == 0) {
      report.Line(std::string("the ") + stream->side + " " + stream->path +
                  " cannot be read as a bitstream (status " + std::to_string(status) + ")");
      result = kCannotCompare;
    }
  }
  if (result == 0) {
    report.Line("read:      " + Describe(read));
    report.Line("reference: " + Describe(reference));
    const std::string why =
        frames_alike ? OtherDevices(read, reference) : WhyNotComparable(read, reference);
    if (!why.empty()) {
      report.Line("not compared: " + why);
      result = kCannotCompare;
    }
  }
  if (result == 0) {
    NoteComments(read, reference, report);
    if (frames_alike) {
      report.Block("frames");
    } else {
      CompareFrames(read.model, reference.model, report);
    }
    result = core::CountAsResult(report.Differences());
  }
  if (!report.WriteTo(report_path)) return kStatusWriteFailed;
  return result;
}

int CompareChecked(const char* read, const char* reference, DeviceInfo* device,
                   const char* report) {
  if (read == nullptr || reference == nullptr || device == nullptr || report == nullptr ||
      report[0] == '\0')
    return kStatusNullArgument;
  try {
    return Compare(read, reference, *device, report);
  } catch (const std::bad_alloc&) {
    return kStatusNoMemory;
  }
}

}  // namespace

bool LooksLikeBinaryBitstream(const char* path) {
  const core::UniqueFile file = core::OpenFile(path, "rb");
  return file && LooksLikeBinaryBitstream(file.get());
}

bool LooksLikeBinaryBitstream(std::FILE* file) {
  unsigned char head[64];
  const std::size_t count = std::fread(head, 1, sizeof head, file);
  for (std::size_t i = 0; i < count; ++i) {
    if (head[i] == 0 || head[i] >= 0x80) return true;
  }
  return false;
}

}  // namespace fusekit::bitstream

int fnBITFileCompare(const char* readFile, const char* referenceFile, DeviceInfo* device,
                     const char* reportFile) {
  return fusekit::bitstream::CompareChecked(readFile, referenceFile, device, reportFile);
}

int fnRBTFileCompare(const char* readFile, const char* referenceFile, DeviceInfo* device,
                     const char* reportFile) {
  return fusekit::bitstream::CompareChecked(readFile, referenceFile, device, reportFile);
}
