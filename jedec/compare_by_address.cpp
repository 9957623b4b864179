// fnJEDFileCompareByAddress: two JEDEC fuse maps compared fuse by fuse, whatever their layout.
//
// Without a device, both files are read at once, each on its own thread, into windows of their
// fuse maps: the reference's windows go through a pipe to the read file's side, which compares
// each of its own windows with them. No whole map is made, so memory stays at a few windows
// whatever the fuse count and no fresh memory of the map's size is touched. A file whose L fields
// go back to fuses already handed on, or gives QF after an L field, is read again into a whole
// map, as the files are with a device.
#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "core/file_io.h"
#include "core/status.h"
#include "fusekit/jedec.h"
#include "jedec/compare_by_address.h"
#include "jedec/field_stream.h"
#include "jedec/reader.h"
#include "support/util/byte_pipe.h"
#include "support/util/populated_buffer.h"
#include "support/util/reused_block.h"
#include "support/util/side_task.h"

namespace fusekit::jedec {
namespace {

constexpr std::size_t kWindowBytes = 64 * 1024;
constexpr std::size_t kPipeBytes = 4 * kWindowBytes;  // whole windows, so none is split
constexpr int kListedMost = static_cast<int>(sizeof(JEDECAddressCompare::address) /
                                             sizeof(JEDECAddressCompare::address[0]));
constexpr std::uint8_t kUnlistedFuses = 0xFF;  // the reader's value of a fuse no field gives

// The most fuses a file of its size may declare without a device: eight a byte, so that a small
// file cannot make the compare walk a map of billions of fuses.
std::uint64_t MostFusesWithoutDevice(std::FILE* file) {
  constexpr std::uint64_t kFloor = std::uint64_t{1} << 20;
  const std::uint64_t bytes = core::FileSize(file);
  if (bytes > std::numeric_limits<std::uint32_t>::max() / 8)
    return std::numeric_limits<std::uint32_t>::max();
  return std::max(kFloor, bytes * 8);
}

// The differing fuses, counted and the first of them listed.
class DifferenceCount {
 public:
  explicit DifferenceCount(JEDECAddressCompare& result) : result_(result) {
    result_.differences = 0;
    result_.listed = 0;
  }

  // count bytes of both maps, holding fuses from first on, of which those below end are compared.
  void Add(const std::uint8_t* read, const std::uint8_t* reference, std::size_t count,
           std::uint64_t first, std::uint64_t end) {
    const std::uint64_t fuses =
        std::min<std::uint64_t>(count * 8ULL, end > first ? end - first : 0);
    const std::size_t whole = static_cast<std::size_t>(fuses / 8);
    std::size_t i = 0;
    for (; whole - i >= 8; i += 8) {
      std::uint64_t a = 0;
      std::uint64_t b = 0;
      std::memcpy(&a, read + i, 8);
      std::memcpy(&b, reference + i, 8);
      if (a == b) continue;
      for (std::size_t k = i; k < i + 8; ++k) AddByte(read[k], reference[k], first + 8 * k, 0xFF);
    }
    for (; i < whole; ++i) AddByte(read[i], reference[i], first + 8 * i, 0xFF);
    if (fuses % 8 != 0) {
      AddByte(read[whole], reference[whole], first + 8 * whole,
              static_cast<unsigned>(0xFF00u >> (fuses % 8)) & 0xFFu);
    }
  }

 private:
  void AddByte(unsigned read, unsigned reference, std::uint64_t first, unsigned mask) {
    const unsigned differing = (read ^ reference) & mask;
    if (differing == 0) return;
    result_.differences += static_cast<unsigned>(__builtin_popcount(differing));
    for (unsigned bit = 0; bit < 8 && result_.listed < kListedMost; ++bit) {
      if ((differing & (0x80u >> bit)) == 0) continue;
      result_.address[result_.listed] = first + bit;
      result_.readValue[result_.listed] = static_cast<unsigned char>((read >> (7 - bit)) & 1u);
      ++result_.listed;
    }
  }

  JEDECAddressCompare& result_;
};

// A fuse map made a window at a time, each window handed on when the list has moved past it,
// with the JEDEC checksum of the fuses in them.
class WindowedMap : public FuseWindows {
 public:
  // The map may have at most most fuses; a stream that declares more stops.
  void LimitFuses(std::uint64_t most) { most_fuses_ = most; }

  bool Start(std::uint64_t fuse_count, std::uint8_t fill, FuseWindow& window) override {
    started_ = true;
    if (fuse_count > most_fuses_) {
      too_many_ = true;
      return false;
    }
    fuse_count_ = fuse_count;
    fill_ = fill;
    if (!Open(0)) return false;
    window = current_;
    return true;
  }

  bool MoveTo(std::uint64_t n, FuseWindow& window) override {
    while (n >= current_.end) {
      if (!Close() || !Open(current_.first / 8 + size_)) return false;
    }
    window = current_;
    return true;
  }

  // After the stream's ETX: every window to the map's end handed on (a stream without an L
  // field starts its map here).
  bool Finish(const FieldStream& stream) {
    if (!started_ && !Start(stream.fuse_count, FillOf(stream, kUnlistedFuses), current_))
      return false;
    for (;;) {
      if (!Close()) return false;
      const std::uint64_t next = current_.first / 8 + size_;
      if (next >= MapBytes()) return true;
      if (!Open(next)) return false;
    }
  }

  bool TooManyFuses() const { return too_many_; }
  std::uint16_t Checksum() const { return checksum_; }

 protected:
  std::uint64_t FuseCount() const { return fuse_count_; }
  // Room for the next window, of size bytes at most (it may lower size); null when stopped.
  virtual std::uint8_t* Take(std::size_t& size) = 0;
  // The window's bytes, holding the fuses from first on, are done.
  virtual bool Hand(const std::uint8_t* bytes, std::size_t size, std::uint64_t first) = 0;

 private:
  std::uint64_t MapBytes() const { return (fuse_count_ + 7) / 8; }

  bool Open(std::uint64_t byte) {
    std::size_t size =
        static_cast<std::size_t>(std::min<std::uint64_t>(kWindowBytes, MapBytes() - byte));
    std::uint8_t* bytes = nullptr;
    if (size != 0) {
      bytes = Take(size);
      if (bytes == nullptr) return false;
      std::memset(bytes, fill_, size);
    }
    size_ = size;
    current_ = FuseWindow{bytes, byte * 8, std::min<std::uint64_t>(fuse_count_, (byte + size) * 8)};
    return true;
  }

  bool Close() {
    checksum_ = static_cast<std::uint16_t>(
        checksum_ + FuseChecksum(current_.bytes, current_.end - current_.first));
    return Hand(current_.bytes, size_, current_.first);
  }

  std::uint64_t most_fuses_ = 0;
  bool started_ = false;
  bool too_many_ = false;
  std::uint64_t fuse_count_ = 0;
  std::uint8_t fill_ = kUnlistedFuses;
  FuseWindow current_;
  std::size_t size_ = 0;  // bytes of the current window
  std::uint16_t checksum_ = 0;
};

// The reference's map, its windows made in the pipe's ring.
class PipedMap : public WindowedMap {
 public:
  explicit PipedMap(util::BytePipe& pipe) : pipe_(pipe) {}

 protected:
  std::uint8_t* Take(std::size_t& size) override {
    unsigned char* at = nullptr;
    const std::size_t room = pipe_.Room(at, size);
    if (room == 0) return nullptr;
    size = std::min(size, room);
    return at;
  }
  bool Hand(const std::uint8_t*, std::size_t size, std::uint64_t) override {
    pipe_.Commit(size);
    return true;
  }

 private:
  util::BytePipe& pipe_;
};

// The read file's map, each window compared with the reference's bytes from the pipe.
class ComparedMap : public WindowedMap {
 public:
  ComparedMap(util::BytePipe& pipe, DifferenceCount& found)
      : pipe_(pipe), found_(found), window_(kWindowBytes) {}

 protected:
  std::uint8_t* Take(std::size_t&) override { return window_.Data(); }
  bool Hand(const std::uint8_t* bytes, std::size_t size, std::uint64_t first) override {
    for (std::size_t done = 0; done < size;) {
      const unsigned char* at = nullptr;
      const std::size_t held = pipe_.Peek(at);
      if (held == 0) return false;  // the reference's map ended first, or it failed
      const std::size_t run = std::min(held, size - done);
      found_.Add(bytes + done, at, run, first + 8ULL * done, FuseCount());
      pipe_.Consume(run);
      done += run;
    }
    return true;
  }

 private:
  util::BytePipe& pipe_;
  DifferenceCount& found_;
  util::ReusedBlock window_;
};

// Reads one file's field stream into the map's windows. Result 0, a reader status, or
// kListWentBack when the file must be read into a whole map.
int ReadIntoWindows(const char* path, WindowedMap& map, FieldStream& stream) {
  core::UniqueFile file = core::OpenFile(path, "rb");
  if (!file) return kStatusOpenFailed;
  map.LimitFuses(MostFusesWithoutDevice(file.get()));
  core::TextReader in(file.get());
  if (!SkipToStx(in)) return kStatusNoFuseData;
  FuseListLimits limits = LimitsWithoutDevice();
  limits.windows = &map;
  int status = ReadFieldStream(in, limits, nullptr, stream);
  if (status == 0 && !stream.has_qf) return kStatusReadFailed;
  if (status == 0 && !map.Finish(stream)) status = kWindowsStopped;
  if (map.TooManyFuses()) return kStatusReadFailed;
  if (status != 0) return status;
  if (stream.has_checksum && stream.checksum != 0 &&
      map.Checksum() != static_cast<std::uint16_t>(stream.checksum)) {
    // A file with an E field may count its fuses without the E field's length: the whole map
    // tells.
    return stream.has_e ? kListWentBack : kStatusChecksumMismatch;
  }
  return 0;
}

int Failed(JEDECAddressCompare& result, int status, int file) {
  result.faultyFile = file;
  return status;
}

bool IsFileStatus(int status) {
  return status != 0 && status != kListWentBack && status != kWindowsStopped;
}

// The windowed compare; kListWentBack when the files must be read into whole maps, as when no
// second thread can be started.
int CompareInWindows(const char* read, const char* reference, JEDECAddressCompare& result) {
  util::BytePipe pipe(kPipeBytes);
  DifferenceCount found(result);
  int statuses[2] = {kListWentBack, kListWentBack};  // the reference's, the read file's
  FieldStream streams[2];
  const bool ran = util::RunSideBySide([&](int side) {
    const char* path = side == 0 ? reference : read;
    try {
      if (side == 0) {
        PipedMap map(pipe);
        statuses[0] = ReadIntoWindows(path, map, streams[0]);
      } else {
        ComparedMap map(pipe, found);
        statuses[1] = ReadIntoWindows(path, map, streams[1]);
        const unsigned char* at = nullptr;
        // Bytes of the reference left over: its map is larger.
        if (statuses[1] == 0 && pipe.Peek(at) != 0) statuses[1] = kWindowsStopped;
      }
    } catch (const std::bad_alloc&) {
      statuses[side] = kStatusNoMemory;
    }
    if (side == 0) {
      pipe.Finish();
    } else {
      pipe.Stop();
    }
  });
  if (!ran) return kListWentBack;
  if (IsFileStatus(statuses[1])) return Failed(result, statuses[1], 1);
  if (IsFileStatus(statuses[0])) return Failed(result, statuses[0], 2);
  if (statuses[0] == kListWentBack || statuses[1] == kListWentBack) return kListWentBack;
  if (statuses[0] != 0 || statuses[1] != 0 || streams[0].fuse_count != streams[1].fuse_count)
    return Failed(result, kStatusReadFailed, 0);  // two different QF
  return 0;
}

// One file's whole fuse map, as the JEDEC reader lays it out.
struct WholeMap {
  util::PopulatedBuffer bytes;
  std::uint64_t fuse_count = 0;
  int status = 0;
};

// The map for the device.
void ReadForDevice(const char* path, const DeviceInfo& device, WholeMap& map) {
  const std::uint64_t buffer_bytes = 2 * ((device.GetFuseNumber() + 15ULL) / 16);
  map.bytes = util::PopulatedBuffer(static_cast<std::size_t>(WorkingBytes(device, buffer_bytes)));
  DeviceInfo copy = device;
  map.fuse_count = device.GetFuseNumber();
  map.status = ReadJedec({path, &copy, buffer_bytes, 0, map.bytes.Data(), Maps{}, nullptr, nullptr,
                          nullptr, nullptr, nullptr});
}

// The map for a record of the file's own QF: its fuse list read once for QF, then into the map.
void ReadWithoutDevice(const char* path, WholeMap& map) {
  core::UniqueFile file = core::OpenFile(path, "rb");
  if (!file) {
    map.status = kStatusOpenFailed;
    return;
  }
  const std::uint64_t most = MostFusesWithoutDevice(file.get());
  FuseListLimits limits = LimitsWithoutDevice();
  FieldStream stream;
  {
    core::TextReader in(file.get());
    map.status = SkipToStx(in) ? ReadFieldStream(in, limits, nullptr, stream) : kStatusNoFuseData;
  }
  if (map.status != 0) return;
  if (!stream.has_qf || stream.fuse_count > most) {
    map.status = kStatusReadFailed;
    return;
  }
  map.fuse_count = stream.fuse_count;
  const std::uint64_t bytes = (map.fuse_count + 7) / 8;
  map.bytes = util::PopulatedBuffer(static_cast<std::size_t>(std::max<std::uint64_t>(bytes, 1)));
  limits.accept_any_count = false;
  limits.device_fuses = map.fuse_count;
  limits.capacity_bits = bytes * 8;
  std::rewind(file.get());
  core::TextReader in(file.get());
  SkipToStx(in);
  map.status = ReadFieldStream(in, limits, map.bytes.Data(), stream);
  ClearUpTo(map.bytes.Data(), stream, bytes, kUnlistedFuses);
  std::uint64_t checked = 0;
  if (map.status == 0 && !ChecksumHolds(map.bytes.Data(), stream, checked))
    map.status = kStatusChecksumMismatch;
}

}  // namespace

int CompareWholeMaps(const char* read, const char* reference, const DeviceInfo* device,
                     JEDECAddressCompare& result) {
  WholeMap maps[2];  // the read file's, the reference's
  util::RunForBoth([&](int i) {
    const char* path = i == 0 ? read : reference;
    try {
      if (device != nullptr) {
        ReadForDevice(path, *device, maps[i]);
      } else {
        ReadWithoutDevice(path, maps[i]);
      }
    } catch (const std::bad_alloc&) {
      maps[i].status = kStatusNoMemory;
    }
  });
  for (int i = 0; i < 2; ++i) {
    if (maps[i].status != 0) return Failed(result, maps[i].status, i + 1);
  }
  if (maps[0].fuse_count != maps[1].fuse_count) return Failed(result, kStatusReadFailed, 0);
  DifferenceCount found(result);
  const std::uint64_t fuses = maps[0].fuse_count;
  found.Add(maps[0].bytes.Data(), maps[1].bytes.Data(), static_cast<std::size_t>((fuses + 7) / 8),
            0, fuses);
  return 0;
}

}  // namespace fusekit::jedec

int fnJEDFileCompareByAddress(const char* readFile, const char* referenceFile, DeviceInfo* device,
                              JEDECAddressCompare* result) {
  if (readFile == nullptr || referenceFile == nullptr || result == nullptr)
    return fusekit::kStatusNullArgument;
  std::memset(result, 0, sizeof *result);
  if (device == nullptr) {
    const int status = fusekit::jedec::CompareInWindows(readFile, referenceFile, *result);
    if (status != fusekit::jedec::kListWentBack) return status;
    std::memset(result, 0, sizeof *result);
  }
  return fusekit::jedec::CompareWholeMaps(readFile, referenceFile, device, *result);
}
