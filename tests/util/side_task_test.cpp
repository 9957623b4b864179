// The helpers that run work on a second thread.
#include "support/util/side_task.h"

#include <atomic>
#include <vector>

#include <gtest/gtest.h>

namespace {

using fusekit::util::SerialWorker;
using fusekit::util::SideTask;

TEST(SerialWorker, RunsJobsOneAtATimeInOrder) {
  std::vector<int> done;  // touched by one job at a time only
  std::atomic<int> running{0};
  std::atomic<bool> overlapped{false};
  {
    SerialWorker worker;
    for (int i = 0; i < 2000; ++i) {
      worker.Post([&, i] {
        if (running.fetch_add(1) != 0) overlapped = true;
        done.push_back(i);
        running.fetch_sub(1);
      });
    }
    worker.Wait();
    ASSERT_EQ(done.size(), 2000u);
    for (int i = 0; i < 2000; ++i) ASSERT_EQ(done[static_cast<std::size_t>(i)], i);
    worker.Post([&] { done.push_back(-1); });
  }  // the destructor lets the last job finish
  EXPECT_EQ(done.back(), -1);
  EXPECT_FALSE(overlapped);
}

TEST(SideTask, ResultIsThereAfterWaitOrDestruction) {
  long sum = 0;
  {
    SideTask task([&] {
      for (long i = 1; i <= 100000; ++i) sum += i;
    });
    task.Wait();
    EXPECT_EQ(sum, 5000050000L);
  }
  int value = 0;
  {
    SideTask task([&] { value = 7; });
  }
  EXPECT_EQ(value, 7);
}

}  // namespace
