// The byte pipe between two threads: every byte arrives once and in order whatever the sizes of
// the writes and the ring, and a reader that stops releases a writer waiting for room.
#include <cstddef>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/util/byte_pipe.h"

namespace fusekit::util {
namespace {

TEST(BytePipe, EveryByteArrivesInOrder) {
  for (std::size_t capacity : {std::size_t{1}, std::size_t{7}, std::size_t{4096}}) {
    std::vector<unsigned char> sent(100000);
    for (std::size_t i = 0; i < sent.size(); ++i)
      sent[i] = static_cast<unsigned char>(i * 131 + i / 256);
    BytePipe pipe(capacity);
    std::thread writer([&] {
      for (std::size_t at = 0, piece = 1; at < sent.size();
           at += piece, piece = piece * 3 % 997 + 1)
        EXPECT_TRUE(pipe.Write(sent.data() + at, std::min(piece, sent.size() - at)));
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
}

}  // namespace
}  // namespace fusekit::util
