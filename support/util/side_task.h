// A task run on a second thread while the caller goes on with its own work.
#ifndef FUSEKIT_SUPPORT_UTIL_SIDE_TASK_H
#define FUSEKIT_SUPPORT_UTIL_SIDE_TASK_H

#include <condition_variable>
#include <functional>
#include <mutex>
#include <system_error>
#include <thread>

namespace fusekit::util {

// Starts task on a thread of its own; where no thread can be started, the task runs at once
// on the caller's thread instead, so the outcome never depends on threads being available.
// Wait (or the destructor) returns once the task has finished. The task must not throw.
class SideTask {
 public:
  explicit SideTask(std::function<void()> task);
  SideTask(const SideTask&) = delete;
  SideTask& operator=(const SideTask&) = delete;
  ~SideTask();

  void Wait();

 private:
  std::thread thread_;
};

// Runs task(0) on a second thread and task(1) on the caller's, and returns once both have
// finished: the same work on two inputs (two files to compare) done at once. The task must not
// throw.
template <class Task>
void RunForBoth(Task&& task) {
  SideTask first([&task] { task(0); });
  task(1);
}

// Runs task(0) on a second thread and task(1) on the caller's, for work that must run at the
// same time on both (one side waits for what the other hands it). Returns false, having run
// neither, when no thread can be started. The task must not throw.
template <class Task>
bool RunSideBySide(Task&& task) {
  std::thread side;
  try {
    side = std::thread([&task] { task(0); });
  } catch (const std::system_error&) {
    return false;
  }
  task(1);
  side.join();
  return true;
}

// Jobs run one after another on a thread of its own, in the order they are posted, while the
// caller prepares the next: Post waits for the job before to finish, then hands the new one over.
// Where no thread can be started, each job runs at once on the caller's thread. Jobs must not
// throw.
class SerialWorker {
 public:
  SerialWorker();
  SerialWorker(const SerialWorker&) = delete;
  SerialWorker& operator=(const SerialWorker&) = delete;
  ~SerialWorker();

  void Post(std::function<void()> job);
  // Returns once every job posted has finished.
  void Wait();

 private:
  void Run();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::function<void()> job_;  // posted and not yet finished; empty when idle
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace fusekit::util

#endif  // FUSEKIT_SUPPORT_UTIL_SIDE_TASK_H
