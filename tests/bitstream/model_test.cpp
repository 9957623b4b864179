// The bitstream model library: the generator's layout, parsing back, the ASCII form, the command
// table, the extractions and every error the parser reports.
#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/bitstream_model/stream.h"
#include "tests/bitstream/bitstream_support.h"
#include "tests/support/temp_dir.h"

namespace {

using namespace fusekit::testing;

Bytes FileBytes(const std::string& path) {
  const std::string text = ReadFile(path);
  return Bytes(text.begin(), text.end());
}

int Parse(const std::string& path, DeviceInfo& device, XFPBitstreamModel& model,
          int kind = kXFPConfig) {
  KvLog log;
  return kind == kXFPReadBack ? XFPObjectFactory::CreateReadBackBitstreamModel(
                                    model, device, log, path.c_str(), nullptr, nullptr)
                              : XFPObjectFactory::CreateConfigBitstreamModel(
                                    model, device, log, path.c_str(), nullptr, nullptr);
}

TEST(BitstreamModel, GeneratorLayoutAndRoundTrip) {
  TempDir dir;
  DeviceInfo device = BitstreamDevice("TestFamily");
  const XFPBitstreamModel model = SampleModel(device, {"Config Mode: SPI", "Usercode: 0x12345678"},
                                              {0x12, 0x34, 0x56, 0x78}, 1);
  const std::string path = dir.Path("a.bit");
  ASSERT_EQ(XFPGenerateBitstream::Generate(model, path.c_str()), 0);
  Bytes expected = {0xFF, 0x00};
  for (const char* entry : {"Config Mode: SPI", "Usercode: 0x12345678"}) {
    expected.insert(expected.end(), entry, entry + std::string(entry).size());
    expected.push_back(0x00);
  }
  const Bytes body = {0xFF, 0xFF, 0xFF, 0xFF, 0xBA, 0xB3,              // preamble, sync
                      0xC3, 0x00, 0x00, 0x00, 0x12, 0x34, 0x56, 0x78,  // usercode
                      0x41, 0x00, 0x00, 0x00, 0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17};
  expected.insert(expected.end(), body.begin(), body.end());
  EXPECT_EQ(FileBytes(path), expected);

  XFPBitstreamModel parsed;
  ASSERT_EQ(Parse(path, device, parsed), 0);
  EXPECT_STREQ(parsed.GetComment(), "Config Mode: SPI\nUsercode: 0x12345678\n");
  ASSERT_EQ(parsed.GetFrameCount(), 2u);
  EXPECT_STREQ(parsed.GetFrame(1)->GetName(), "Data Frame");
  const XFPFrameComponentModel* data = parsed.FindComponent("Data Frame", "Data");
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->GetBitSize(), 64u);
  EXPECT_EQ(data->GetByte(7), 0x17);
  EXPECT_EQ(parsed.FindComponent("Usercode Frame", "CommandInfo")->GetByteSize(), 3u);
  // model -> bitstream -> model -> bitstream gives the same file.
  const std::string again = dir.Path("b.bit");
  ASSERT_EQ(XFPGenerateBitstream::Generate(parsed, again.c_str()), 0);
  EXPECT_EQ(FileBytes(again), expected);
}

TEST(BitstreamModel, AsciiFormAndBackToBinary) {
  TempDir dir;
  DeviceInfo device = BitstreamDevice("CorvaneVorsk");
  XFPBitstreamModel model = SampleModel(device, {"Design: top"}, {}, 2);
  model.SetMarker(true);
  const unsigned char lead[4] = {0xDE, 0xAD, 0xBE, 0xEF};
  model.SetLeadIn(lead);
  model.AddFrame(Frame("Write Patch Init Address Frame", {}, "Unused", 0));
  model.AddFrame(Frame("Write Patch Program Increment Frame", {0xAB, 0xCD}));
  const std::string binary = dir.Path("a.bit");
  const std::string ascii = dir.Path("a.rbt");
  ASSERT_EQ(XFPGenerateBitstream::Generate(model, binary.c_str()), 0);
  ASSERT_EQ(XFPGenerateBitstream::GenerateAscii(model, ascii.c_str()), 0);
  const std::string text = ReadFile(ascii);
  EXPECT_EQ(text.rfind("Corvane Semiconductor Corporation ASCII Bitstream\nCreated by fusekit\n"
                       "CRVN\n00010004DEADBEEF\nDesign: top\n11111111111111111111111111111111\n",
                       0),
            0u)
      << text;
  // binary -> ASCII -> binary.
  XFPBitstreamModel from_ascii;
  ASSERT_EQ(Parse(ascii, device, from_ascii), 0);
  EXPECT_TRUE(from_ascii.HasMarker());
  EXPECT_EQ(from_ascii.GetLeadIn().GetDataSize(), 8);
  const std::string back = dir.Path("back.bit");
  ASSERT_EQ(XFPGenerateBitstream::Generate(from_ascii, back.c_str()), 0);
  EXPECT_EQ(FileBytes(back), FileBytes(binary));
  // The Vorsk extraction adds the patch data as the firmware row.
  SVFPlusData data;
  ASSERT_TRUE(from_ascii.GetVorskSVFPlusData(&data));
  EXPECT_EQ(RowBytes(data, "Firmware_FuseArray_TDI"), (Bytes{0xAB, 0xCD}));
  EXPECT_EQ(data.GetDataField("FuseArray_TDI")->GetRowCount(), 2);
}

TEST(BitstreamModel, ExtractionsAndFlags) {
  TempDir dir;
  DeviceInfo device = BitstreamDevice("TestFamily");
  XFPBitstreamModel model = SampleModel(device, {}, {0xA1, 0xB2, 0xC3, 0xD4}, 2);
  model.AddFrame(Frame("Encrypted Data Frame", {1, 2, 3}));
  model.AddFrame(Frame("Authentication Frame", {9}, "Signature"));
  const std::string path = dir.Path("e.bit");
  ASSERT_EQ(XFPGenerateBitstream::Generate(model, path.c_str()), 0);
  XFPBitstreamModel parsed;
  ASSERT_EQ(Parse(path, device, parsed, kXFPReadBack), 0);
  EXPECT_TRUE(parsed.IsEncrypted());
  EXPECT_TRUE(parsed.IsAuthenticated());
  EXPECT_FALSE(parsed.IsCompressed());
  // The operand of an operand-sized component is its byte count.
  EXPECT_EQ(parsed.FindComponent("Encrypted Data Frame", "CommandInfo")->GetByte(2), 3);
  SVFPlusData plain, sram;
  ASSERT_TRUE(parsed.GetSVFPlusData(&plain));
  ASSERT_TRUE(parsed.GetPelmo2_SRAM_SVFPlusData(&sram));
  // A read-back model fills "FuseArray_TDO" and has no usercode field.
  EXPECT_EQ(RowBytes(plain, "FuseArray_TDO", 2),
            (Bytes{0x20, 0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27}));
  EXPECT_EQ(plain.GetDataField("Usercode_TDI"), nullptr);
  EXPECT_EQ(RowBytes(sram, "FuseArray_TDO", 2),
            (Bytes{Reverse(0x27), Reverse(0x26), Reverse(0x25), Reverse(0x24), Reverse(0x23),
                   Reverse(0x22), Reverse(0x21), Reverse(0x20)}));
  EXPECT_EQ(parsed.GetSize(), 5u);
  parsed.Clear();
  EXPECT_EQ(parsed.GetSize(), 0u);
}

// Keeping some frames: the others are passed over but count for the flags, and a stream
// larger than the parser's read block (a comment entry and data frames across its edges) reads
// the same kept or whole.
TEST(BitstreamModel, KeptFramesAndLargeStreams) {
  TempDir dir;
  DeviceInfo device = TestDevice("TestFamily", 1, 8 * 1000);
  device.SetPhysicalUESLength(32);
  XFPBitstreamModel model;
  model.SetDevice(device);
  const std::string long_entry = "Note: " + std::string(1536 * 1024, 'x');
  model.AddCommentEntry(long_entry.c_str());
  model.AddFrame(Frame("Usercode Frame", {0xA1, 0xB2, 0xC3, 0xD4}, "Usercode"));
  constexpr int kFrames = 3000;  // 3 MB of data frames
  for (int f = 0; f < kFrames; ++f) {
    Bytes data(1000);
    for (int i = 0; i < 1000; ++i)
      data[static_cast<std::size_t>(i)] = static_cast<unsigned char>(f + i);
    model.AddFrame(Frame("Data Frame", data));
  }
  model.AddFrame(Frame("Encrypted Data Frame", {1, 2, 3}));
  const std::string path = dir.Path("large.bit");
  ASSERT_EQ(XFPGenerateBitstream::Generate(model, path.c_str()), 0);

  XFPBitstreamModel whole;
  ASSERT_EQ(Parse(path, device, whole), 0);
  ASSERT_EQ(whole.GetSize(), static_cast<unsigned>(kFrames + 2));
  EXPECT_EQ(std::string(whole.GetComment()), long_entry + "\n");
  for (const int f : {0, 1047, 1048, 2096, kFrames - 1}) {
    const XFPFrameComponentModel* data =
        whole.GetFrame(static_cast<unsigned>(f + 1))->FindComponent("Data");
    ASSERT_NE(data, nullptr);
    ASSERT_EQ(data->GetByteSize(), 1000u);
    EXPECT_EQ(data->GetByte(0), static_cast<unsigned char>(f)) << f;
    EXPECT_EQ(data->GetByte(999), static_cast<unsigned char>(f + 999)) << f;
  }

  static const char* const kUsercodeOnly[] = {"Usercode Frame", nullptr};
  XFPBitstreamModel kept;
  kept.SetDevice(device);
  ASSERT_EQ(kept.Parse(path.c_str(), false, nullptr, kUsercodeOnly), 0);
  EXPECT_EQ(kept.GetSize(), 1u);
  EXPECT_EQ(std::string(kept.GetComment()), long_entry + "\n");
  EXPECT_TRUE(kept.IsEncrypted());
  ASSERT_NE(kept.FindComponent("Usercode Frame", "Usercode"), nullptr);
  EXPECT_EQ(kept.FindComponent("Usercode Frame", "Usercode")->GetByte(3), 0xD4);
  EXPECT_EQ(kept.FindFrame("Data Frame"), nullptr);

  // Cut inside the last data frame, the stream is truncated whichever frames are kept.
  const std::string text = ReadFile(path);
  const std::string cut = dir.Write("cut.bit", text.substr(0, text.size() - 20));
  XFPBitstreamModel truncated;
  truncated.SetDevice(device);
  EXPECT_EQ(truncated.Parse(cut.c_str(), false, nullptr, kUsercodeOnly), kXFPTruncatedCommand);
  EXPECT_EQ(Parse(cut, device, truncated), kXFPTruncatedCommand);
}

// The observer of a parse sees the whole file once, in order, then the end, whatever the
// parse finds: a good stream, one with an error near its start, and the ASCII form.
TEST(BitstreamModel, ObserverSeesTheWholeFile) {
  TempDir dir;
  DeviceInfo device = TestDevice("TestFamily", 1, 8 * 3000);
  XFPBitstreamModel model = SampleModel(device, {"Design: observed"}, {1, 2, 3, 4}, 0);
  Bytes frame(3000);
  for (int f = 0; f < 700; ++f) {  // 2 MB: more than one read block
    for (std::size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<unsigned char>(f * 7 + i);
    model.AddFrame(Frame("Data Frame", frame));
  }
  const std::string good = dir.Path("good.bit");
  ASSERT_EQ(XFPGenerateBitstream::Generate(model, good.c_str()), 0);
  const std::string ascii = dir.Path("good.rbt");
  ASSERT_EQ(XFPGenerateBitstream::GenerateAscii(model, ascii.c_str()), 0);
  std::string text = ReadFile(good);
  const std::size_t sync = text.find("\xBA\xB3");
  ASSERT_NE(sync, std::string::npos);
  std::string broken = text;
  broken[sync + 2] = 0x13;  // an unknown command right after the synchronisation word
  const std::string bad = dir.Write("bad.bit", broken);

  struct Seen {
    std::string bytes;
    int ends = 0;
  };
  auto observe = [](void* context, const unsigned char* bytes, std::size_t count) {
    auto* seen = static_cast<Seen*>(context);
    if (count == 0) {
      ++seen->ends;
    } else {
      EXPECT_EQ(seen->ends, 0) << "bytes after the end";
      seen->bytes.append(reinterpret_cast<const char*>(bytes), count);
    }
  };
  static const char* const kNone[] = {nullptr};
  const struct {
    std::string path;
    bool ascii;
    int status;
  } cases[] = {{good, false, 0}, {bad, false, kXFPUnknownCommand}, {ascii, true, 0}};
  for (const auto& c : cases) {
    Seen seen;
    XFPBitstreamModel parsed;
    parsed.SetDevice(device);
    EXPECT_EQ(parsed.Parse(c.path.c_str(), c.ascii, nullptr, kNone, observe, &seen), c.status)
        << c.path;
    EXPECT_EQ(seen.ends, 1) << c.path;
    EXPECT_TRUE(seen.bytes == ReadFile(c.path)) << c.path;
  }
  Seen nothing;
  XFPBitstreamModel parsed;
  parsed.SetDevice(device);
  EXPECT_EQ(parsed.Parse(dir.Path("missing.bit").c_str(), false, nullptr, kNone, observe, &nothing),
            kXFPCannotOpen);
  EXPECT_EQ(nothing.ends, 0);
}

// What a parse with every frame passed over finds, and the bytes it was shown; with a split, the
// reader's side on this thread and the helper's on another.
struct SplitParse {
  int status = kXFPOk;
  fusekit::bitstream_model::Stream out;
  std::string reader_seen;
  std::string helper_seen;
  std::uint64_t split = 0;  // where the helper started, when split
  bool helper_read_to_end = false;
};

void Append(void* context, const unsigned char* bytes, std::size_t count) {
  if (count != 0)
    static_cast<std::string*>(context)->append(reinterpret_cast<const char*>(bytes), count);
}

SplitParse ParsePassingFrames(const std::string& path, const DeviceInfo& device,
                              std::uint64_t min_split_bytes, bool split_it) {
  namespace bm = fusekit::bitstream_model;
  static const char* const kNoFrames[] = {nullptr};
  SplitParse parse;
  std::vector<bm::CommandDef> table;
  EXPECT_TRUE(bm::CommandTableOf(device, table));
  const bm::FileObserver observer{&Append, &parse.reader_seen};
  if (!split_it) {
    parse.status = bm::ParseFile(path.c_str(), false, table, device, bm::FrameFilter{kNoFrames},
                                 observer, parse.out);
    return parse;
  }
  bm::CommandSplit split(ReadFile(path).size(), min_split_bytes);
  std::thread helper([&] {
    std::uint64_t from = 0;
    if (!split.AwaitSplit(from)) return;
    parse.split = from;
    parse.helper_read_to_end =
        bm::ParseHelperPart(path.c_str(), device, from, split, &Append, &parse.helper_seen);
  });
  // The split is decided once the helper is ready: where it falls is then known.
  while (!split.HelperReady()) std::this_thread::yield();
  parse.status = bm::ParseFile(path.c_str(), false, table, device, bm::FrameFilter{kNoFrames},
                               observer, parse.out, &split);
  split.Decline();
  helper.join();
  return parse;
}

// A stream parsed by two threads, split in a run of frames, finds what its parse by one thread
// finds: the same status and message (with the offset of a bad command after the split), frame
// count and flags. Each side reads its part, the reader no more than a block past the split, and
// the reader passes over a long frame after the split unread. Streams of short and long frames,
// a run broken at the middle by a longer command, an encrypted frame, padding, bad commands before
// and after the middle and streams cut anywhere.
TEST(BitstreamModel, ASplitParseFindsWhatOneThreadFinds) {
  TempDir dir;
  const auto stream = [&](const std::string& name, std::size_t frame_bytes, int frames,
                          const std::function<void(XFPBitstreamModel&, int)>& after) {
    DeviceInfo device = TestDevice("TestFamily", 1, static_cast<unsigned>(8 * frame_bytes));
    XFPBitstreamModel model = SampleModel(device, {"Design: split"}, {1, 2, 3, 4}, 0);
    Bytes data(frame_bytes);
    for (int f = 0; f < frames; ++f) {
      for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<unsigned char>(f + i);
      model.AddFrame(Frame("Data Frame", data));
      if (after) after(model, f);
    }
    const std::string path = dir.Path(name);
    EXPECT_EQ(XFPGenerateBitstream::Generate(model, path.c_str()), 0);
    return std::make_pair(path, device);
  };
  const auto encrypted_at = [](int at, std::size_t bytes) {
    return [at, bytes](XFPBitstreamModel& model, int f) {
      if (f == at) model.AddFrame(Frame("Encrypted Data Frame", Bytes(bytes, 0x5A)));
    };
  };
  struct Case {
    std::pair<std::string, DeviceInfo> file;
    bool lands;  // the reader arrives at the split of the whole file
  };
  const std::vector<Case> cases = {
      {stream("short.bit", 1024, 2500, nullptr), true},
      {stream("long.bit", 600 * 1024, 6, nullptr), true},
      {stream("encrypted-late.bit", 1024, 2500, encrypted_at(2400, 100)), true},
      {stream("broken-run.bit", 1024, 2500, encrypted_at(1230, 40 * 1024)), false},
  };
  for (const Case& c : cases) {
    const std::string& good = c.file.first;
    const DeviceInfo& device = c.file.second;
    const std::string text = ReadFile(good);
    std::vector<std::pair<std::string, bool>> files = {{good, c.lands}};
    for (const std::size_t cut : {text.size() / 3, text.size() / 2 + 1, text.size() - 3})
      files.emplace_back(dir.Write("cut" + std::to_string(cut) + ".bit", text.substr(0, cut)),
                         false);
    if (good.find("short") != std::string::npos) {
      // A bad command and padding at a frame boundary well past the middle, where the helper
      // meets them, and near the start, where the reader does. The stream ends with its frames.
      const auto boundary = [&](std::size_t frames_from_end) {
        return text.size() - frames_from_end * (4 + 1024);
      };
      ASSERT_EQ(static_cast<unsigned char>(text[boundary(1)]), 0x41);
      for (const std::size_t from_end : {std::size_t{1000}, std::size_t{2400}}) {
        std::string bad = text;
        bad[boundary(from_end)] = static_cast<char>(0x99);
        files.emplace_back(dir.Write("bad" + std::to_string(from_end) + ".bit", bad),
                           from_end == 1000);
        std::string padded = text;
        padded.insert(boundary(from_end), "\xFF\xFF\xFF");
        files.emplace_back(dir.Write("padded" + std::to_string(from_end) + ".bit", padded),
                           from_end == 1000);
      }
    }
    for (const auto& [path, lands] : files) {
      const std::string whole = ReadFile(path);
      const SplitParse alone = ParsePassingFrames(path, device, 0, false);
      for (const std::uint64_t min_bytes : {std::uint64_t{0}, std::uint64_t{1} << 40}) {
        SCOPED_TRACE(path + ", split from " + std::to_string(min_bytes) + " bytes");
        const SplitParse split = ParsePassingFrames(path, device, min_bytes, true);
        EXPECT_EQ(split.status, alone.status);
        EXPECT_EQ(split.out.error, alone.out.error);
        EXPECT_EQ(split.out.frames_passed, alone.out.frames_passed);
        EXPECT_EQ(split.out.encrypted, alone.out.encrypted);
        const std::uint64_t reader_end =
            split.split != 0 ? split.split : std::uint64_t{whole.size() / 2};
        // Bytes past the reader's part may have been passed over unread.
        ASSERT_GE(split.reader_seen.size(), reader_end);
        EXPECT_TRUE(whole.compare(0, reader_end, split.reader_seen, 0, reader_end) == 0);
        if (split.split != 0) {
          EXPECT_TRUE(split.helper_read_to_end);
          EXPECT_EQ(split.helper_seen, whole.substr(split.split));
        }
        if (min_bytes == 0 && lands) {
          ASSERT_NE(split.split, 0u);
          EXPECT_LE(split.reader_seen.size(), split.split + 512 * 1024);
        }
      }
    }
  }
}

// A command table from the device record: other opcodes, and a frame the default does not have.
TEST(BitstreamModel, CommandTableOfTheDevice) {
  TempDir dir;
  DeviceInfo device = BitstreamDevice("TestFamily");
  device.SetBitstreamCommands("# ours\n61 Data Frame: Data=frame\n62 Trailer: Tail=2\n");
  XFPBitstreamModel model = SampleModel(device, {}, {}, 1);
  model.AddFrame(Frame("Trailer", {0x55, 0xAA}, "Tail"));
  const std::string path = dir.Path("t.bit");
  ASSERT_EQ(XFPGenerateBitstream::Generate(model, path.c_str()), 0);
  const Bytes file = FileBytes(path);
  EXPECT_EQ(file[8], 0x61);
  EXPECT_EQ(Bytes(file.end() - 6, file.end()), (Bytes{0x62, 0, 0, 0, 0x55, 0xAA}));
  XFPBitstreamModel parsed;
  ASSERT_EQ(Parse(path, device, parsed), 0);
  EXPECT_EQ(parsed.FindComponent("Trailer", "Tail")->GetByte(1), 0xAA);
  // The default table does not know opcode 0x62; a usercode frame is not in this table.
  DeviceInfo plain = BitstreamDevice("TestFamily");
  EXPECT_EQ(Parse(path, plain, parsed), kXFPUnknownCommand);
  XFPBitstreamModel with_usercode = SampleModel(device, {}, {1, 2, 3, 4}, 1);
  EXPECT_EQ(XFPGenerateBitstream::Generate(with_usercode, path.c_str()), kXFPUnknownFrame);
  for (const char* bad : {"ZZ Data Frame: Data=frame", "61 Data Frame: Data=lots",
                          "61 Data Frame [secret]", "61 A\n61 B", "FF Padding"}) {
    device.SetBitstreamCommands(bad);
    EXPECT_EQ(Parse(path, device, parsed), kXFPBadCommandTable) << bad;
  }
}

TEST(BitstreamModel, ErrorsOfTheParser) {
  const Bytes good_head = {0xFF, 0x00, 'A', ':', ' ', 'b', 0x00};
  auto with = [&](Bytes tail) {
    Bytes file = good_head;
    file.insert(file.end(), tail.begin(), tail.end());
    return file;
  };
  const struct {
    const char* what;
    Bytes file;
    int status;
  } cases[] = {
      {"a good stream", with({0xFF, 0xBA, 0xB3, 0x41, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8}), 0},
      {"padding between commands", with({0xFF, 0xBA, 0xB3, 0xFF, 0xFF, 0x79, 0, 0, 0}), 0},
      {"only 0xFF", Bytes(64, 0xFF), kXFPNoHeader},
      {"no header at all", Bytes{0x41, 0x42}, kXFPNoHeader},
      {"a header without its closing 0xFF", Bytes{0xFF, 0x00, 'A', 0x00, 'B', 0x00},
       kXFPHeaderNotClosed},
      {"a comment block without NUL", Bytes{0xFF, 0x00, 'A', ':', 'b', 0xFF, 0xBA, 0xB3},
       kXFPCommentNotEnded},
      {"no synchronisation word", with({0xFF, 0xFF, 0xB3, 0xBA}), kXFPNoSync},
      {"the file ends in the preamble", with({0xFF, 0xFF}), kXFPNoSync},
      {"an unknown command", with({0xFF, 0xBA, 0xB3, 0x13, 0, 0, 0}), kXFPUnknownCommand},
      {"a command past the end", with({0xFF, 0xBA, 0xB3, 0x41, 0, 0, 0, 1, 2, 3}),
       kXFPTruncatedCommand},
      {"an operand past the end", with({0xFF, 0xBA, 0xB3, 0x81, 0, 0x10, 0, 1, 2}),
       kXFPTruncatedCommand},
      {"no operand bytes", with({0xFF, 0xBA, 0xB3, 0x41, 0}), kXFPTruncatedCommand},
  };
  TempDir dir;
  DeviceInfo device = BitstreamDevice("TestFamily");
  static const char* const kNoFrames[] = {nullptr};
  for (const auto& c : cases) {
    const std::string path = dir.Write("f.bit", std::string(c.file.begin(), c.file.end()));
    XFPBitstreamModel model;
    EXPECT_EQ(Parse(path, device, model), c.status) << c.what;
    // A parse that keeps no frame still checks every one of them.
    model.SetDevice(device);
    EXPECT_EQ(model.Parse(path.c_str(), false, nullptr, kNoFrames), c.status) << c.what;
  }
  XFPBitstreamModel model;
  EXPECT_EQ(Parse(dir.Path("missing.bit"), device, model), kXFPCannotOpen);
  EXPECT_EQ(Parse(dir.Write("empty.rbt", "just a banner\n"), device, model), kXFPNoData);
  // The comment of a file, without a device.
  XFPBitstreamFile file;
  ASSERT_EQ(file.OpenFile(dir.Write("c.bit", std::string("\xFF\x00Key: v\x00\xFF", 10)).c_str()),
            0);
  EXPECT_STREQ(file.GetComment(), "Key: v\n");
  EXPECT_EQ(file.OpenFile(dir.Path("missing.bit").c_str()), kXFPCannotOpen);
}

}  // namespace
