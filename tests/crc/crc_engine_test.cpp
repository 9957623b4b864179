// The table-driven CRC engines against the bit-serial references on many random inputs.
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "crc/file_crc.h"
#include "fusekit/fusekit.h"
#include "support/util/crc_engine.h"
#include "tests/support/crc_reference.h"

namespace {

using fusekit::crc_engine::DataCrc32;

std::vector<std::uint8_t> RandomBytes(std::mt19937& rng, std::size_t count) {
  std::vector<std::uint8_t> bytes(count);
  for (auto& b : bytes) b = static_cast<std::uint8_t>(rng());
  return bytes;
}

TEST(DataCrcEngine, MatchesBitSerialOnEveryWidthFrom1To64) {
  std::mt19937 rng(20261121);
  for (unsigned width = 1; width <= 64; ++width) {
    for (int trial = 0; trial < 200; ++trial) {
      // Mostly the natural ceil(W/8) bytes, sometimes more or fewer than the width needs.
      const std::size_t natural = (width + 7) / 8;
      const std::size_t count = trial % 5 == 0   ? natural + rng() % 4
                                : trial % 7 == 0 ? 1 + rng() % natural
                                                 : natural;
      const auto row = RandomBytes(rng, count);
      const std::uint32_t start = rng();
      DataCrc32 crc(start);
      crc.AddRow(row.data(), row.size(), width);
      ASSERT_EQ(crc.Value(), fusekit::reference::DataCrcRow(start, row.data(), count, width))
          << std::hex << "width " << std::dec << width << " bytes " << count << " start 0x"
          << std::hex << start;
    }
  }
}

TEST(DataCrcEngine, MatchesBitSerialOnLongRows) {
  std::mt19937 rng(7);
  for (std::size_t count : {7u, 8u, 9u, 15u, 16u, 17u, 63u, 64u, 65u, 1000u, 4099u}) {
    const auto row = RandomBytes(rng, count);
    for (std::uint64_t width : {count * 8, count * 8 - 3, count * 8 + 9, count * 4 + 1}) {
      DataCrc32 crc;
      crc.AddRow(row.data(), row.size(), width);
      EXPECT_EQ(crc.Value(), fusekit::reference::DataCrcRow(0, row.data(), count, width))
          << "bytes " << count << " width " << width;
    }
  }
}

// Rows long enough to be folded: every length around the four-block steps and, from 512
// bytes, the sixteen-block steps of the 512-bit registers, from a running register, with widths
// that cut the row or go past it.
TEST(DataCrcEngine, FoldedRowsMatchBitSerial) {
  std::mt19937 rng(32);
  for (std::size_t count = 250; count <= 1100; count += count < 330 || count > 500 ? 1 : 50) {
    const auto row = RandomBytes(rng, count);
    const std::uint32_t start = rng();
    for (std::uint64_t width : {count * 8, count * 8 - 5, count * 8 + 3, std::uint64_t{2100}}) {
      DataCrc32 crc(start);
      crc.AddRow(row.data(), row.size(), width);
      ASSERT_EQ(crc.Value(), fusekit::reference::DataCrcRow(start, row.data(), count, width))
          << "bytes " << count << " width " << width;
    }
  }
}

// Rows fed through the batch, which gathers short whole-byte rows into one folded run, give
// what the bit-serial definition gives row by row: runs of thousands of 16-byte rows (several
// stage buffers), mixed with rows that feed part of a byte, long rows, rows shorter than their
// width and empty ones.
TEST(DataCrcEngine, BatchOfRowsMatchesBitSerial) {
  std::mt19937 rng(1121);
  for (int trial = 0; trial < 40; ++trial) {
    const std::uint32_t start = rng();
    fusekit::crc_engine::DataCrc32Batch batch(start);
    std::uint32_t expected = start;
    const int rows = trial < 4 ? 3000 : 1 + static_cast<int>(rng() % 400);
    for (int r = 0; r < rows; ++r) {
      const unsigned kind = trial < 4 ? 0 : rng() % 6;
      const std::size_t count = kind == 0   ? 16
                                : kind == 1 ? 1 + rng() % 255
                                : kind == 2 ? 256 + rng() % 600
                                : kind == 3 ? 1 + rng() % 40
                                : kind == 4 ? 17
                                            : 0;
      const auto row = RandomBytes(rng, count);
      const std::uint64_t width = kind == 3   ? count * 8 - rng() % 8  // part of a byte
                                  : kind == 4 ? count * 8 + 5          // wider than its bytes
                                  : kind == 5 ? 8
                                              : count * 8;
      batch.AddRow(count == 0 ? nullptr : row.data(), count, width);
      if (count != 0) expected = fusekit::reference::DataCrcRow(expected, row.data(), count, width);
    }
    ASSERT_EQ(batch.Value(), expected) << "trial " << trial;
    ASSERT_EQ(batch.Value(), expected) << "a second reading";
  }
}

// Runs of rows handed over at once, as a reader decodes them: runs of 16-byte rows folded in
// place, walking up, of every length around the fold's four- and sixteen-block steps, between
// rows fed one by one and runs of other rows, give what the bit-serial definition gives.
TEST(DataCrcEngine, RunsOfRowsMatchBitSerial) {
  std::mt19937 rng(1124);
  std::vector<std::size_t> lengths;
  for (std::size_t rows = 1; rows <= 70; ++rows) lengths.push_back(rows);
  for (std::size_t rows : {95u, 96u, 97u, 127u, 128u, 129u, 1023u, 1024u, 3001u})
    lengths.push_back(rows);
  for (std::size_t rows : lengths) {
    const std::uint32_t start = rng();
    fusekit::crc_engine::DataCrc32Batch batch(start);
    std::uint32_t expected = start;
    const auto one = RandomBytes(rng, 16);
    batch.AddRow(one.data(), 16, 128);  // staged, then fed before the run
    expected = fusekit::reference::DataCrcRow(expected, one.data(), 16, 128);
    for (const auto& [count, width] :
         {std::pair<std::size_t, std::uint64_t>{16, 128}, {16, 200}, {16, 125}, {5, 40}}) {
      const auto run = RandomBytes(rng, rows * count);
      batch.AddRows(run.data(), rows, count, width);
      for (std::size_t r = 0; r < rows; ++r)
        expected = fusekit::reference::DataCrcRow(expected, run.data() + r * count, count, width);
    }
    ASSERT_EQ(batch.Value(), expected) << rows << " rows";
  }
}

TEST(DataCrcEngine, MultiRowMultiFieldGetDataCrcMatchesBitSerial) {
  std::mt19937 rng(99);
  for (int trial = 0; trial < 50; ++trial) {
    SVFPlusData data;
    SVFDataField* fields[3];
    std::uint32_t expected = 0;
    for (auto& field : fields) {
      field = data.AddDataField();
      const int rows = 1 + static_cast<int>(rng() % 6);
      for (int r = 0; r < rows; ++r) {
        const unsigned width = 1 + rng() % 300;
        const auto bytes = RandomBytes(rng, (width + 7) / 8);
        KvByteBuffer* row = field->AddRow(width);
        for (auto b : bytes) row->WriteData(b);
        expected = fusekit::reference::DataCrcRow(expected, bytes.data(), bytes.size(), width);
      }
    }
    char text[9];
    GetDataCRC(nullptr, fields[0], fields[1], fields[2], true, text);
    ASSERT_EQ(GetBlockCRCRegister(), expected) << "trial " << trial;
  }
}

TEST(Crc16Engines, MatchBitSerialOnRandomSplitInputs) {
  std::mt19937 rng(5);
  for (int trial = 0; trial < 300; ++trial) {
    const auto bytes = RandomBytes(rng, rng() % 200);
    // Fed in two pieces at a random split, so that both the sliced and the byte paths run from
    // every alignment.
    const std::size_t split = bytes.empty() ? 0 : rng() % (bytes.size() + 1);
    const auto ccitt = fusekit::crc_engine::Ccitt16::Update(
        fusekit::crc_engine::Ccitt16::Update(0xFFFF, bytes.data(), split), bytes.data() + split,
        bytes.size() - split);
    ASSERT_EQ(ccitt, fusekit::reference::Crc16Msb(0x1021, 0xFFFF, bytes.data(), bytes.size()))
        << "trial " << trial;
    const auto vandi = fusekit::crc_engine::Vandi16::Update(0xFFFF, bytes.data(), bytes.size());
    ASSERT_EQ(vandi, fusekit::reference::Crc16Msb(0x8005, 0xFFFF, bytes.data(), bytes.size()))
        << "trial " << trial;
  }
}

// Long runs go through the carry-less folding where the processor has it: every length around
// the four-block steps, from several starting values, against the tables alone and the
// bit-serial reference.
TEST(Crc16Engines, FoldingMatchesTheTables) {
  using fusekit::crc_engine::Ccitt16;
  using fusekit::crc_engine::Vandi16;
  std::mt19937 rng(16);
  const auto bytes = RandomBytes(rng, 4096 + 64);
  // From 240 bytes the four 128-bit lanes fold; from 512 the four 512-bit registers do, where
  // the processor has them, with every count of blocks and bytes left after them.
  for (std::size_t count = 240; count <= 1200; ++count) {
    for (const std::uint16_t start : {0x0000, 0xFFFF, 0x1D0F}) {
      ASSERT_EQ(Ccitt16::Update(start, bytes.data() + count % 7, count),
                Ccitt16::UpdateSliced(start, bytes.data() + count % 7, count))
          << count << " from " << start;
      ASSERT_EQ(Vandi16::Update(start, bytes.data(), count),
                Vandi16::UpdateSliced(start, bytes.data(), count))
          << count << " from " << start;
    }
  }
  EXPECT_EQ(Ccitt16::Update(0xFFFF, bytes.data(), 4096),
            fusekit::reference::Crc16Msb(0x1021, 0xFFFF, bytes.data(), 4096));
  EXPECT_EQ(Vandi16::Update(0xFFFF, bytes.data(), 4096 + 64),
            fusekit::reference::Crc16Msb(0x8005, 0xFFFF, bytes.data(), 4096 + 64));
}

// A text taken in two parts apart, the second from a register of 0, then joined, gives the CRC
// of the whole against the bit-serial reference: rows of any width for the data CRC, and for the
// file CRC texts with carriage returns (left out) and a byte 0xFF (which ends the text) in
// either part, cut anywhere.
TEST(CrcJoins, TwoPartsJoinedAsTheWholeText) {
  std::mt19937 rng(24);
  for (int trial = 0; trial < 300; ++trial) {
    const unsigned width = 1 + rng() % 300;
    const std::size_t row_bytes = (width + 7) / 8;
    const std::size_t rows = rng() % 40;
    const std::size_t first_rows = rows == 0 ? 0 : rng() % (rows + 1);
    const auto bytes = RandomBytes(rng, rows * row_bytes);
    const std::uint32_t start = rng();
    fusekit::crc_engine::DataCrc32Batch whole(start);
    fusekit::crc_engine::DataCrc32Batch first(start);
    fusekit::crc_engine::DataCrc32Batch later;
    std::uint32_t expected = start;
    for (std::size_t r = 0; r < rows; ++r) {
      const std::uint8_t* row = bytes.data() + r * row_bytes;
      whole.AddRow(row, row_bytes, width);
      (r < first_rows ? first : later).AddRow(row, row_bytes, width);
      expected = fusekit::reference::DataCrcRow(expected, row, row_bytes, width);
    }
    first.Join(later.Value(), std::uint64_t{rows - first_rows} * width);
    ASSERT_EQ(whole.Value(), expected) << "trial " << trial;
    ASSERT_EQ(first.Value(), expected) << "trial " << trial << " width " << width;
  }
  for (int trial = 0; trial < 300; ++trial) {
    auto text = RandomBytes(rng, rng() % 700);
    for (auto& b : text) {
      if (b == 0xFF && trial % 4 != 0) b = '\r';  // most texts run to their end
    }
    const std::size_t cut = text.empty() ? 0 : rng() % (text.size() + 1);
    std::vector<std::uint8_t> counted;  // the bytes the CRC covers
    for (std::uint8_t b : text) {
      if (b == 0xFF) break;
      if (b != '\r') counted.push_back(b);
    }
    fusekit::crc::FileCrcOfPieces joined;
    joined.Add(text.data(), cut);
    fusekit::crc::FileCrcOfPieces later = fusekit::crc::FileCrcOfPieces::Part();
    later.Add(text.data() + cut, text.size() - cut);
    joined.Join(later);
    ASSERT_EQ(joined.Value(),
              fusekit::reference::Crc16Msb(0x1021, 0xFFFF, counted.data(), counted.size()))
        << "trial " << trial << " cut " << cut;
  }
}

}  // namespace
