// The byte pipe between two threads: every byte arrives once and in order whatever the sizes of
// the writes and the ring, and a reader that stops releases a writer waiting for room. The
// blocks that rings and read windows are kept in.
#include <cstddef>
#include <cstring>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/util/byte_pipe.h"
#include "support/util/reused_block.h"

namespace fusekit::util {
namespace {

TEST(BytePipe, EveryByteArrivesInOrder) {
  for (std::size_t capacity : {std::size_t{1}, std::size_t{7}, std::size_t{4096}}) {
    std::vector<unsigned char> sent(100000);
    for (std::size_t i = 0; i < sent.size(); ++i)
      sent[i] = static_cast<unsigned char>(i * 131 + i / 256);
    BytePipe pipe(capacity);
    // Pieces of many sizes, each written by a copy or, every other one, put in place through
    // Room and Commit, waiting for as much room as the piece or for the room to the ring's end.
    std::thread writer([&] {
      std::size_t piece = 1;
      for (std::size_t at = 0, n = 0; at < sent.size(); ++n, piece = piece * 3 % 997 + 1) {
        std::size_t count = std::min(piece, sent.size() - at);
        if (n % 2 == 0) {
          EXPECT_TRUE(pipe.Write(sent.data() + at, count));
        } else {
          unsigned char* to = nullptr;
          count = std::min(pipe.Room(to, count), count);
          ASSERT_GT(count, 0u);
          std::memcpy(to, sent.data() + at, count);
          pipe.Commit(count);
        }
        at += count;
      }
      pipe.Finish();
    });
    std::vector<unsigned char> received;
    const unsigned char* at = nullptr;
    for (std::size_t held; (held = pipe.Peek(at)) != 0;) {
      const std::size_t take = std::min<std::size_t>(held, 5 + received.size() % 13);
      received.insert(received.end(), at, at + take);
      pipe.Consume(take);
    }
    writer.join();
    EXPECT_TRUE(received == sent) << "ring of " << capacity;
  }
}

TEST(BytePipe, AStoppedReaderReleasesTheWriter) {
  BytePipe pipe(16);
  const std::vector<unsigned char> bytes(1000, 0x5A);
  bool written = true;
  std::thread writer([&] { written = pipe.Write(bytes.data(), bytes.size()); });
  const unsigned char* at = nullptr;
  ASSERT_GT(pipe.Peek(at), 0u);
  pipe.Stop();
  writer.join();
  EXPECT_FALSE(written);
  EXPECT_FALSE(pipe.Write(bytes.data(), 1));
  unsigned char* to = nullptr;
  EXPECT_EQ(pipe.Room(to, 8), 0u);
}

// A block freed is handed out again, never to two owners at once, and holds as many bytes as
// asked for whatever block it was before.
TEST(ReusedBlock, KeptBlocksHaveOneOwnerAtATime) {
  std::vector<ReusedBlock> live;
  for (const std::size_t bytes : {std::size_t{1} << 20, std::size_t{4096}, std::size_t{1} << 20,
                                  std::size_t{3} << 20, std::size_t{5} << 20}) {
    {
      ReusedBlock freed(bytes);
      std::memset(freed.Data(), 0x11, bytes);
    }
    for (int i = 0; i < 3; ++i) {
      live.emplace_back(bytes);
      ASSERT_EQ(live.back().Size(), bytes);
      std::memset(live.back().Data(), i, bytes);
    }
  }
  for (std::size_t i = 0; i < live.size(); ++i) {
    for (std::size_t j = i + 1; j < live.size(); ++j) {
      const unsigned char* a = live[i].Data();
      const unsigned char* b = live[j].Data();
      EXPECT_TRUE(a + live[i].Size() <= b || b + live[j].Size() <= a) << i << " and " << j;
    }
  }
  ReusedBlock moved = std::move(live.front());
  EXPECT_EQ(live.front().Data(), nullptr);
  EXPECT_EQ(moved.Size(), std::size_t{1} << 20);
}

}  // namespace
}  // namespace fusekit::util
